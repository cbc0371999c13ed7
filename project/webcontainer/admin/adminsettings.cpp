#include "admin/adminsettings.h"

#include "base/starterror.h"
#include "zq/foundation/utf8text.h"
#include "zq/services/setting.h"

namespace webcontainer {

namespace {

const Setting s_tListen(textSetting(
    L"Admin/Listen", L"127.0.0.1:9180",
    "address and port, or `unix:/path`, of `/`, `/status.json`, `/metrics`, `/live` and `/ready`; empty: "
    "no admin listener; a socket that the service manager hands over as `admin` takes its place"));
const Setting s_tReadyWhileSaturated(textSetting(
    L"Admin/ReadyWhileSaturated", L"on",
    "whether `/ready` says 200 while requests wait for a worker: a balancer that takes every overloaded "
    "instance out leaves the others even more; `off`: 503, for balancers that keep one",
    L"on|off"));
const Setting s_tHostName(textSetting(
    L"Admin/HostName", L"",
    "a name beside the address and the loopback names under which the admin listener answers; under "
    "any other it does not, so that no page of another site can read what stands there by pointing "
    "its own name to this machine"));

/// One worker answers while another waits for a slow client; heads and bodies are as small as the pages need.
/// Idle connections end soon, or for a new client, so that they keep no health check out.
Limits adminLimits() {
    Limits tLimits;
    tLimits.nMaxConnections = 64;
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
                                               const std::vector<ListenAddress>& rTaken,
                                               const std::string* pListen) {
    const std::string sListen = pListen ? *pListen : toUtf8(s_tListen.readText(rReader));
    const auto refuse = [&](const std::string& sWhy) {
        if (pListen) throwStartError("--admin: " + sWhy);
        rReader.throwBadValue(s_tListen.pKey, fromUtf8(sWhy));
    };
    AdminSettings tSettings;
    tSettings.sHostName = toUtf8(s_tHostName.readText(rReader));
    tSettings.bReadyWhileSaturated = s_tReadyWhileSaturated.readChoice(rReader) == 0;
    tSettings.tOptions.nWorkers = 2;
    tSettings.tOptions.tLimits = adminLimits();
    tSettings.tOptions.tRules.tMethods = {.bStrict = true, .bPost = false};
    if (sListen.empty()) return std::nullopt;
    ListenAddress& rAddress = tSettings.tOptions.tListen.emplace_back();
    if (!ListenAddress::parse(sListen, rAddress))
        refuse(
            "it is no address; write an address and a port, such as 127.0.0.1:9180, a unix socket, such as "
            "unix:/run/web/admin.sock, or \"\" for no admin listener");
    for (const ListenAddress& r : rTaken)
        if (r.clashesWith(rAddress))
            refuse("clients connect to " + r.text() + "; choose another address or port");
    rAddress.pSettings = "Admin/Listen";
    return tSettings;
}

}  // namespace webcontainer
