#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "sockets/socketaddress.h"

namespace webcontainer {

/// The networks of the reverse proxies whose word about their clients is taken.
class TrustedProxies {
public:
    /// Reads "10.0.0.0/8", "::1/128", a single address, or "unix:" for whoever may connect to a unix socket.
    /// False: it is none of them.
    bool add(std::string_view sNetwork);
    bool isEmpty() const noexcept { return m_tNetworks.empty(); }
    bool contains(const SocketAddress& rAddress) const noexcept;

private:
    struct Network {
        SocketAddress tAddress;
        unsigned nBits;  ///< of the address that count
    };

    std::vector<Network> m_tNetworks;
};

}  // namespace webcontainer
