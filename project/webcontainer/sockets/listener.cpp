#include "sockets/listener.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/sock_diag.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "base/starterror.h"

namespace webcontainer {

namespace {

constexpr unsigned s_knFirstFreePort = 1024;

[[noreturn]] void throwCannotListen(const std::string& sPlace, int nError, const std::string& sRemedy) {
    throwStartError("cannot listen on " + sPlace + ": " + describeError(nError) + "; " + sRemedy);
}

std::string remedyFor(const ListenAddress& rAddress, int nError) {
    if (nError == EACCES && rAddress.tAddress.portNumber() < s_knFirstFreePort)
        return "choose a port from 1024 on, let the service manager open the port (socket activation), or "
               "grant the right (AmbientCapabilities=CAP_NET_BIND_SERVICE)";
    return std::string("choose another address or port with ") + rAddress.pSettings;
}

void setOption(int nFd, int nLevel, int nOption) {
    const int nOn = 1;
    ::setsockopt(nFd, nLevel, nOption, &nOn, sizeof nOn);
}

int getOption(int nFd, int nOption) {
    int nValue = -1;
    socklen_t nLength = sizeof nValue;
    return ::getsockopt(nFd, SOL_SOCKET, nOption, &nValue, &nLength) == 0 ? nValue : -1;
}

FileDescriptor openSocket(const ListenAddress& rAddress) {
    if (rAddress.nHandedOver >= 0) return FileDescriptor(rAddress.nHandedOver);
    const int nFamily = rAddress.sPath.empty() ? rAddress.tAddress.family() : AF_UNIX;
    FileDescriptor tSocket(::socket(nFamily, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!tSocket.isOpen()) throwCannotListen(rAddress.text(), errno, remedyFor(rAddress, errno));
    return tSocket;
}

std::string unixPathOf(int nFd) {
    sockaddr_un tAddress{};
    socklen_t nLength = sizeof tAddress;
    if (::getsockname(nFd, reinterpret_cast<sockaddr*>(&tAddress), &nLength) != 0) return {};
    return {tAddress.sun_path, ::strnlen(tAddress.sun_path, sizeof tAddress.sun_path)};
}

}  // namespace

Listener::Listener(const ListenAddress& rAddress, unsigned nBacklog, mode_t nUnixMode)
    : m_bHandedOver(rAddress.nHandedOver >= 0),
      m_tSocket(openSocket(rAddress)) {
    if (m_bHandedOver)
        adopt();
    else
        listen(rAddress, nBacklog, nUnixMode);
    m_tAddress = SocketAddress::ofSocket(getFd());
    // Accepted sockets inherit it: a response goes out in one piece, so waiting to fill packets only delays.
    if (!isUnix()) setOption(getFd(), IPPROTO_TCP, TCP_NODELAY);
    // This too: how long a request has waited is known only from when the kernel received it.
    if (!isUnix()) setOption(getFd(), SOL_SOCKET, SO_TIMESTAMPNS);
    m_sPlace = isUnix() ? "unix:" + unixPathOf(getFd()) : "http://" + m_tAddress.text() + "/";
}

void Listener::listen(const ListenAddress& rAddress, unsigned nBacklog, mode_t nUnixMode) {
    if (rAddress.sPath.empty())
        bindTcp(rAddress);
    else
        m_tFile.bind(getFd(), rAddress.sPath, nUnixMode);
    if (::listen(getFd(), static_cast<int>(nBacklog)) != 0)
        throwCannotListen(rAddress.text(), errno, remedyFor(rAddress, errno));
}

void Listener::bindTcp(const ListenAddress& rAddress) {
    const SocketAddress& r = rAddress.tAddress;
    setOption(getFd(), SOL_SOCKET, SO_REUSEADDR);
    // Whoever wants IPv4 too says so: [::]:80 must not depend on how the machine is set up.
    if (r.family() == AF_INET6) setOption(getFd(), IPPROTO_IPV6, IPV6_V6ONLY);
    if (::bind(getFd(), r.data(), r.size()) != 0)
        throwCannotListen(rAddress.text(), errno, remedyFor(rAddress, errno));
}

void Listener::adopt() {
    const int nFamily = getOption(getFd(), SO_DOMAIN);
    if ((nFamily != AF_INET && nFamily != AF_INET6 && nFamily != AF_UNIX) ||
        getOption(getFd(), SO_TYPE) != SOCK_STREAM || getOption(getFd(), SO_ACCEPTCONN) != 1)
        throwStartError("descriptor " + std::to_string(getFd()) +
                        " that the service manager handed over is no listening stream socket; use "
                        "ListenStream= with Accept=no in the .socket unit");
    ::fcntl(getFd(), F_SETFD, FD_CLOEXEC);
    ::fcntl(getFd(), F_SETFL, ::fcntl(getFd(), F_GETFL) | O_NONBLOCK);
}

Listener::Queue Listener::readQueue() const noexcept {
    tcp_info tInfo{};
    std::uint32_t tMemory[SK_MEMINFO_VARS]{};
    socklen_t nInfo = sizeof tInfo, nMemory = sizeof tMemory;
    if (isUnix() || ::getsockopt(getFd(), IPPROTO_TCP, TCP_INFO, &tInfo, &nInfo) != 0) return {};
    ::getsockopt(getFd(), SOL_SOCKET, SO_MEMINFO, tMemory, &nMemory);
    return {tInfo.tcpi_unacked, tMemory[SK_MEMINFO_DROPS]};  // of a listening socket, that is its queue
}

void Listener::refuse() noexcept {
    if (m_bHandedOver) return;
    m_tFile.remove();
    // A unix socket refuses new clients from now on, but hands out those who wait (see unix(7)).
    if (isUnix())
        ::shutdown(getFd(), SHUT_RD);
    else
        dropNewHandshakes();
}

/// Closing resets every client whose connection is complete but not accepted. So nobody may begin to connect
/// between the last accept and the close: a client whose SYN is dropped tries again, and is refused then.
void Listener::dropNewHandshakes() noexcept {
    constexpr unsigned nFlags = 13;  // the byte of a TCP header, RFC 9293 section 3.1
    std::array<sock_filter, 4> tDropSyn{{BPF_STMT(BPF_LD | BPF_B | BPF_ABS, nFlags),
                                         BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, TH_SYN, 0, 1),
                                         BPF_STMT(BPF_RET | BPF_K, 0), BPF_STMT(BPF_RET | BPF_K, ~0u)}};
    const sock_fprog tProgram{tDropSyn.size(), tDropSyn.data()};
    ::setsockopt(getFd(), SOL_SOCKET, SO_ATTACH_FILTER, &tProgram, sizeof tProgram);
}

void Listener::close() noexcept {
    if (!m_bHandedOver) ::shutdown(getFd(), SHUT_RD);
}

}  // namespace webcontainer
