#include "admin/adminsettings.h"

#include "zq/foundation/utf8text.h"

namespace webcontainer {

namespace {

constexpr wchar_t s_ksListen[] = L"Admin/Listen";

/// One worker answers while another waits for a slow client; heads and bodies are as small as the pages need.
/// Idle connections end soon, so that they keep no health check out.
Limits adminLimits() {
    Limits tLimits;
    tLimits.nMaxConnections = 256;
    tLimits.nListenBacklog = 64;
    tLimits.nMaxHeadBytes = 8192;
    tLimits.nPrefetchBytes = 0;
    tLimits.nDiscardBytes = 1024;
    tLimits.nLingerBytes = 8192;
    tLimits.nHeadTimeoutMs = 5000;
    tLimits.nIdleTimeoutMs = 5000;
    tLimits.nWriteTimeoutMs = 5000;
    tLimits.nDrainTimeoutMs = 1000;
    return tLimits;
}

}  // namespace

std::optional<AdminSettings> readAdminSettings(const ConfigReader& rReader,
                                               const std::vector<ListenAddress>& rTaken) {
    const std::string sListen = toUtf8(rReader.getConfigValue(s_ksListen, L"127.0.0.1:9180"));
    AdminSettings tSettings;
    tSettings.sHostName = toUtf8(rReader.getConfigValue(L"Admin/HostName", L""));
    tSettings.tOptions.nWorkers = 2;
    tSettings.tOptions.tLimits = adminLimits();
    if (sListen.empty()) return std::nullopt;
    ListenAddress& rAddress = tSettings.tOptions.tListen.emplace_back();
    if (!ListenAddress::parse(sListen, rAddress))
        rReader.throwBadValue(s_ksListen,
                              L"it is no address; write an address and a port, such as 127.0.0.1:9180, a "
                              L"unix socket, such as unix:/run/web/admin.sock, or \"\" "
                              L"for no admin listener");
    for (const ListenAddress& r : rTaken)
        if (r.clashesWith(rAddress))
            rReader.throwBadValue(
                s_ksListen, fromUtf8("clients connect to " + r.text() + "; choose another address or port"));
    rAddress.pSettings = "Admin/Listen";
    return tSettings;
}

}  // namespace webcontainer
