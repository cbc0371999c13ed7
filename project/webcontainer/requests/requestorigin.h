#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "http/requestinput.h"
#include "requests/forwardedfields.h"
#include "sockets/connectionends.h"

namespace webcontainer {

/// Who asks, and by which way: what the connection shows or, where a trusted proxy is at its other end, what
/// the proxy says. Found when somebody first asks.
///
/// The proxies' addresses are walked from the nearest one on, and the first that is not trusted is the
/// client: whatever stands before it, the client may have made up. When the walk meets anything but an
/// address, the proxy itself counts as the client. When it meets trusted addresses only, the last of them is
/// the client.
class RequestOrigin {
public:
    enum class EScheme : std::uint8_t { kUnknown, kHttp, kHttps };
    struct Facts {
        SocketAddress tClient;  ///< port 0: unknown
        EScheme eScheme = EScheme::kUnknown;
        std::string_view sHost;  ///< what a Host field may be; empty: unknown. Lies in the request.

        /// "192.0.2.1:40000", or without the port where that is unknown.
        std::string describeClient() const;
    };

    /// Forgets all, for the next request.
    void reset() noexcept { m_bKnown = false; }
    /// rInput: the request, as far as it has been received. Valid until reset().
    const Facts& get(const RequestInput& rInput, const ConnectionEnds& rEnds);

private:
    void believe(const std::vector<ForwardedHop>& rHops, const TrustedProxies& rTrusted);

    Facts m_tFacts;
    bool m_bKnown = false;
};

}  // namespace webcontainer
