#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace webcontainer {

/// An IPv4 or IPv6 address with its port, or merely that it is a unix socket's: a plain value of 28 bytes.
class SocketAddress {
public:
    SocketAddress() noexcept : m_tV6() {}

    /// Reads "ADDRESS:PORT": "127.0.0.1:8080", "[::1]:8080". Names are not looked up. False: it is neither.
    static bool parse(std::string_view sText, SocketAddress& rAddress);
    /// Reads an address alone, IPv6 without brackets; the port is 0.
    static bool parseHost(std::string_view sText, SocketAddress& rAddress);
    /// Of the four bytes of an IPv4 or the sixteen of an IPv6 address, the first one first.
    static SocketAddress ofBytes(std::span<const std::uint8_t> tBytes, unsigned nPort) noexcept;
    /// Stands for every unix socket.
    static SocketAddress ofUnix() noexcept;
    /// The address that a socket is bound to; an empty value when there is none.
    static SocketAddress ofSocket(int nFd) noexcept;

    /// The address without the port, as RFC 3875 has it in REMOTE_ADDR; "unix:" of a unix socket.
    std::string host() const;
    /// The same as it stands in a URL: in brackets when it is IPv6.
    std::string urlHost() const { return family() == AF_INET6 ? "[" + host() + "]" : host(); }
    /// Empty of a unix socket.
    std::string port() const { return isUnix() ? std::string() : std::to_string(portNumber()); }
    /// The two as they stand in a URL.
    std::string text() const;
    /// 0 of a unix socket.
    unsigned portNumber() const noexcept;
    /// Makes an IPv4 address of one that an IPv6 socket reports (RFC 4291 section 2.5.5.2).
    void unmap() noexcept;

    /// The address's bytes, the first one first; none of a unix socket.
    std::span<const std::uint8_t> bytes() const noexcept;
    bool isUnix() const noexcept { return family() == AF_UNIX; }
    int family() const noexcept { return m_tAny.sa_family; }
    sockaddr* data() noexcept { return &m_tAny; }
    const sockaddr* data() const noexcept { return &m_tAny; }
    socklen_t size() const noexcept { return family() == AF_INET ? sizeof m_tV4 : sizeof m_tV6; }
    static constexpr socklen_t capacity() noexcept { return sizeof(sockaddr_in6); }

private:
    union {
        sockaddr m_tAny;
        sockaddr_in m_tV4;
        sockaddr_in6 m_tV6;
    };
};

}  // namespace webcontainer
