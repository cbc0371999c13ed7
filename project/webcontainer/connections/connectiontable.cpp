#include "connections/connectiontable.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "base/monotonicclock.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

/// Makes close() throw away what has not been sent and tell the client so: a plain end could pass for the end
/// of a response that the end of the connection delimits.
void setReset(int nFd) {
    const linger tLinger{1, 0};
    ::setsockopt(nFd, SOL_SOCKET, SO_LINGER, &tLinger, sizeof tLinger);
}

}  // namespace

ConnectionTable::~ConnectionTable() {
    for (auto& rBlock : m_tBlocks) {
        const std::unique_ptr<Block> pBlock(rBlock.load(std::memory_order_relaxed));
        if (!pBlock) continue;
        for (Connection& r : *pBlock)
            if (r.nFd >= 0) ::close(r.nFd);
    }
}

Connection* ConnectionTable::find(int nFd) const noexcept {
    const auto n = static_cast<std::size_t>(nFd);
    if (n / s_knBlockSize >= s_knBlocks) return nullptr;
    Block* const pBlock = m_tBlocks[n / s_knBlockSize].load(std::memory_order_acquire);
    return pBlock ? &(*pBlock)[n % s_knBlockSize] : nullptr;
}

Connection* ConnectionTable::findOrMake(int nFd) {
    const std::size_t nBlock = static_cast<std::size_t>(nFd) / s_knBlockSize;
    if (nBlock < s_knBlocks && !m_tBlocks[nBlock].load(std::memory_order_acquire)) {
        auto pNew = std::make_unique<Block>();
        Block* pNone = nullptr;
        if (m_tBlocks[nBlock].compare_exchange_strong(pNone, pNew.get(), std::memory_order_acq_rel))
            static_cast<void>(pNew.release());
    }
    return find(nFd);
}

/// Counts a connection of its client. False: that has as many as it may.
bool ConnectionTable::enter(const ConnectionEnds& rEnds, ClientAccount*& rpAccount) {
    rpAccount = nullptr;
    if (rEnds.pTrusted || rEnds.tClient.isUnix()) return true;
    rpAccount = m_tAccounts.enter(rEnds.tClient);
    if (rpAccount) return true;
    m_nTooMany.fetch_add(1, std::memory_order_relaxed);
    if (m_tComplaint.isTime())
        logText(kSevWarning, s_lsConnection,
                "a connection is refused: MaxConnectionsPerClient is reached by " + rEnds.tClient.host());
    return false;
}

ConnectionTable::EOpened ConnectionTable::open(int nFd, const ConnectionEnds& rEnds,
                                               bool bAwaitsProxyHeader) {
    FileDescriptor tSocket(nFd);
    Connection* const p = findOrMake(nFd);
    if (!p) return EOpened::kOutOfReach;
    ClientAccount* pAccount = nullptr;
    if (!enter(rEnds, pAccount)) return EOpened::kTooMany;
    p->tOwnership.open();
    p->nFd = tSocket.release();
    p->bPolled = false;
    p->bAwaitsProxyHeader = bAwaitsProxyHeader;
    p->tEnds = rEnds;
    p->pAccount = pAccount;
    p->nRequests = 0;
    p->nUnreadSinceUs = 0;
    setPhase(*p, EPhase::kFresh);
    m_nOpen.fetch_add(1, std::memory_order_relaxed);
    m_nAll.fetch_add(1, std::memory_order_relaxed);
    putBack(*p);
    return EOpened::kOpen;
}

bool ConnectionTable::introduce(Connection& r, const ConnectionEnds& rEnds) {
    r.bAwaitsProxyHeader = false;
    // Its first byte is still to come.
    r.ePhase.store(EPhase::kFresh, std::memory_order_relaxed);
    r.tEnds = rEnds;
    return enter(rEnds, r.pAccount);
}

void ConnectionTable::leaveToPoller(int nFd) noexcept {
    Connection* const p = claimForEvent(nFd);
    if (!p) return;
    if (rearm(*p)) putBack(*p);
}

Connection* ConnectionTable::claimForEvent(int nFd) noexcept {
    Connection* const p = find(nFd);
    return p && p->tOwnership.claimForEvent() ? p : nullptr;
}

unsigned ConnectionTable::timeoutOf(EPhase ePhase) const noexcept {
    switch (ePhase) {
        case EPhase::kIdle:
            return m_rLimits.nIdleTimeoutMs;
        case EPhase::kBody:
            return m_rLimits.nPrefetchTimeoutMs;
        case EPhase::kTurn:
            return m_rLimits.nWriteTimeoutMs;
        case EPhase::kLinger:
            return m_rLimits.nLingerTimeoutMs;
        default:
            return m_rLimits.nHeadTimeoutMs;
    }
}

void ConnectionTable::setPhase(Connection& r, EPhase ePhase) noexcept {
    r.ePhase.store(ePhase, std::memory_order_relaxed);
    r.nPhaseStart = monotonicMs();
    r.nDeadline.store(r.nPhaseStart + timeoutOf(ePhase), std::memory_order_relaxed);
}

/// Gives a body so much time as a client with the minimum rate needs for what has come of it.
void ConnectionTable::demandRate(Connection& r) noexcept {
    if (m_rLimits.nMinimumBytesPerSecond == 0) return;
    const std::uint64_t nEarned =
        std::uint64_t{r.pInput->countBodyReceived()} * 1000 / m_rLimits.nMinimumBytesPerSecond;
    const std::uint64_t nTimeout =
        std::min<std::uint64_t>(m_rLimits.nPrefetchTimeoutMs, m_rLimits.nRateGraceMs + nEarned);
    r.nDeadline.store(r.nPhaseStart + static_cast<std::int64_t>(nTimeout), std::memory_order_relaxed);
}

bool ConnectionTable::park(Connection& r, EPhase ePhase) noexcept {
    if (r.ePhase.load(std::memory_order_relaxed) != ePhase) setPhase(r, ePhase);
    if (ePhase == EPhase::kBody) demandRate(r);
    if (!r.bPolled && !enterPoller(r)) {
        close(r, true);
        return true;
    }
    return r.tOwnership.release();
}

bool ConnectionTable::enterPoller(Connection& r) noexcept {
    r.bPolled = m_rPoller.add(r.nFd);
    return r.bPolled;
}

void ConnectionTable::parkForTurn(Connection& r) noexcept {
    setPhase(r, EPhase::kTurn);
    if (!r.bPolled && !enterPoller(r)) return close(r, true);
    // An event that has come already, this one or what the client has sent meanwhile, was for the owner.
    do
        m_rPoller.enqueue(r.nFd);
    while (!r.tOwnership.release());
}

void ConnectionTable::arm(Connection& r) noexcept {
    if (r.bPolled) m_rPoller.arm(r.nFd);  // else park() does
}

void ConnectionTable::mute(const Connection& r) noexcept {
    if (r.bPolled) m_rPoller.mute(r.nFd);
}

bool ConnectionTable::rearm(Connection& r) noexcept {
    if (!r.bPolled) {
        if (enterPoller(r)) return true;
        close(r, true);
        return false;
    }
    if (r.ePhase.load(std::memory_order_relaxed) == EPhase::kTurn)
        m_rPoller.enqueue(r.nFd);
    else
        m_rPoller.arm(r.nFd);
    return true;
}

void ConnectionTable::putBack(Connection& r) noexcept {
    while (!r.tOwnership.release())
        if (!rearm(r)) return;
}

bool ConnectionTable::isReady(const Connection& r) noexcept {
    pollfd tPoll{r.nFd, POLLIN | POLLOUT, 0};
    return ::poll(&tPoll, 1, 0) > 0;
}

std::int64_t ConnectionTable::idleSince(const Connection& r) const noexcept {
    const EPhase ePhase = r.ePhase.load(std::memory_order_relaxed);
    const bool bIdle = ePhase == EPhase::kFresh || ePhase == EPhase::kPreface || ePhase == EPhase::kIdle;
    if (!bIdle && ePhase != EPhase::kHead) return s_knNever;
    return r.nDeadline.load(std::memory_order_relaxed) - timeoutOf(ePhase);
}

bool ConnectionTable::hasUnreadInput(const Connection& r) noexcept {
    char c;
    // What there is of a preface has been looked at.
    return r.ePhase != EPhase::kPreface && ::recv(r.nFd, &c, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

unsigned ConnectionTable::giveUpOldest() noexcept {
    constexpr std::size_t nMost = 16;
    std::array<std::pair<std::int64_t, Connection*>, nMost> tOldest;  // a heap, its youngest in front
    const auto nWanted =
        static_cast<std::ptrdiff_t>(std::clamp<std::size_t>(m_rLimits.nMaxConnections / nMost, 1, nMost));
    auto itEnd = tOldest.begin();
    forEachWaiting([&](Connection& r) {
        const std::int64_t nSince = idleSince(r);
        if (nSince == s_knNever) return;
        if (itEnd - tOldest.begin() == nWanted) {
            if (nSince >= tOldest.front().first) return;
            std::pop_heap(tOldest.begin(), itEnd--);
        }
        *itEnd++ = {nSince, &r};
        std::push_heap(tOldest.begin(), itEnd);
    });
    unsigned nClosed = 0;
    for (auto it = tOldest.begin(); it != itEnd; ++it) {
        Connection& r = *it->second;
        if (!r.tOwnership.claim()) continue;
        // It may have changed hands before the claim.
        if (idleSince(r) == it->first && !hasUnreadInput(r)) {
            close(r, false);
            ++nClosed;
            continue;
        }
        while (!park(r, r.ePhase.load(std::memory_order_relaxed)))
            arm(r);
    }
    return nClosed;
}

std::array<std::size_t, s_knPhases> ConnectionTable::countPhases() const noexcept {
    std::array<std::size_t, s_knPhases> tCounts{};
    for (const auto& rBlock : m_tBlocks) {
        const Block* const pBlock = rBlock.load(std::memory_order_acquire);
        if (!pBlock) continue;
        for (const Connection& r : *pBlock)
            if (!r.tOwnership.isFree())
                ++tCounts[static_cast<std::size_t>(r.ePhase.load(std::memory_order_relaxed))];
    }
    return tCounts;
}

void ConnectionTable::close(Connection& r, bool bReset) noexcept {
    const int nFd = r.nFd;
    if (bReset) setReset(nFd);
    r.pInput.reset();
    if (r.pAccount) m_tAccounts.leave(*r.pAccount);
    r.nFd = -1;
    // The descriptor may be accepted anew as soon as it is closed, so the place must be free before.
    r.tOwnership.free();
    ::close(nFd);
    m_nOpen.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace webcontainer
