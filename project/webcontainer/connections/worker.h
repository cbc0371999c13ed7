#pragma once

#include "connections/shared.h"
#include "requests/requestcontext.h"
#include "requests/requestrunner.h"

namespace webcontainer {

/// One thread's work: waits for any connection that is ready, reads what has come, runs the requests that are
/// complete, and puts the connection back. Waits for a single client only while that client's request runs.
class Worker final : private WaitObserver {
public:
    /// rStatistics: this thread's, which outlive it.
    Worker(const WorkerShared& rShared, WorkerStatistics& rStatistics);
    virtual ~Worker() = default;
    /// Returns when the shared descriptor says so.
    void run();

private:
    /// What a connection is to do next: wait in one of the phases, or end.
    struct Next {
        enum EKind { kWait, kClose, kAbort } eKind;
        EPhase ePhase = EPhase::kIdle;
    };

    void beforeWait() noexcept override;
    bool isAnybodyWaiting() noexcept override { return m_tShared.rWorkRoom.isAnybodyWaiting(); }
    void mute() noexcept;
    bool acceptFrom(int nFd) noexcept;
    void serve(Connection& rConnection, const Event& rEvent);
    Next advance(Connection& rConnection);
    bool introduce(Connection& rConnection, Next& rNext);
    Received receiveFirst(RequestContext& rContext, Connection& rConnection,
                          std::span<char> tRoom) const noexcept;
    Next converse(Connection& rConnection, RequestInput& rInput);
    bool serveReceived(RequestContext& rContext, Connection& rConnection, Next& rNext);
    static bool encourage(RequestContext& rContext) noexcept;
    EOutcome runRequest(RequestContext& rContext);
    EOutcome runReceived(RequestContext& rContext);
    bool isTurnOver(std::int64_t nNowUs) noexcept;
    Next handleEnd(RequestContext& rContext, Connection& rConnection);
    Next toNext(Connection& rConnection, EOutcome eOutcome);
    Next waitForMore(const Connection& rConnection, const RequestInput& rInput) const;
    Next discard(Connection& rConnection);
    void stowInput(Connection& rConnection, const Next& rNext);

    const WorkerShared m_tShared;
    WorkerStatistics& m_rStatistics;
    WorkRoom::Seat m_tSeat;
    RequestInput m_tInput;  ///< empty between two connections
    RequestRunner m_tRunner;
    ResponseBuffers m_tBuffers;
    const Connection* m_pServed = nullptr;  ///< the last one
    bool m_bMuted = false;                  ///< it is
    bool m_bDrain = false;                  ///< a short read does not mean that there is nothing more
    std::int64_t m_nReadyUs = 0;            ///< as the event has it that is served; 0: not known
    std::int64_t m_nTurnStartUs = 0;
    std::int64_t m_nWaitedUs = 0;  ///< for this worker, by what has been received last for a request
};

}  // namespace webcontainer
