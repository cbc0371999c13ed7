#include "process/settings.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/limits.h"
#include "process/nearestname.h"
#include "zq/foundation/utf8text.h"

namespace webcontainer {

namespace {

struct KnownTable {
    std::string sPath;               ///< empty: outside of all tables
    std::vector<std::string> tKeys;  ///< empty: any name will do, in tables within it too
};

const std::vector<KnownTable>& knownTables() {
    static const std::vector<KnownTable> s_tTables = [] {
        std::vector<KnownTable> tTables{
            {"", {"DefaultTimeoutMinutes"}},
            {"WebContainer", {"Listen", "TrustedProxies", "UnixSocketMode", "Workers"}},
            {"AccessLog", {"File", "Format"}},
            {"Admin", {"Listen", "HostName"}},
            {"Log", {"File", "Format", "MaxBytes", "MaxFiles", "Level"}},
            {"Log/Sources", {}},
            {"HTTP", {"DefaultTimeoutMinutes", "LongRunningHTTPResponseTimeoutMinutes"}},
            {"URL", {"MaxContentDispositionFilenameLength"}},
            {"Multipart", {"MaxFieldBytes", "MaxHeaderBytesPerPart", "MaxHeadersPerPart", "MaxParts"}},
            {"ClientSideCaching", {"GeneratedContentCaching"}},
            {"ClientSideCaching/CacheControlHttpHeader", {"Default", "NoCache", "EnableCache"}},
            {"Features", {}},
            {"Application", {}},
        };
        for (const LimitInfo& r : s_tLimitInfos)
            tTables[1].tKeys.push_back(toUtf8(r.pKey));
        return tTables;
    }();
    return s_tTables;
}

std::string join(const std::string& sTable, const std::string& sName) {
    return sTable.empty() ? sName : sTable + "/" + sName;
}

/// The names that may stand directly in a table: its keys, and the tables within it.
std::vector<std::string> namesIn(const KnownTable& rTable) {
    std::vector<std::string> tNames = rTable.tKeys;
    const std::string sPrefix = join(rTable.sPath, "");
    for (const KnownTable& r : knownTables()) {
        const bool bWithin = r.sPath.size() > sPrefix.size() && r.sPath.starts_with(sPrefix);
        if (bWithin && r.sPath.find('/', sPrefix.size()) == std::string::npos)
            tNames.push_back(r.sPath.substr(sPrefix.size()));
    }
    return tNames;
}

void checkTable(const ConfigReader& rReader, const KnownTable& rTable) {
    if (rTable.tKeys.empty()) return;
    const std::vector<std::string> tKnown = namesIn(rTable);
    for (const ZQWString& sWide : rReader.getNames(fromUtf8(rTable.sPath))) {
        const std::string sName = toUtf8(sWide);
        if (std::find(tKnown.begin(), tKnown.end(), sName) == tKnown.end())
            rReader.throwUnknownName(fromUtf8(join(rTable.sPath, sName)), fromUtf8(suggest(sName, tKnown)));
    }
}

}  // namespace

void checkConfigurationNames(const ConfigReader& rReader) {
    for (const KnownTable& r : knownTables())
        checkTable(rReader, r);
}

}  // namespace webcontainer
