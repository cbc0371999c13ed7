#include "acceptor.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "containerlog.h"
#include "monotonicclock.h"
#include "starterror.h"

namespace webcontainer {

namespace {

[[noreturn]] void throwCannotListen(const SocketAddress& rAddress, int nError) {
    throwStartError("cannot listen on " + rAddress.text() + ": " + describeError(nError) +
                    "; choose another address or port with --listen or WebContainer/Listen");
}

void setOption(int nFd, int nLevel, int nOption) {
    const int nOn = 1;
    ::setsockopt(nFd, nLevel, nOption, &nOn, sizeof nOn);
}

FileDescriptor listenOn(const SocketAddress& rAddress, unsigned nBacklog) {
    FileDescriptor tSocket(::socket(rAddress.family(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!tSocket.isOpen()) throwCannotListen(rAddress, errno);
    setOption(tSocket.get(), SOL_SOCKET, SO_REUSEADDR);
    // Accepted sockets inherit it: a response goes out in one piece, so waiting to fill packets only delays.
    setOption(tSocket.get(), IPPROTO_TCP, TCP_NODELAY);
    if (::bind(tSocket.get(), rAddress.data(), rAddress.size()) != 0 ||
        ::listen(tSocket.get(), static_cast<int>(nBacklog)) != 0)
        throwCannotListen(rAddress, errno);
    return tSocket;
}

}  // namespace

Acceptor::Acceptor(const SocketAddress& rAddress, Poller& rPoller, ConnectionTable& rConnections,
                   const Limits& rLimits)
    : m_rPoller(rPoller),
      m_rConnections(rConnections),
      m_rLimits(rLimits),
      m_tListener(listenOn(rAddress, rLimits.nListenBacklog)),
      m_tAddress(SocketAddress::ofSocket(m_tListener.get())) {}

void Acceptor::start() {
    if (!m_rPoller.add(m_tListener.get())) throwCannotListen(m_tAddress, errno);
}

void Acceptor::acceptWaiting() noexcept {
    for (int n = 0; n < s_knMostAtOnce; ++n) {
        if (m_rConnections.count() >= m_rLimits.nMaxConnections) return pause(monotonicMs());
        if (acceptOne()) continue;
        if (!handleError(errno)) return;
        if (errno == EAGAIN) break;
    }
    m_rPoller.arm(m_tListener.get());
}

/// False: errno says why.
bool Acceptor::acceptOne() noexcept {
    ConnectionEnds tEnds;
    tEnds.nServerPort = m_tAddress.portNumber();
    socklen_t nLength = SocketAddress::capacity();
    const int nFd =
        ::accept4(m_tListener.get(), tEnds.tClient.data(), &nLength, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (nFd < 0) return false;
    try {
        m_rConnections.open(nFd, tEnds);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
    return true;
}

/// Whether accepting can go on.
bool Acceptor::handleError(int nError) noexcept {
    switch (nError) {
        case EMFILE:
        case ENFILE:
        case ENOMEM:
        case ENOBUFS:
            logText(kSevWarning, s_lsConnection,
                    "no client is accepted for a while: " + describeError(nError));
            pause(monotonicMs() + m_rLimits.nAcceptPauseMs);
            return false;
        default:
            // A client that has gone already, or a network error of its connection (see accept(2)).
            return !m_bStopped.load(std::memory_order_acquire);
    }
}

void Acceptor::pause(std::int64_t nUntilMs) noexcept {
    m_nPausedUntilMs.store(std::max(nUntilMs, s_knNotPaused + 1), std::memory_order_release);
}

void Acceptor::resume(std::int64_t nNowMs) noexcept {
    const std::int64_t nUntilMs = m_nPausedUntilMs.load(std::memory_order_acquire);
    if (nUntilMs == s_knNotPaused || nNowMs < nUntilMs) return;
    if (m_rConnections.count() >= m_rLimits.nMaxConnections) return;
    m_nPausedUntilMs.store(s_knNotPaused, std::memory_order_release);
    m_rPoller.arm(m_tListener.get());
}

void Acceptor::stop() noexcept {
    // Not closed yet: a worker may be about to use the descriptor.
    m_bStopped.store(true, std::memory_order_release);
    ::shutdown(m_tListener.get(), SHUT_RD);
}

}  // namespace webcontainer
