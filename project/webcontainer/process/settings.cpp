#include "process/settings.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "http/fieldtext.h"
#include "log/containerlog.h"
#include "process/nearestname.h"
#include "zq/foundation/utf8text.h"
#include "zq/services/setting.h"

namespace webcontainer {

namespace {

constexpr char s_ksAnyName[] = "*";

/// The names that may stand in each table: its keys, and the tables within it. The outermost one is "".
using Tables = std::map<std::string, std::set<std::string>>;

Tables listTables() {
    Tables tTables;
    for (const SettingInfo& r : Setting::getAll()) {
        std::string sPath = r.getName();
        for (std::size_t nSlash = 0; nSlash != std::string::npos && !sPath.empty();) {
            nSlash = sPath.rfind('/');
            const std::string sTable = sPath.substr(0, nSlash == std::string::npos ? 0 : nSlash);
            tTables[sTable].insert(sPath.substr(nSlash + 1));
            sPath = sTable;
        }
    }
    return tTables;
}

void checkTable(const ConfigReader& rReader, const std::string& sTable, const std::set<std::string>& rNames) {
    if (rNames.contains(s_ksAnyName)) return;
    for (const ZQWString& sWide : rReader.getNames(fromUtf8(sTable))) {
        const std::string sName = toUtf8(sWide);
        if (rNames.contains(sName)) continue;
        const std::vector<std::string> tKnown(rNames.begin(), rNames.end());
        const std::string sPlace = sTable.empty() ? "" : sTable + "/";
        rReader.throwUnknownName(fromUtf8(sPlace + sName), fromUtf8(suggest(sName, tKnown)));
    }
}

/// Readers that throw have done so; the others go on, and nobody hears of it.
void checkChoice(const ConfigReader& rReader, const SettingInfo& rSetting) {
    const std::vector<std::string> tChoices = rSetting.getChoices();
    const std::string sText = toUtf8(rSetting.readText(rReader));
    if (std::any_of(tChoices.begin(), tChoices.end(), [&](const auto& s) { return equalsNoCase(s, sText); }))
        return;
    logText(kSevWarning, s_lsContainer,
            rReader.getPlace(rSetting.pKey) + ": \"" + sText + "\" means nothing to " + rSetting.getName() +
                suggest(sText, tChoices));
}

/// Its default, and its range or choices.
std::string describeValues(const SettingInfo& r) {
    if (r.isNumber())
        return std::to_string(r.nDefault) + " " + r.pUnit + "; " + std::to_string(r.nLeast) + " to " +
               std::to_string(r.nMost);
    std::string sValues = r.pDefault ? "`\"" + toUtf8(r.pDefault) + "\"`" : "";
    const char* pBefore = "; `";
    for (const std::string& s : r.getChoices())
        sValues.append(std::exchange(pBefore, ", `")).append(s).append("`");
    return sValues;
}

}  // namespace

void checkSettingNames(const ConfigReader& rReader) {
    for (const auto& [sTable, tNames] : listTables())
        checkTable(rReader, sTable, tNames);
}

void checkSettingValues(const ConfigReader& rReader) {
    for (const SettingInfo& r : Setting::getAll()) {
        if (r.isNumber())
            r.readNumber(rReader);
        else if (*r.pChoices)
            checkChoice(rReader, r);
    }
}

std::string describeSettings() {
    std::string sRows;
    for (const SettingInfo& r : Setting::getAll()) {
        sRows += "| `" + r.getName() + "` | " + describeValues(r) + " | " + r.pMeaning;
        if (*r.pOtherwise) sRows.append(". *Beyond:* ").append(r.pOtherwise);
        sRows += " |\n";
    }
    return sRows;
}

}  // namespace webcontainer
