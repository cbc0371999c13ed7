#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

#include "base/limits.h"
#include "requests/servingrules.h"
#include "sockets/listenaddress.h"
#include "sockets/proxyheader.h"
#include "sockets/trustedproxies.h"

namespace webcontainer {

/// Where and with how many threads a container serves.
struct ContainerOptions {
    std::vector<ListenAddress> tListen;
    mode_t nUnixSocketMode = 0660;  ///< of the files of unix sockets
    TrustedProxies tTrustedProxies;
    /// kNone: anybody may connect. Otherwise nobody but those proxies, each connection with a ProxyHeader.
    EProxyProtocol eProxyProtocol = EProxyProtocol::kNone;
    unsigned nWorkers = 1;
    Limits tLimits;
    ServingRules tRules;
    /// Called by the thread that enforces the deadlines, after each time that it has done so: a sign of life.
    std::function<void()> fAlive = [] {};
};

}  // namespace webcontainer
