#include "connections/worker.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "base/monotonicclock.h"
#include "log/containerlog.h"

namespace webcontainer {

Worker::Worker(const WorkerShared& rShared, WorkerStatistics& rStatistics)
    : m_tShared(rShared),
      m_rStatistics(rStatistics),
      m_tInput(rShared.rLimits, RequestInput::fullCapacity(rShared.rLimits)),
      m_tRunner(rShared.rHandler),
      m_tBuffers(rShared.pAccessLog, rShared.pRecorder) {
    if (rShared.pRecorder) m_tInput.keepChunks();
}

void Worker::run() {
    m_rStatistics.activity().setThread(::gettid());
    for (;;) {
        const Event tEvent = m_tShared.rWorkRoom.next(m_tSeat);
        if (tEvent.nFd == m_tShared.nStopFd) return;
        if (acceptFrom(tEvent.nFd)) continue;
        Connection* const p = m_tShared.rConnections.claimForEvent(tEvent.nFd);
        if (!p) continue;
        m_tShared.rWorkRoom.start(m_tSeat);
        serve(*p, tEvent);
    }
}

/// Whether the descriptor is a listening socket's.
bool Worker::acceptFrom(int nFd) noexcept {
    for (Acceptor& r : m_tShared.rAcceptors) {
        if (r.getListener().getFd() != nFd) continue;
        r.acceptWaiting(m_tShared.rWorkRoom, m_tSeat);
        return true;
    }
    return false;
}

void Worker::serve(Connection& rConnection, const Event& rEvent) {
    m_pServed = &rConnection;
    m_bDrain = rEvent.bReadOn;
    m_nReadyUs = rEvent.nReadyUs;
    for (;; m_bDrain = true, m_nReadyUs = 0) {  // what another thread's event said is not known
        const Next tNext = advance(rConnection);
        const bool bMuted = std::exchange(m_bMuted, false);
        if (tNext.eKind != Next::kWait)
            return m_tShared.rConnections.close(rConnection, tNext.eKind == Next::kAbort);
        if (tNext.ePhase == EPhase::kTurn) return m_tShared.rConnections.parkForTurn(rConnection);
        if (bMuted) m_tShared.rConnections.arm(rConnection);
        if (m_tShared.rConnections.park(rConnection, tNext.ePhase)) return;
    }
}

/// Does what can be done for a connection now. Only memory can run out here; it costs the one connection.
Worker::Next Worker::advance(Connection& rConnection) {
    Next tNext{Next::kAbort};
    try {
        if (rConnection.bAwaitsProxyHeader && !introduce(rConnection, tNext)) return tNext;
        tNext = rConnection.ePhase == EPhase::kLinger
                    ? discard(rConnection)
                    : converse(rConnection, rConnection.pInput ? *rConnection.pInput : m_tInput);
        stowInput(rConnection, tNext);
    } catch (const std::exception& e) {
        logMade(kSevError, s_lsConnection,
                [&] { return std::string("a connection was given up: ") + e.what(); });
        tNext = {Next::kAbort};
        m_tInput.clear();
    }
    return tNext;
}

/// Reads what the proxy says of its client, and nothing behind it: of a header that is not whole, the bytes
/// stay in the kernel. False: rNext says how the connection goes on.
bool Worker::introduce(Connection& rConnection, Next& rNext) {
    ClientSocket tSocket(rConnection.nFd, m_tShared.nStopFd, m_tShared.rSlowClients, m_rStatistics, nullptr,
                         nullptr);
    const bool bEnded = tSocket.hasEnded();  // then all has come that will
    char tBytes[ProxyHeader::s_knMostBytes];
    const ssize_t nCame = ::recv(rConnection.nFd, tBytes, sizeof tBytes, MSG_PEEK);
    if (nCame <= 0) {
        const bool bWait = nCame < 0 && (errno == EAGAIN || errno == EINTR);
        rNext = bWait ? Next{Next::kWait, rConnection.ePhase} : Next{Next::kClose};
        return false;
    }
    ProxyHeader tHeader;
    auto eParsed = tHeader.parse({tBytes, static_cast<std::size_t>(nCame)}, m_tShared.eProxyProtocol);
    if (bEnded && eParsed == ProxyHeader::EParsed::kNeedMore) eParsed = ProxyHeader::EParsed::kMalformed;
    if (eParsed == ProxyHeader::EParsed::kNeedMore) rNext = {Next::kWait, EPhase::kPreface};
    if (eParsed == ProxyHeader::EParsed::kMalformed) m_rStatistics.countHeaderless();
    if (eParsed == ProxyHeader::EParsed::kMalformed && m_tShared.rNoProxyHeader.isTime())
        logText(kSevWarning, s_lsConnection,
                "a connection is closed: it begins with no header as ProxyProtocol demands, from " +
                    rConnection.tEnds.tClient.host());
    if (eParsed != ProxyHeader::EParsed::kDone) return false;
    if (tSocket.receive(tBytes, tHeader.nLength).nBytes != tHeader.nLength) return false;
    ConnectionEnds tEnds = rConnection.tEnds;
    if (tHeader.bIsForClient) {
        tHeader.tClient.unmap();
        if (!tEnds.pTrusted->contains(tHeader.tClient)) tEnds.pTrusted = nullptr;
        tEnds.tClient = tHeader.tClient;
        tEnds.nServerPort = tHeader.nServerPort;
    }
    return m_tShared.rConnections.introduce(rConnection, tEnds);
}

Worker::Next Worker::converse(Connection& rConnection, RequestInput& rInput) {
    ClientSocket tSocket(rConnection.nFd, m_tShared.nStopFd, m_tShared.rSlowClients, m_rStatistics, this,
                         rConnection.pAccount);
    RequestContext tContext{rInput,
                            tSocket,
                            rConnection.tEnds,
                            m_tShared.rLimits,
                            m_tShared.rRules,
                            m_tBuffers,
                            m_tShared.rbAnnounced,
                            m_rStatistics,
                            rConnection.tArrival};
    m_nTurnStartUs = m_nWaitedUs = 0;
    Next tNext{Next::kWait};
    const bool bTurn = rConnection.ePhase.load(std::memory_order_relaxed) == EPhase::kTurn;
    if (bTurn) {
        rConnection.tArrival.nWaitingUs += (monotonicMs() - rConnection.nPhaseStart) * 1000;
        if (!serveReceived(tContext, rConnection, tNext)) return tNext;
    }
    for (bool bWaited = true;;
         bWaited = false, tContext.nNowUs = monotonicUs()) {  // what comes meanwhile has not
        const std::span<char> tRoom = rInput.room();
        const Received tReceived = bWaited ? receiveFirst(tContext, rConnection, tRoom)
                                           : tSocket.receive(tRoom.data(), tRoom.size());
        if (tReceived.eKind == EReceived::kEnd) return handleEnd(tContext, rConnection);
        if (tReceived.eKind == EReceived::kNothingYet) return waitForMore(rConnection, rInput);
        if (rInput.isEmpty()) rConnection.tArrival = {tContext.nNowUs - tReceived.nAgeUs, 0};
        rConnection.tArrival.nWaitingUs += tReceived.nAgeUs;
        m_nWaitedUs += tReceived.nAgeUs;
        rInput.commit(tReceived.nBytes);
        if (!serveReceived(tContext, rConnection, tNext)) return tNext;
        const bool bMore = m_bDrain || tReceived.nBytes == tRoom.size();
        if (!bMore) return waitForMore(rConnection, rInput);
        if (rConnection.ePhase == EPhase::kServing) {
            // After a request, others have their turn first.
            m_tShared.rConnections.arm(rConnection);
            return waitForMore(rConnection, rInput);
        }
    }
}

/// Asks the kernel for the bytes' age, which costs time, only when the event does not tell it.
Received Worker::receiveFirst(RequestContext& rContext, Connection& rConnection,
                              std::span<char> tRoom) const noexcept {
    Received tReceived;
    if (m_nReadyUs == 0) {
        tReceived = rContext.rSocket.receiveDated(tRoom.data(), tRoom.size());
    } else {
        tReceived = rContext.rSocket.receive(tRoom.data(), tRoom.size());
        tReceived.nAgeUs = rContext.nNowUs - m_nReadyUs;
    }
    tReceived.nAgeUs = rConnection.takeUnreadAgeUs(rContext.nNowUs, tReceived.nAgeUs);
    return tReceived;
}

/// Runs every request that is ready. False: rNext says how the connection goes on.
bool Worker::serveReceived(RequestContext& rContext, Connection& rConnection, Next& rNext) {
    for (;;) {
        const Parsed tParsed = rContext.rInput.advance();
        if (tParsed == Parsed::kNeedMore) {
            if (encourage(rContext)) return true;
            rNext = {Next::kAbort};
            return false;
        }
        if (tParsed == Parsed::kRefused) {
            rNext = toNext(rConnection, m_tRunner.refuse(rContext, tParsed.getRefusal()));
            return false;
        }
        if (isTurnOver(rContext.nNowUs)) {
            rNext = {Next::kWait, EPhase::kTurn};
            return false;
        }
        const bool bTurn = rConnection.ePhase.load(std::memory_order_relaxed) == EPhase::kTurn;
        // Who waits for a turn may have waited for the client to take the last response.
        if (!bTurn && m_tShared.rQueueDelay.isTooLong(m_nWaitedUs / 1000, monotonicMs())) {
            rNext = toNext(rConnection, m_tRunner.refuse(rContext, s_tNoWorkerInTime));
            return false;
        }
        rConnection.ePhase.store(EPhase::kServing, std::memory_order_relaxed);
        rContext.bLastRequest = ++rConnection.nRequests >= m_tShared.rLimits.nMaxRequestsPerConnection;
        const EOutcome eOutcome = runRequest(rContext);
        m_nWaitedUs = 0;
        if (eOutcome != EOutcome::kKeep) {
            rNext = toNext(rConnection, eOutcome);
            return false;
        }
        rContext.rInput.next();
    }
}

/// Tells a client that waits for it to send its body, as soon as its head is accepted: then the body comes as
/// any other does, and no request holds a worker before it. False: the client takes not even that at once.
bool Worker::encourage(RequestContext& rContext) noexcept {
    constexpr std::string_view sContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    if (!rContext.rInput.takeExpectation()) return true;
    iovec tPiece{const_cast<char*>(sContinue.data()), sContinue.size()};
    Patience tNone{{0, 0}, 0};
    return rContext.rSocket.send({&tPiece, 1}, tNone) == ClientSocket::ESent::kSent;
}

/// Whether others are to be served before the connection's next request. The turn starts with its first one.
bool Worker::isTurnOver(std::int64_t nNowUs) noexcept {
    constexpr std::int64_t nTurnUs = 1000;
    if (m_nTurnStartUs == 0) m_nTurnStartUs = nNowUs;
    return nNowUs - m_nTurnStartUs >= nTurnUs;
}

/// While it reads a body itself, the worker does without being told of every piece that comes.
EOutcome Worker::runRequest(RequestContext& rContext) {
    if (rContext.rInput.isBodyReceived()) return runReceived(rContext);
    mute();
    return m_tRunner.run(rContext);
}

/// What the client sends while it is waited for must not look as if somebody waited for a worker.
void Worker::beforeWait() noexcept {
    m_tShared.rWorkRoom.giveAway(m_tSeat);
    mute();
}

/// Until the connection is left waiting.
void Worker::mute() noexcept {
    if (!std::exchange(m_bMuted, true)) m_tShared.rConnections.mute(*m_pServed);
}

/// A path that made its worker sleep before does without its place from the start.
EOutcome Worker::runReceived(RequestContext& rContext) {
    WorkRoom& rRoom = m_tShared.rWorkRoom;
    SlowPaths& rSlow = m_tShared.rSlowPaths;
    const std::string_view sPath = rContext.rInput.getPath();
    const bool bSlow = rSlow.contains(sPath);
    if (bSlow) rRoom.giveAway(m_tSeat);
    const std::int64_t nStartUs = bSlow ? monotonicUs() : 0;
    const EOutcome eOutcome = m_tRunner.run(rContext);
    if (rRoom.hasLostPlace(m_tSeat))
        rSlow.add(sPath);
    else if (bSlow && monotonicUs() - nStartUs < SlowPaths::s_knQuickUs)
        rSlow.remove(sPath);
    return eOutcome;
}

/// The client has ended its side.
Worker::Next Worker::handleEnd(RequestContext& rContext, Connection& rConnection) {
    if (!rContext.rInput.isHeadComplete()) return {Next::kClose};
    return toNext(rConnection, m_tRunner.refuse(rContext, s_tBodyTruncated));
}

Worker::Next Worker::toNext(Connection& rConnection, EOutcome eOutcome) {
    if (eOutcome == EOutcome::kAbort) return {Next::kAbort};
    ::shutdown(rConnection.nFd, SHUT_WR);
    rConnection.nLingerLeft = m_tShared.rLimits.nLingerBytes;
    return discard(rConnection);
}

Worker::Next Worker::waitForMore(const Connection& rConnection, const RequestInput& rInput) const {
    if (rInput.isHeadComplete()) return {Next::kWait, EPhase::kBody};
    if (!rInput.isEmpty()) return {Next::kWait, EPhase::kHead};
    if (rConnection.ePhase.load(std::memory_order_relaxed) == EPhase::kFresh)
        return {Next::kWait, EPhase::kFresh};
    return {Next::kWait, EPhase::kIdle};
}

/// Drops what a client still sends after the last response (RFC 9112 section 9.6).
Worker::Next Worker::discard(Connection& rConnection) {
    ClientSocket tSocket(rConnection.nFd, m_tShared.nStopFd, m_tShared.rSlowClients, m_rStatistics, nullptr,
                         nullptr);
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
        rNext.eKind == Next::kWait &&
        (rNext.ePhase == EPhase::kHead || rNext.ePhase == EPhase::kBody || rNext.ePhase == EPhase::kTurn);
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
