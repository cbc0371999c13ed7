#include "process/settings.h"

#include <algorithm>
#include <map>
#include <set>
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
        rReader.throwUnknownName(fromUtf8(sTable.empty() ? sName : sTable + "/" + sName),
                                 fromUtf8(suggest(sName, tKnown)));
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

std::string describeDefault(const SettingInfo& r) {
    if (r.isNumber()) return std::to_string(r.nDefault) + " " + r.pUnit;
    return r.pDefault ? "`\"" + toUtf8(r.pDefault) + "\"`" : "";
}

std::string describeRange(const SettingInfo& r) {
    if (r.isNumber()) return std::to_string(r.nLeast) + " to " + std::to_string(r.nMost);
    std::string sChoices;
    for (const std::string& s : r.getChoices())
        sChoices.append(sChoices.empty() ? "`" : ", `").append(s).append("`");
    return sChoices;
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
    for (const SettingInfo& r : Setting::getAll())
        for (const std::string& s : {"| `" + r.getName() + "`", describeDefault(r), describeRange(r),
                                     std::string(r.pMeaning), std::string(r.pOtherwise) + " |\n"})
            sRows.append(sRows.empty() || sRows.back() == '\n' ? "" : " | ").append(s);
    return sRows;
}

}  // namespace webcontainer
