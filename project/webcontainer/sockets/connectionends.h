#pragma once

#include "sockets/socketaddress.h"
#include "sockets/trustedproxies.h"

namespace webcontainer {

/// The two ends of a connection.
struct ConnectionEnds {
    SocketAddress tClient;
    unsigned nServerPort = 0;
    const TrustedProxies* pTrusted = nullptr;  ///< null unless tClient is one of them
};

}  // namespace webcontainer
