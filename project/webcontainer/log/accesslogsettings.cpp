#include "log/accesslogsettings.h"

#include "zq/foundation/utf8text.h"
#include "zq/services/setting.h"

namespace webcontainer {

namespace {

const Setting s_tFile(textSetting(
    L"AccessLog/File", L"", "a file that gets one line for each request; `-`: standard output; empty: none"));
const Setting s_tFormat(textSetting(
    L"AccessLog/Format", L"combined",
    "NCSA's, then duration in microseconds, bytes of the request body, request id, `whole` or `cut`, "
    "and what of that time was spent on waiting for a worker, receiving, running and sending; or one object",
    L"combined|json"));

}  // namespace

AccessLogSettings readAccessLogSettings(const ConfigReader& rReader) {
    AccessLogSettings tSettings;
    tSettings.sFile = toUtf8(s_tFile.readText(rReader));
    if (s_tFormat.readChoice(rReader) == 1) tSettings.eFormat = EAccessFormat::kJson;
    return tSettings;
}

}  // namespace webcontainer
