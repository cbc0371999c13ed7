#include "connections/worker.h"

#include <sys/socket.h>

#include <algorithm>
#include <exception>

#include "base/monotonicclock.h"
#include "log/containerlog.h"

namespace webcontainer {

Worker::Worker(const WorkerShared& rShared, WorkerStatistics& rStatistics)
    : m_tShared(rShared),
      m_rStatistics(rStatistics),
      m_tInput(rShared.rLimits, RequestInput::fullCapacity(rShared.rLimits)),
      m_tRunner(rShared.rHandler) {}

void Worker::run() {
    for (;;) {
        m_tShared.rWaitingRoom.enter();
        const Event tEvent = m_tShared.rPoller.wait();
        m_tShared.rWaitingRoom.leave();
        if (tEvent.nFd == m_tShared.nStopFd) return;
        if (acceptFrom(tEvent.nFd)) continue;
        if (Connection* const p = m_tShared.rConnections.claimForEvent(tEvent.nFd)) serve(*p, tEvent.bReadOn);
    }
}

/// Whether the descriptor is a listening socket's.
bool Worker::acceptFrom(int nFd) noexcept {
    for (Acceptor& r : m_tShared.rAcceptors) {
        if (r.getListener().getFd() != nFd) continue;
        r.acceptWaiting();
        return true;
    }
    return false;
}

void Worker::serve(Connection& rConnection, bool bReadOn) {
    for (m_bDrain = bReadOn;; m_bDrain = true) {  // what another thread's event said is not known
        const Next tNext = advance(rConnection);
        if (tNext.eKind != Next::kWait)
            return m_tShared.rConnections.close(rConnection, tNext.eKind == Next::kAbort);
        if (m_tShared.rConnections.park(rConnection, tNext.ePhase)) return;
    }
}

/// Does what can be done for a connection now. Only memory can run out here; it costs the one connection.
Worker::Next Worker::advance(Connection& rConnection) {
    Next tNext{Next::kAbort};
    try {
        tNext = rConnection.ePhase == EPhase::kLinger
                    ? discard(rConnection)
                    : converse(rConnection, rConnection.pInput ? *rConnection.pInput : m_tInput);
        stowInput(rConnection, tNext);
    } catch (const std::exception& e) {
        logText(kSevError, s_lsConnection, std::string("a connection was given up: ") + e.what());
        tNext = {Next::kAbort};
        m_tInput.clear();
    }
    return tNext;
}

Worker::Next Worker::converse(Connection& rConnection, RequestInput& rInput) {
    ClientSocket tSocket(rConnection.nFd, m_tShared.nStopFd, m_tShared.rSlowClients, m_rStatistics);
    RequestContext tContext{rInput,
                            tSocket,
                            rConnection.tEnds,
                            m_tShared.rLimits,
                            m_tBuffers,
                            m_tShared.rbAnnounced,
                            m_rStatistics,
                            m_tShared.pAccessLog,
                            rConnection.nArrivedUs};
    for (;;) {
        const std::span<char> tRoom = rInput.room();
        const Received tReceived = tSocket.receive(tRoom.data(), tRoom.size());
        if (tReceived.eKind == EReceived::kEnd) return handleEnd(tContext, rConnection);
        if (tReceived.eKind == EReceived::kNothingYet) return waitForMore(rInput);
        if (rInput.isEmpty()) rConnection.nArrivedUs = monotonicUs();
        rInput.commit(tReceived.nBytes);
        Next tNext{Next::kWait};
        if (!serveReceived(tContext, rConnection, tNext)) return tNext;
        const bool bMore = m_bDrain || tReceived.nBytes == tRoom.size();
        if (!bMore) return waitForMore(rInput);
        if (rConnection.ePhase == EPhase::kServing) {
            // After a request, others have their turn first.
            m_tShared.rPoller.arm(rConnection.nFd);
            return waitForMore(rInput);
        }
    }
}

/// Runs every request that is ready. False: rNext says how the connection goes on.
bool Worker::serveReceived(RequestContext& rContext, Connection& rConnection, Next& rNext) {
    for (;;) {
        const Parsed tParsed = rContext.rInput.advance();
        if (tParsed == Parsed::kNeedMore) return true;
        if (tParsed == Parsed::kRefused) {
            rNext = toNext(rConnection, m_tRunner.refuse(rContext, tParsed.getRefusal()));
            return false;
        }
        rConnection.ePhase.store(EPhase::kServing, std::memory_order_relaxed);
        rContext.bLastRequest = ++rConnection.nRequests >= m_tShared.rLimits.nMaxRequestsPerConnection;
        const EOutcome eOutcome = runRequest(rContext, rConnection);
        if (eOutcome != EOutcome::kKeep) {
            rNext = toNext(rConnection, eOutcome);
            return false;
        }
        rContext.rInput.next();
    }
}

/// While it reads a body itself, the worker does without being told of every piece that comes.
EOutcome Worker::runRequest(RequestContext& rContext, const Connection& rConnection) {
    if (rContext.rInput.isBodyReceived()) return m_tRunner.run(rContext);
    m_tShared.rPoller.mute(rConnection.nFd);
    const EOutcome eOutcome = m_tRunner.run(rContext);
    m_tShared.rPoller.arm(rConnection.nFd);
    return eOutcome;
}

/// The client has ended its side.
Worker::Next Worker::handleEnd(RequestContext& rContext, Connection& rConnection) {
    if (!rContext.rInput.isHeadComplete()) return {Next::kClose};
    return toNext(rConnection, m_tRunner.refuse(rContext, s_tBodyTruncated));
}

Worker::Next Worker::toNext(Connection& rConnection, EOutcome eOutcome) {
    if (eOutcome == EOutcome::kAbort) return {Next::kAbort};
    if (eOutcome == EOutcome::kClose) return {Next::kClose};
    ::shutdown(rConnection.nFd, SHUT_WR);
    rConnection.nLingerLeft = m_tShared.rLimits.nLingerBytes;
    m_tShared.rPoller.arm(rConnection.nFd);  // not everything that came has been read
    return {Next::kWait, EPhase::kLinger};
}

Worker::Next Worker::waitForMore(const RequestInput& rInput) const {
    if (rInput.isHeadComplete()) return {Next::kWait, EPhase::kBody};
    if (!rInput.isEmpty()) return {Next::kWait, EPhase::kHead};
    // A kept connection is of no use to a server that takes no further request.
    if (m_tShared.rbDraining.load(std::memory_order_relaxed)) return {Next::kClose};
    return {Next::kWait, EPhase::kIdle};
}

/// Drops what a client still sends after the last response (RFC 9112 section 9.6).
Worker::Next Worker::discard(Connection& rConnection) {
    ClientSocket tSocket(rConnection.nFd, m_tShared.nStopFd, m_tShared.rSlowClients, m_rStatistics);
    const std::span<char> tRoom = m_tInput.room();
    while (rConnection.nLingerLeft > 0) {
        const std::size_t nMost = std::min(tRoom.size(), rConnection.nLingerLeft);
        const Received tReceived = tSocket.receive(tRoom.data(), nMost);
        if (tReceived.eKind == EReceived::kNothingYet) return {Next::kWait, EPhase::kLinger};
        if (tReceived.eKind == EReceived::kEnd) break;
        rConnection.nLingerLeft -= tReceived.nBytes;
    }
    return {Next::kClose};
}

/// Leaves this worker's input empty: an incomplete request goes with its connection.
void Worker::stowInput(Connection& rConnection, const Next& rNext) {
    const bool bIncomplete =
        rNext.eKind == Next::kWait && (rNext.ePhase == EPhase::kHead || rNext.ePhase == EPhase::kBody);
    if (!bIncomplete) {
        rConnection.pInput.reset();
        m_tInput.clear();
    } else if (!rConnection.pInput) {
        rConnection.pInput = m_tInput.detach();
    } else if (rConnection.ePhase == EPhase::kServing) {
        // It has served a request, and its storage may have grown for that one.
        rConnection.pInput = rConnection.pInput->detach();
    }
}

}  // namespace webcontainer
