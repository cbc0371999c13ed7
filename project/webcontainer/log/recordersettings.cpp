#include "log/recordersettings.h"

#include "zq/foundation/utf8text.h"
#include "zq/services/setting.h"

namespace webcontainer {

namespace {

const Setting s_tFolder(textSetting(
    L"Recording/Folder", L"",
    "a folder, for nothing else, that gets a file for each recorded request, to be replayed by webreplay; it "
    "must be there; empty: nothing is recorded"));
const Setting s_tWhich(textSetting(
    L"Recording/Which", L"failed",
    "`failed`: requests answered with 500 or more, cut off, left by an exception, or refused before the "
    "application saw them; or all",
    L"failed|all"));
const Setting s_tOneIn(numberSetting(L"Recording/OneIn", "requests", 1, 1, 1000000,
                                     "of so many requests each worker watches one, drawn at random, and "
                                     "records it if it is among those above; watching costs time and "
                                     "memory"));
const Setting s_tMaxRequestBytes(numberSetting(
    L"Recording/MaxRequestBytes", "bytes", 1048576, 1024, 1073741824,
    "so much of the bodies of a request and its response is kept in memory until the request has ended",
    "of what follows only the length is recorded"));
const Setting s_tMaxFolderMegabytes(numberSetting(L"Recording/MaxFolderMegabytes", "MiB", 1024, 1, 1000000,
                                                  "recordings must not fill the disk",
                                                  "recordings are lost until some are taken away"));
const Setting s_tRedact(textSetting(
    L"Recording/Redact", L"Authorization Cookie Proxy-Authorization Set-Cookie",
    "names of header fields of requests and responses whose values are not recorded, nor those of their "
    "HTTP_ server variables"));

}  // namespace

RecorderSettings readRecorderSettings(const ConfigReader& rReader) {
    RecorderSettings tSettings;
    tSettings.sFolder = toUtf8(s_tFolder.readText(rReader));
    tSettings.bFailedOnly = s_tWhich.readChoice(rReader) == 0;
    tSettings.nOneIn = s_tOneIn.readNumber(rReader);
    tSettings.nMaxRequestBytes = s_tMaxRequestBytes.readNumber(rReader);
    tSettings.nMaxFolderBytes = std::uint64_t{s_tMaxFolderMegabytes.readNumber(rReader)} << 20;
    const std::string sNames = toUtf8(s_tRedact.readText(rReader));
    for (std::size_t n = 0; (n = sNames.find_first_not_of(" ,", n)) != sNames.npos;) {
        const std::size_t nEnd = std::min(sNames.find_first_of(" ,", n), sNames.size());
        tSettings.tRedacted.push_back(sNames.substr(n, nEnd - n));
        n = nEnd;
    }
    return tSettings;
}

}  // namespace webcontainer
