#include "log/accesslogsettings.h"

#include "zq/foundation/utf8text.h"

namespace webcontainer {

AccessLogSettings readAccessLogSettings(const ConfigReader& rReader) {
    constexpr wchar_t ksFormat[] = L"AccessLog/Format";
    AccessLogSettings tSettings;
    tSettings.sFile = toUtf8(rReader.getConfigValue(L"AccessLog/File", L""));
    const ZQWString sFormat = rReader.getConfigValue(ksFormat, L"combined");
    if (sFormat == L"json")
        tSettings.eFormat = EAccessFormat::kJson;
    else if (!(sFormat == L"combined"))
        rReader.throwBadValue(ksFormat, L"it is no format; write combined or json");
    return tSettings;
}

}  // namespace webcontainer
