#include "process/extensionsettings.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "http/fieldtext.h"
#include "log/containerlog.h"
#include "process/nearestname.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpstream/multipartlimits.h"

namespace webcontainer {

namespace {

constexpr unsigned s_knMostMinutes = std::numeric_limits<unsigned>::max() / 60000;

void checkCachingMode(const ConfigReader& rReader) {
    constexpr wchar_t ksKey[] = L"ClientSideCaching/GeneratedContentCaching";
    const std::vector<std::string> tModes{"nostore", "none", "session"};
    const std::string sMode = toUtf8(rReader.getConfigValue(ksKey, L"nostore"));
    if (std::any_of(tModes.begin(), tModes.end(), [&](const auto& s) { return equalsNoCase(s, sMode); }))
        return;
    logText(kSevWarning, s_lsContainer,
            rReader.getPlace(ksKey) + ": \"" + sMode + "\" is no mode of " + toUtf8(ksKey) +
                " and counts as session" + suggest(sMode, tModes));
}

}  // namespace

void checkExtensionSettings(const ConfigReader& rReader) {
    for (const wchar_t* const pKey : {L"HTTP/DefaultTimeoutMinutes", L"DefaultTimeoutMinutes",
                                      L"HTTP/LongRunningHTTPResponseTimeoutMinutes"})
        rReader.getConfigValue(pKey, 0u, 0, s_knMostMinutes);
    checkCachingMode(rReader);
    MultipartLimits().loadConfig(rReader, kConfigInitialize);
}

}  // namespace webcontainer
