#include "sockets/clientsocket.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "base/monotonicclock.h"

namespace webcontainer {

namespace {

/// Takes nBytes away from the front of the pieces.
std::span<iovec> skipSent(std::span<iovec> tPieces, std::size_t nBytes) {
    while (!tPieces.empty() && nBytes >= tPieces.front().iov_len) {
        nBytes -= tPieces.front().iov_len;
        tPieces = tPieces.subspan(1);
    }
    if (!tPieces.empty()) {
        tPieces.front().iov_base = static_cast<char*>(tPieces.front().iov_base) + nBytes;
        tPieces.front().iov_len -= nBytes;
    }
    while (!tPieces.empty() && tPieces.back().iov_len == 0)
        tPieces = tPieces.first(tPieces.size() - 1);
    return tPieces;
}

ssize_t sendSome(int nFd, std::span<iovec> tPieces) {
    if (tPieces.size() == 1) return ::send(nFd, tPieces[0].iov_base, tPieces[0].iov_len, MSG_NOSIGNAL);
    msghdr tMessage{};
    tMessage.msg_iov = tPieces.data();
    tMessage.msg_iovlen = tPieces.size();
    return ::sendmsg(nFd, &tMessage, MSG_NOSIGNAL);
}

/// Bytes sent that the client has not acknowledged.
std::size_t countQueued(int nFd) {
    int nQueued = 0;
    return ::ioctl(nFd, SIOCOUTQ, &nQueued) == 0 && nQueued > 0 ? static_cast<std::size_t>(nQueued) : 0;
}

ClientSocket::ESent toSent(EWaited eWaited) {
    switch (eWaited) {
        case EWaited::kOverdue:
            return ClientSocket::ESent::kOverdue;
        case EWaited::kStopping:
            return ClientSocket::ESent::kStopping;
        default:
            return ClientSocket::ESent::kTooSlow;
    }
}

/// Microseconds since the kernel's time stamp; 0: there is none, or somebody has set the clock.
std::int64_t ageOf(msghdr& rMessage) {
    const cmsghdr* const p = CMSG_FIRSTHDR(&rMessage);
    if (!p || p->cmsg_level != SOL_SOCKET || p->cmsg_type != SCM_TIMESTAMPNS) return 0;
    timespec tStamp{}, tNow{};
    std::memcpy(&tStamp, CMSG_DATA(p), sizeof tStamp);
    clock_gettime(CLOCK_REALTIME, &tNow);
    const std::int64_t nAgeUs =
        (std::int64_t{tNow.tv_sec} - tStamp.tv_sec) * 1000000 + (tNow.tv_nsec - tStamp.tv_nsec) / 1000;
    return std::max<std::int64_t>(nAgeUs, 0);
}

/// As recv(), with the age of the last of the bytes.
ssize_t recvDated(int nFd, void* pBuffer, std::size_t nSize, int nFlags, std::int64_t& rnAgeUs) {
    alignas(cmsghdr) char tControl[CMSG_SPACE(sizeof(timespec))];
    iovec tPiece{pBuffer, nSize};
    msghdr tMessage{};
    tMessage.msg_iov = &tPiece;
    tMessage.msg_iovlen = 1;
    tMessage.msg_control = tControl;
    tMessage.msg_controllen = sizeof tControl;
    const ssize_t nReceived = ::recvmsg(nFd, &tMessage, nFlags);
    if (nReceived > 0) rnAgeUs = ageOf(tMessage);
    return nReceived;
}

}  // namespace

Received ClientSocket::receive(void* pBuffer, std::size_t nSize) noexcept {
    return toReceived(::recv(m_nFd, pBuffer, nSize, 0));
}

Received ClientSocket::receiveDated(void* pBuffer, std::size_t nSize) noexcept {
    std::int64_t nAgeUs = 0;
    Received tReceived = toReceived(recvDated(m_nFd, pBuffer, nSize, 0, nAgeUs));
    tReceived.nAgeUs = nAgeUs;
    return tReceived;
}

std::int64_t ClientSocket::peekAgeUs(int nFd) noexcept {
    char c;
    std::int64_t nAgeUs = 0;
    return recvDated(nFd, &c, 1, MSG_PEEK | MSG_DONTWAIT, nAgeUs) > 0 ? nAgeUs : -1;
}

/// A socket that does not block is not interrupted either.
Received ClientSocket::toReceived(ssize_t nReceived) noexcept {
    if (nReceived < 0) return {errno == EAGAIN ? EReceived::kNothingYet : EReceived::kEnd};
    if (nReceived == 0) return {EReceived::kEnd};
    m_rStatistics.countReceived(static_cast<std::size_t>(nReceived));
    return {EReceived::kBytes, static_cast<std::size_t>(nReceived)};
}

EWaited ClientSocket::waitForInput(Patience& rPatience) noexcept {
    const EWaited eWaited = wait(POLLIN, rPatience);
    if (eWaited == EWaited::kTooSlow) m_rStatistics.countCutOff(ECutOff::kSendsTooSlowly);
    if (eWaited == EWaited::kOverdue) m_rStatistics.countCutOff(ECutOff::kOverdue);
    return eWaited;
}

EWaited ClientSocket::wait(short nEvents, Patience& rPatience) noexcept {
    const std::int64_t nStart = monotonicMs();
    const std::int64_t nLeft = rPatience.nDeadline - nStart;
    if (nLeft <= 0) return EWaited::kOverdue;
    if (m_pObserver) m_pObserver->beforeWait();
    m_rStatistics.activity().setWaiting(nEvents == POLLIN ? Activity::EWaiting::kForInput
                                                          : Activity::EWaiting::kForRoom);
    const std::int64_t nSlow = std::min<std::int64_t>(rPatience.nTimeoutMs, rPatience.tRate.patienceMs());
    const std::int64_t nStartUs = monotonicUs();
    const EWaited eWaited = waitAtMost(nEvents, std::min(nLeft, nSlow), rPatience.tRate.deficitMs());
    (nEvents == POLLIN ? m_tWaits.nForInputUs : m_tWaits.nForRoomUs) += monotonicUs() - nStartUs;
    m_rStatistics.activity().setWaiting(Activity::EWaiting::kNothing);
    const std::int64_t nWaited = monotonicMs() - nStart;
    rPatience.tRate.countWait(nWaited);
    return eWaited == EWaited::kTooSlow && nWaited >= nLeft ? EWaited::kOverdue : eWaited;
}

/// Waits in steps, because it depends on the other workers too how long this one may wait.
EWaited ClientSocket::waitAtMost(short nEvents, std::int64_t nMs, std::int64_t nDeficitMs) noexcept {
    SlowClients::Wait tWait(m_rSlow, m_pObserver, m_pAccount);
    for (std::int64_t nWaited = 0; nWaited < nMs && tWait.mayGoOn(nDeficitMs + nWaited);) {
        const std::int64_t nStep = std::min(nMs - nWaited, s_knStepMs);
        const EWaited eWaited = poll(nEvents, static_cast<int>(nStep));
        if (eWaited != EWaited::kTooSlow) return eWaited;
        nWaited += nStep;
    }
    return EWaited::kTooSlow;
}

/// kTooSlow: nothing happened.
EWaited ClientSocket::poll(short nEvents, int nMs) noexcept {
    pollfd tFds[] = {{m_nFd, nEvents, 0}, {m_nStopFd, POLLIN, 0}};
    const int nReady = ::poll(tFds, 2, nMs);
    if (nReady == 0) return EWaited::kTooSlow;
    // Interrupted: the caller tries again.
    return nReady > 0 && tFds[1].revents != 0 ? EWaited::kStopping : EWaited::kReady;
}

bool ClientSocket::hasEnded() const noexcept {
    pollfd tFd{m_nFd, POLLRDHUP, 0};
    return ::poll(&tFd, 1, 0) > 0;
}

EWaited ClientSocket::waitForRoom(Patience& rPatience) noexcept {
    for (std::size_t nQueued = countQueued(m_nFd);;) {
        const EWaited eWaited = wait(POLLOUT, rPatience);
        if (eWaited != EWaited::kTooSlow) return eWaited;
        // The kernel reports room late when its buffer is large; what left the buffer shows earlier.
        const std::size_t nLeft = countQueued(m_nFd);
        if (nLeft >= nQueued) return EWaited::kTooSlow;
        rPatience.tRate.countBytes(nQueued - nLeft);
        nQueued = nLeft;
    }
}

ClientSocket::ESent ClientSocket::send(std::span<iovec> tPieces, Patience& rPatience) noexcept {
    for (tPieces = skipSent(tPieces, 0); !tPieces.empty();) {
        const ssize_t nSent = sendSome(m_nFd, tPieces);
        if (nSent >= 0) {
            m_rStatistics.countSent(static_cast<std::size_t>(nSent));
            rPatience.tRate.countBytes(static_cast<std::size_t>(nSent));
            tPieces = skipSent(tPieces, static_cast<std::size_t>(nSent));
        } else if (errno == EAGAIN) {
            const EWaited eWaited = waitForRoom(rPatience);
            if (eWaited == EWaited::kTooSlow) m_rStatistics.countCutOff(ECutOff::kTakesTooSlowly);
            if (eWaited == EWaited::kOverdue) m_rStatistics.countCutOff(ECutOff::kOverdue);
            if (eWaited != EWaited::kReady) return toSent(eWaited);
        } else if (errno != EINTR) {
            m_rStatistics.countCutOff(ECutOff::kGone);
            return ESent::kGone;
        }
    }
    return ESent::kSent;
}

}  // namespace webcontainer
