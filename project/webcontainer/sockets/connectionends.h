#pragma once

#include "sockets/socketaddress.h"
#include "sockets/trustedproxies.h"

namespace webcontainer {

/// The two ends of a connection, as the kernel knows them or, of one that begins with a ProxyHeader, as that
/// says: from then on the client counts as connected itself, and the proxy is nobody.
struct ConnectionEnds {
    SocketAddress tClient;
    unsigned nServerPort = 0;
    const TrustedProxies* pTrusted = nullptr;  ///< null unless tClient is one of them
};

}  // namespace webcontainer
