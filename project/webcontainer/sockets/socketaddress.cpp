#include "sockets/socketaddress.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstring>

namespace webcontainer {

namespace {

bool parsePort(std::string_view s, in_port_t& rnPort) {
    std::uint16_t nPort = 0;
    const auto [pEnd, eError] = std::from_chars(s.data(), s.data() + s.size(), nPort);
    if (eError != std::errc() || pEnd != s.data() + s.size()) return false;
    rnPort = htons(nPort);
    return true;
}

}  // namespace

bool SocketAddress::parse(std::string_view sText, SocketAddress& rAddress) {
    const std::size_t nColon = sText.rfind(':');
    if (nColon == std::string_view::npos) return false;
    std::string_view sHost = sText.substr(0, nColon);
    const std::string_view sPort = sText.substr(nColon + 1);
    in_port_t nPort = 0;
    const bool bV6 = sHost.size() > 2 && sHost.front() == '[' && sHost.back() == ']';
    if (bV6) sHost = sHost.substr(1, sHost.size() - 2);
    if (!parseHost(sHost, rAddress) || (rAddress.family() == AF_INET6) != bV6 || !parsePort(sPort, nPort))
        return false;
    (bV6 ? rAddress.m_tV6.sin6_port : rAddress.m_tV4.sin_port) = nPort;
    return true;
}

bool SocketAddress::parseHost(std::string_view sText, SocketAddress& rAddress) {
    const std::string sHost(sText);
    rAddress = SocketAddress();
    const bool bV6 = sText.find(':') != std::string_view::npos;
    rAddress.m_tAny.sa_family = bV6 ? AF_INET6 : AF_INET;
    void* const pAddress = bV6 ? static_cast<void*>(&rAddress.m_tV6.sin6_addr) : &rAddress.m_tV4.sin_addr;
    return inet_pton(rAddress.family(), sHost.c_str(), pAddress) == 1;
}

SocketAddress SocketAddress::ofBytes(std::span<const std::uint8_t> tBytes, unsigned nPort) noexcept {
    SocketAddress tAddress;
    const bool bV6 = tBytes.size() == sizeof tAddress.m_tV6.sin6_addr;
    tAddress.m_tAny.sa_family = bV6 ? AF_INET6 : AF_INET;
    (bV6 ? tAddress.m_tV6.sin6_port : tAddress.m_tV4.sin_port) = htons(static_cast<std::uint16_t>(nPort));
    std::memcpy(bV6 ? static_cast<void*>(&tAddress.m_tV6.sin6_addr) : &tAddress.m_tV4.sin_addr, tBytes.data(),
                tBytes.size());
    return tAddress;
}

SocketAddress SocketAddress::ofUnix() noexcept {
    SocketAddress tAddress;
    tAddress.m_tAny.sa_family = AF_UNIX;
    return tAddress;
}

std::span<const std::uint8_t> SocketAddress::bytes() const noexcept {
    if (isUnix()) return {};
    if (family() == AF_INET6) return m_tV6.sin6_addr.s6_addr;
    return {reinterpret_cast<const std::uint8_t*>(&m_tV4.sin_addr), sizeof m_tV4.sin_addr};
}

SocketAddress SocketAddress::ofSocket(int nFd) noexcept {
    SocketAddress tAddress;
    socklen_t nLength = capacity();
    if (getsockname(nFd, tAddress.data(), &nLength) != 0) tAddress = SocketAddress();
    return tAddress;
}

std::string SocketAddress::host() const {
    if (isUnix()) return "unix:";
    if (family() == AF_INET) {  // what most requests ask for, without the detour through printf()
        char tText[16];
        char* p = tText;
        for (const std::uint8_t n : bytes()) {
            if (p != tText) *p++ = '.';
            p = std::to_chars(p, std::end(tText), n).ptr;
        }
        return std::string(tText, p);
    }
    char tText[INET6_ADDRSTRLEN] = "";
    return inet_ntop(family(), &m_tV6.sin6_addr, tText, sizeof tText) ? tText : "";
}

std::string SocketAddress::text() const {
    return isUnix() ? host() : urlHost() + ":" + port();
}

unsigned SocketAddress::portNumber() const noexcept {
    if (isUnix()) return 0;
    return ntohs(family() == AF_INET ? m_tV4.sin_port : m_tV6.sin6_port);
}

void SocketAddress::unmap() noexcept {
    if (family() != AF_INET6 || !IN6_IS_ADDR_V4MAPPED(&m_tV6.sin6_addr)) return;
    sockaddr_in tV4{};
    tV4.sin_family = AF_INET;
    tV4.sin_port = m_tV6.sin6_port;
    std::memcpy(&tV4.sin_addr, &m_tV6.sin6_addr.s6_addr[12], sizeof tV4.sin_addr);
    m_tV4 = tV4;
}

}  // namespace webcontainer
