#include "connections/acceptor.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/monotonicclock.h"
#include "base/starterror.h"
#include "log/containerlog.h"

namespace webcontainer {

Acceptor::Acceptor(const ListenAddress& rAddress, const ContainerOptions& rOptions, Poller& rPoller,
                   ConnectionTable& rConnections)
    : m_rOptions(rOptions),
      m_rPoller(rPoller),
      m_rConnections(rConnections),
      m_tListener(rAddress, rOptions.tLimits.nListenBacklog, rOptions.nUnixSocketMode) {}

void Acceptor::start() {
    if (!m_rPoller.addListener(m_tListener.getFd()))
        throwStartError("cannot wait for clients at " + m_tListener.getPlace() + ": " + describeError(errno));
}

void Acceptor::acceptWaiting(WorkRoom& rRoom, WorkRoom::Seat& rSeat) noexcept {
    if (m_bStopped.load(std::memory_order_acquire)) return;  // finish() goes on
    for (int n = 0; n < s_knMostAtOnce; ++n) {
        if (!makeRoom()) return pause(monotonicMs());
        const int nFd = acceptOne();
        if (nFd >= 0) {
            if (!rRoom.append(rSeat, {nFd, false, 0})) m_rConnections.leaveToPoller(nFd);
            continue;
        }
        if (!handleError(errno)) return;
        if (errno == EAGAIN) break;
    }
    m_rPoller.armListener(m_tListener.getFd());
}

void Acceptor::acceptInstead() noexcept {
    for (int n = 0; n < s_knMostAtOnce && hasRoom() && !m_bStopped.load(std::memory_order_acquire); ++n) {
        const int nFd = acceptOne();
        if (nFd < 0) return;
        m_rConnections.leaveToPoller(nFd);
    }
}

/// For a client that waits, if there is one. False: all connections have requests.
bool Acceptor::makeRoom() noexcept {
    pollfd tPoll{m_tListener.getFd(), POLLIN, 0};
    if (hasRoom() || ::poll(&tPoll, 1, 0) <= 0) return true;
    const bool bRoom = m_rConnections.giveUpOldest() != 0;
    if (m_tShortage.isTime())
        logText(kSevWarning, s_lsConnection,
                bRoom ? "MaxConnections is reached: the oldest without a request make room for new ones"
                      : "clients have to wait: MaxConnections is reached, and all have requests");
    return bRoom;
}

/// The new connection's descriptor; below 0: errno says why there is none.
int Acceptor::acceptOne() noexcept {
    ConnectionEnds tEnds;
    tEnds.nServerPort = m_tListener.getAddress().portNumber();
    socklen_t nLength = SocketAddress::capacity();
    const int nFd =
        ::accept4(m_tListener.getFd(), tEnds.tClient.data(), &nLength, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (nFd < 0) return -1;
    if (isOutOfResources()) m_bOutOfResources.store(false, std::memory_order_relaxed);
    tEnds.tClient.unmap();
    if (m_rOptions.tTrustedProxies.contains(tEnds.tClient)) tEnds.pTrusted = &m_rOptions.tTrustedProxies;
    const bool bProxied = m_rOptions.eProxyProtocol != EProxyProtocol::kNone;
    if (bProxied && !tEnds.pTrusted) return refuse(nFd, tEnds);
    auto eOpened = ConnectionTable::EOpened::kOutOfReach;
    try {
        eOpened = m_rConnections.open(nFd, tEnds, bProxied);
    } catch (const std::bad_alloc&) {
    }
    if (eOpened == ConnectionTable::EOpened::kOpen) return nFd;
    errno = eOpened == ConnectionTable::EOpened::kTooMany ? EUSERS : ENOMEM;
    return -1;
}

/// Where proxies introduce their clients, a stranger could claim to be anybody.
int Acceptor::refuse(int nFd, const ConnectionEnds& rEnds) noexcept {
    ::close(nFd);
    m_nStrangers.fetch_add(1, std::memory_order_relaxed);
    if (m_tStranger.isTime())
        logMade(kSevWarning, s_lsConnection, [&] {
            return "a connection is refused: with ProxyProtocol, only TrustedProxies may connect, not " +
                   rEnds.tClient.host();
        });
    errno = EUSERS;
    return -1;
}

/// Whether accepting can go on.
bool Acceptor::handleError(int nError) noexcept {
    switch (nError) {
        case EMFILE:
        case ENFILE:
        case ENOMEM:
        case ENOBUFS:
            if (m_tShortage.isTime())
                logMade(kSevWarning, s_lsConnection,
                        [&] { return "clients have to wait: " + describeError(nError); });
            m_bOutOfResources.store(true, std::memory_order_relaxed);
            pause(monotonicMs() + m_rOptions.tLimits.nAcceptPauseMs);
            return false;
        default:
            // A client that is refused or has gone already, or a network error of its connection (see
            // accept(2)).
            return !m_bStopped.load(std::memory_order_acquire);
    }
}

void Acceptor::pause(std::int64_t nUntilMs) noexcept {
    m_nPausedUntilMs.store(std::max(nUntilMs, s_knNotPaused + 1), std::memory_order_release);
}

void Acceptor::resume(std::int64_t nNowMs) noexcept {
    const std::int64_t nUntilMs = m_nPausedUntilMs.load(std::memory_order_acquire);
    if (nUntilMs == s_knNotPaused || nNowMs < nUntilMs) return;
    m_nPausedUntilMs.store(s_knNotPaused, std::memory_order_release);
    m_rPoller.armListener(m_tListener.getFd());
}

void Acceptor::stop() noexcept {
    m_bStopped.store(true, std::memory_order_release);
    m_nStoppedMs = monotonicMs();
    m_tListener.refuse();
}

bool Acceptor::finish() noexcept {
    if (m_tListener.isHandedOver()) return true;
    const bool bHandshakesOver = monotonicMs() - m_nStoppedMs >= s_knHandshakeMs;
    for (int nFd = 0; nFd >= 0 || errno == EUSERS;) {
        if (!hasRoom()) return false;
        nFd = acceptOne();
        if (nFd >= 0) m_rConnections.leaveToPoller(nFd);
    }
    // EAGAIN: nobody waits; EINVAL: nor can anybody any more. For all else it tries again later.
    if (errno != EINVAL && !(errno == EAGAIN && bHandshakesOver)) return false;
    m_tListener.close();
    return true;
}

}  // namespace webcontainer
