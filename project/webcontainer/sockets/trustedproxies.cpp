#include "sockets/trustedproxies.h"

#include <algorithm>
#include <charconv>

namespace webcontainer {

namespace {

constexpr unsigned s_knByte = 8;

bool haveSamePrefix(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b, unsigned nBits) {
    const std::size_t nWhole = nBits / s_knByte;
    if (!std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(nWhole), b.begin())) return false;
    const unsigned nDropped = s_knByte - nBits % s_knByte;
    return nDropped == s_knByte || a[nWhole] >> nDropped == b[nWhole] >> nDropped;
}

}  // namespace

bool TrustedProxies::add(std::string_view sNetwork) {
    Network tNetwork{SocketAddress::ofUnix(), 0};
    if (sNetwork != tNetwork.tAddress.host()) {
        const std::size_t nSlash = std::min(sNetwork.find('/'), sNetwork.size());
        if (!SocketAddress::parseHost(sNetwork.substr(0, nSlash), tNetwork.tAddress)) return false;
        const auto nMost = static_cast<unsigned>(tNetwork.tAddress.bytes().size() * s_knByte);
        tNetwork.nBits = nMost;
        if (nSlash < sNetwork.size()) {
            const char* const pEnd = sNetwork.data() + sNetwork.size();
            const auto tResult = std::from_chars(sNetwork.data() + nSlash + 1, pEnd, tNetwork.nBits);
            if (tResult.ec != std::errc() || tResult.ptr != pEnd || tNetwork.nBits > nMost) return false;
        }
    }
    m_tNetworks.push_back(tNetwork);
    return true;
}

bool TrustedProxies::contains(const SocketAddress& rAddress) const noexcept {
    return std::any_of(m_tNetworks.begin(), m_tNetworks.end(), [&](const Network& r) {
        return r.tAddress.family() == rAddress.family() &&
               haveSamePrefix(r.tAddress.bytes(), rAddress.bytes(), r.nBits);
    });
}

}  // namespace webcontainer
