#pragma once

#include <cstdint>

#include "connections/shared.h"
#include "requests/requestcontext.h"
#include "requests/requestrunner.h"

namespace webcontainer {

/// One thread's work beside the workers': ends connections whose time is up, and while the server drains
/// those that wait for nothing in particular; lets the acceptor go on after a pause; sees what waits while
/// all workers are busy, and tells those who have waited for one too long.
class Sweeper {
public:
    /// rStatistics: this thread's, which outlive it.
    Sweeper(const WorkerShared& rShared, WorkerStatistics& rStatistics);
    /// Returns when the shared descriptor says so.
    void run();

private:
    void sweep(std::int64_t nNowMs);
    void observe(std::int64_t nNowMs) noexcept;
    Saturation::Queue lookAtQueue(std::int64_t nNowMs, std::int64_t nLeastMs) noexcept;
    void complain(const Saturation::Queue& rQueue, bool bAllBusy, std::int64_t nNowMs) noexcept;
    static bool waitsForWorker(const Connection& r) noexcept;
    bool isDue(const Connection& r, std::int64_t nNowMs) const noexcept;
    bool isIdleWhileDraining(const Connection& r, std::int64_t nNowMs) const noexcept;
    void end(Connection& r) noexcept;
    void refuseWaiting(Connection& r) noexcept;
    template <class F>
    static void tellClient(F f) noexcept;
    ClientSocket socketOf(const Connection& r) noexcept;
    RequestContext contextOf(Connection& r, RequestInput& rInput, ClientSocket& rSocket) noexcept;

    const WorkerShared m_tShared;
    WorkerStatistics& m_rStatistics;
    std::int64_t m_nNextLookMs = 0;
    std::int64_t m_nNextComplaintMs = 0;
    Limits m_tLimits;       ///< with no patience for writing: the other connections must not wait
    RequestInput m_tInput;  ///< empty between two connections
    RequestRunner m_tRunner;
    ResponseBuffers m_tBuffers;
};

}  // namespace webcontainer
