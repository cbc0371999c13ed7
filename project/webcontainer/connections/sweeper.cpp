#include "connections/sweeper.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <exception>

#include "base/monotonicclock.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

/// How long the first request of a client may be on its way that connected just before the server began to
/// refuse clients.
constexpr std::int64_t s_knFreshGraceMs = 500;
/// The same of the next request of a client that has just been answered, so that one that asks for one thing
/// after the other learns of the end from a response.
constexpr std::int64_t s_knKeptGraceMs = 200;
/// How long a request may wait for a processor without being told of.
constexpr std::int64_t s_knUsualMs = 100;
constexpr Refusal s_tHeadTooSlow{408, "the request did not come in time"};

}  // namespace

Sweeper::Sweeper(const WorkerShared& rShared, WorkerStatistics& rStatistics)
    : m_tShared(rShared),
      m_rStatistics(rStatistics),
      m_tLimits(rShared.rLimits),
      m_tInput(rShared.rLimits, RequestInput::fullCapacity(rShared.rLimits)),
      m_tRunner(rShared.rHandler),
      m_tBuffers(rShared.pAccessLog, rShared.pRecorder) {
    m_tLimits.nWriteTimeoutMs = 0;
    if (rShared.pRecorder) m_tInput.keepChunks();
}

void Sweeper::run() {
    pollfd tStop{m_tShared.nStopFd, POLLIN, 0};
    while (::poll(&tStop, 1, static_cast<int>(m_tLimits.nSweepIntervalMs)) <= 0) {
        sweep(monotonicMs());
        observe(monotonicMs());
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
            // Nobody was told when a read stopped in front of it.
            if (!m_tShared.rConnections.rearm(r)) return;
        }
        m_tShared.rConnections.putBack(r);
    });
}

/// Of all threads this one alone is not busy when all workers are.
void Sweeper::observe(std::int64_t nNowMs) noexcept {
    const std::vector<WorkerStatistics>& rAll = m_tShared.rStatistics;
    const bool bAllBusy =
        std::all_of(rAll.begin(), rAll.end() - 1, [](const WorkerStatistics& r) { return r.isBusy(); });
    Statistics tSum;  // without what this thread has refused, which is no progress
    std::for_each(rAll.begin(), rAll.end() - 1, [&tSum](const WorkerStatistics& r) { r.addTo(tSum); });
    m_tShared.rSaturation.setProgress(bAllBusy, tSum.countRequests(), nNowMs);
    // Where requests compute, fewer workers are awake than there are.
    if (!bAllBusy && !m_tShared.rWorkRoom.isAnybodyWaiting())
        return m_tShared.rSaturation.setQueue({}, nNowMs);
    if (nNowMs < m_nNextLookMs) return;
    for (Acceptor& r : m_tShared.rAcceptors)
        if (bAllBusy) r.acceptInstead();
    const std::int64_t nStartUs = monotonicUs();
    const Saturation::Queue tQueue = lookAtQueue(nNowMs, bAllBusy ? 0 : s_knUsualMs);
    const std::int64_t nShare = bAllBusy ? 20 : 200;  // of the time, at most, is spent on looking
    m_nNextLookMs = nNowMs + (monotonicUs() - nStartUs) * nShare / 1000;
    m_tShared.rSaturation.setQueue(tQueue, nNowMs);
    if (tQueue.nRequests != 0) complain(tQueue, bAllBusy, nNowMs);
}

/// Of the requests that have waited for at least so long.
Saturation::Queue Sweeper::lookAtQueue(std::int64_t nNowMs, std::int64_t nLeastMs) noexcept {
    Saturation::Queue tQueue;
    m_tShared.rConnections.forEachWaiting([&](Connection& r) {
        if (!r.tOwnership.claim()) return;
        const EPhase ePhase = r.ePhase.load(std::memory_order_relaxed);
        std::int64_t nAgeUs = -1;
        if (ePhase == EPhase::kTurn)
            nAgeUs = ConnectionTable::isReady(r) ? (nNowMs - r.nPhaseStart) * 1000 : -1;
        else if (ePhase != EPhase::kLinger && ePhase != EPhase::kPreface)
            nAgeUs = ClientSocket::peekAgeUs(r.nFd);
        if (ePhase != EPhase::kTurn && nAgeUs >= 0) nAgeUs = r.noteUnreadUs(monotonicUs(), nAgeUs);
        if (ePhase != EPhase::kTurn && m_tShared.rQueueDelay.isBeyondBound(nAgeUs / 1000))
            return refuseWaiting(r);
        m_tShared.rConnections.putBack(r);
        if (nAgeUs < nLeastMs * 1000) return;
        tQueue.nOldestMs =
            std::min(tQueue.nRequests == 0 ? nNowMs : tQueue.nOldestMs, nNowMs - nAgeUs / 1000);
        ++tQueue.nRequests;
    });
    return tQueue;
}

/// Once a minute only.
void Sweeper::complain(const Saturation::Queue& rQueue, bool bAllBusy, std::int64_t nNowMs) noexcept {
    constexpr std::int64_t nIntervalMs = 60000;
    if (nNowMs < m_nNextComplaintMs) return;
    m_nNextComplaintMs = nNowMs + nIntervalMs;
    logMade(kSevWarning, s_lsRequest, [&] {
        return (bAllBusy ? "no worker is free: " : "no processor is free: ") +
               std::to_string(rQueue.nRequests) + " requests wait, the oldest for " +
               std::to_string(nNowMs - rQueue.nOldestMs) + " ms";
    });
}

/// What has arrived makes no client late, unless it is only to be dropped: all workers may be busy.
bool Sweeper::waitsForWorker(const Connection& r) noexcept {
    const EPhase ePhase = r.ePhase.load(std::memory_order_relaxed);
    if (ePhase == EPhase::kTurn) return ConnectionTable::isReady(r);
    return ePhase != EPhase::kLinger && ConnectionTable::hasUnreadInput(r);
}

bool Sweeper::isDue(const Connection& r, std::int64_t nNowMs) const noexcept {
    return nNowMs >= r.nDeadline.load(std::memory_order_relaxed) || isIdleWhileDraining(r, nNowMs);
}

bool Sweeper::isIdleWhileDraining(const Connection& r, std::int64_t nNowMs) const noexcept {
    const EPhase ePhase = r.ePhase.load(std::memory_order_relaxed);
    if (!m_tShared.rbDraining.load(std::memory_order_relaxed) || ePhase == EPhase::kHead) return false;
    return nNowMs - m_tShared.rConnections.idleSince(r) >=
           (ePhase == EPhase::kIdle ? s_knKeptGraceMs : s_knFreshGraceMs);
}

void Sweeper::end(Connection& r) noexcept {
    const bool bTurn = r.ePhase.load(std::memory_order_relaxed) == EPhase::kTurn;
    if (r.pInput && !bTurn)
        tellClient([&] {
            ClientSocket tSocket = socketOf(r);
            RequestContext tContext = contextOf(r, *r.pInput, tSocket);
            m_tRunner.refuse(tContext, r.pInput->isHeadComplete() ? s_tBodyTooSlow : s_tHeadTooSlow);
        });
    m_tShared.rConnections.close(r, bTurn);  // it takes no response, so that nothing can be told
}

/// What a worker would do, when none is there to do it; the request need not be whole.
void Sweeper::refuseWaiting(Connection& r) noexcept {
    EOutcome eOutcome = EOutcome::kAbort;
    tellClient([&] {
        ClientSocket tSocket = socketOf(r);
        RequestInput& rInput = r.pInput ? *r.pInput : m_tInput;
        RequestContext tContext = contextOf(r, rInput, tSocket);
        const std::span<char> tRoom = rInput.room();
        const Received tReceived = tSocket.receiveDated(tRoom.data(), tRoom.size());
        if (tReceived.eKind != EReceived::kBytes) return;
        const std::int64_t nAgeUs = r.takeUnreadAgeUs(tContext.nNowUs, tReceived.nAgeUs);
        if (rInput.isEmpty()) r.tArrival = {tContext.nNowUs - nAgeUs, 0};
        r.tArrival.nWaitingUs += nAgeUs;
        rInput.commit(tReceived.nBytes);
        const Parsed tParsed = rInput.advance();
        eOutcome = m_tRunner.refuse(tContext,
                                    tParsed == Parsed::kRefused ? tParsed.getRefusal() : s_tNoWorkerInTime);
    });
    r.pInput.reset();
    m_tInput.clear();
    if (eOutcome == EOutcome::kAbort) return m_tShared.rConnections.close(r, true);
    ::shutdown(r.nFd, SHUT_WR);
    r.nLingerLeft = m_tLimits.nLingerBytes;
    do
        m_tShared.rConnections.arm(r);
    while (!m_tShared.rConnections.park(r, EPhase::kLinger));
}

template <class F>
void Sweeper::tellClient(F f) noexcept {
    try {
        f();
    } catch (const std::exception& e) {
        logMade(kSevError, s_lsConnection, [&] { return std::string("a client was not told: ") + e.what(); });
    }
}

ClientSocket Sweeper::socketOf(const Connection& r) noexcept {
    return {r.nFd, m_tShared.nStopFd, m_tShared.rSlowClients, m_rStatistics, nullptr, nullptr};
}

RequestContext Sweeper::contextOf(Connection& r, RequestInput& rInput, ClientSocket& rSocket) noexcept {
    return {rInput,        rSocket,   r.tEnds, m_tLimits, m_tShared.rRules, m_tBuffers, m_tShared.rbAnnounced,
            m_rStatistics, r.tArrival};
}

}  // namespace webcontainer
