#include "connections/sweeper.h"

#include <poll.h>

#include <exception>

#include "base/monotonicclock.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

/// How long the first request of a client may be on its way that connected just before the server began to
/// refuse clients.
constexpr std::int64_t s_knFreshGraceMs = 500;
constexpr Refusal s_tHeadTooSlow{408, "the request did not come in time"};

}  // namespace

Sweeper::Sweeper(const WorkerShared& rShared, WorkerStatistics& rStatistics)
    : m_tShared(rShared),
      m_rStatistics(rStatistics),
      m_tLimits(rShared.rLimits),
      m_tRunner(rShared.rHandler),
      m_tBuffers(rShared.pAccessLog) {
    m_tLimits.nWriteTimeoutMs = 0;
}

void Sweeper::run() {
    pollfd tStop{m_tShared.nStopFd, POLLIN, 0};
    while (::poll(&tStop, 1, static_cast<int>(m_tLimits.nSweepIntervalMs)) <= 0) {
        sweep(monotonicMs());
        m_tShared.rfAlive();
    }
}

void Sweeper::sweep(std::int64_t nNowMs) {
    for (Acceptor& rAcceptor : m_tShared.rAcceptors)
        rAcceptor.resume(nNowMs);
    m_tShared.rConnections.forEachWaiting([&](Connection& r) {
        if (!isDue(r, nNowMs) || !r.tOwnership.claim()) return;
        // It may have changed hands before the claim.
        if (isDue(r, nNowMs)) {
            if (!waitsForWorker(r)) return end(r);
            m_tShared.rConnections.arm(r);  // nobody was told when a read stopped in front of it
        }
        m_tShared.rConnections.putBack(r);
    });
}

/// What has arrived makes no client late, unless it is only to be dropped: all workers may be busy.
bool Sweeper::waitsForWorker(const Connection& r) noexcept {
    return r.ePhase.load(std::memory_order_relaxed) != EPhase::kLinger && ConnectionTable::hasUnreadInput(r);
}

bool Sweeper::isDue(const Connection& r, std::int64_t nNowMs) const noexcept {
    return nNowMs >= r.nDeadline.load(std::memory_order_relaxed) || isIdleWhileDraining(r, nNowMs);
}

bool Sweeper::isIdleWhileDraining(const Connection& r, std::int64_t nNowMs) const noexcept {
    if (!m_tShared.rbDraining.load(std::memory_order_relaxed)) return false;
    const EPhase ePhase = r.ePhase.load(std::memory_order_relaxed);
    if (ePhase != EPhase::kFresh) return ePhase == EPhase::kIdle;
    const std::int64_t nAcceptedMs = r.nDeadline.load(std::memory_order_relaxed) - m_tLimits.nHeadTimeoutMs;
    return nNowMs - nAcceptedMs >= s_knFreshGraceMs;
}

void Sweeper::end(Connection& r) noexcept {
    try {
        if (r.pInput) {
            ClientSocket tSocket(r.nFd, m_tShared.nStopFd, m_tShared.rSlowClients, m_rStatistics, nullptr,
                                 nullptr);
            RequestContext tContext{*r.pInput,
                                    tSocket,
                                    r.tEnds,
                                    m_tLimits,
                                    m_tShared.rRules,
                                    m_tBuffers,
                                    m_tShared.rbAnnounced,
                                    m_rStatistics,
                                    r.nArrivedUs};
            m_tRunner.refuse(tContext, r.pInput->isHeadComplete() ? s_tBodyTooSlow : s_tHeadTooSlow);
        }
    } catch (const std::exception& e) {
        logText(kSevError, s_lsConnection, std::string("a slow client was not told: ") + e.what());
    }
    m_tShared.rConnections.close(r, false);
}

}  // namespace webcontainer
