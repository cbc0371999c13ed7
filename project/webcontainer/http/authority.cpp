#include "http/authority.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdint>
#include <system_error>

#include "http/byteclass.h"

namespace webcontainer {

namespace {

bool isIPv6(std::string_view s) noexcept {
    char tText[INET6_ADDRSTRLEN];
    if (s.size() >= sizeof tText) return false;
    tText[s.copy(tText, s.size())] = '\0';
    in6_addr tAddress;
    return ::inet_pton(AF_INET6, tText, &tAddress) == 1;
}

/// Registered names and IPv4 addresses, which are some of them.
bool isRegisteredName(std::string_view s) noexcept {
    for (std::size_t n = 0; n < s.size(); ++n) {
        if (isOf(kHostByte, s[n])) continue;
        if (s[n] != '%' || s.size() - n < 3 || !isAllOf(kHexDigitByte, s.substr(n + 1, 2))) return false;
        n += 2;
    }
    return !s.empty();
}

bool isPort(std::string_view s) noexcept {
    std::uint16_t nPort = 0;
    const char* const pEnd = s.data() + s.size();
    const auto tResult = std::from_chars(s.data(), pEnd, nPort);
    return tResult.ec == std::errc() && tResult.ptr == pEnd;
}

/// The length of the host that an authority begins with, or 0 when it begins with none.
std::size_t measureHost(std::string_view s) noexcept {
    if (!s.starts_with('[')) {
        const std::string_view sHost = s.substr(0, s.find(':'));
        return isRegisteredName(sHost) ? sHost.size() : 0;
    }
    const std::size_t nEnd = s.find(']');
    return nEnd != std::string_view::npos && isIPv6(s.substr(1, nEnd - 1)) ? nEnd + 1 : 0;
}

}  // namespace

bool isAuthority(std::string_view s) noexcept {
    const std::size_t nHost = measureHost(s);
    return nHost != 0 && (nHost == s.size() || s.substr(nHost) == ":" || isAuthorityWithPort(s));
}

bool isAuthorityWithPort(std::string_view s) noexcept {
    const std::size_t nHost = measureHost(s);
    return nHost != 0 && nHost < s.size() && s[nHost] == ':' && isPort(s.substr(nHost + 1));
}

}  // namespace webcontainer
