#pragma once

#include <atomic>
#include <cstdint>

namespace webcontainer {

/// How it stands with a container where requests wait for workers or processors, as its sweeper sees it.
/// Written by that thread, read by any; times are on the monotonic clock, in milliseconds, and 0 where
/// there is nothing to tell.
class Saturation {
public:
    /// Of the requests that wait; at most some tenths of a second old.
    struct Queue {
        std::uint64_t nRequests = 0;
        std::int64_t nOldestMs = 0;  ///< when the one arrived that has waited longest, if there is one
    };

    void setQueue(const Queue& r, std::int64_t nNowMs) noexcept {
        if (r.nRequests != 0) m_nOldestMs = r.nOldestMs;  // before who reads it can count on it
        m_nRequests = r.nRequests;
        if (r.nRequests == 0)
            m_nSinceMs = 0;
        else if (m_nSinceMs == 0)
            m_nSinceMs = nNowMs;
    }
    Queue getQueue() const noexcept { return {m_nRequests, m_nOldestMs}; }
    /// Since when requests have waited without a pause.
    std::int64_t getSinceMs() const noexcept { return m_nSinceMs; }

    /// nEnded: requests that have ever ended.
    void setProgress(bool bAllBusy, std::uint64_t nEnded, std::int64_t nNowMs) noexcept {
        if (bAllBusy && nEnded == m_nEnded && m_nStuckSinceMs != 0) return;
        m_nStuckSinceMs = bAllBusy ? nNowMs : 0;
        m_nEnded = nEnded;
    }
    /// Since when all workers have been busy, and none has ended a request.
    std::int64_t getStuckSinceMs() const noexcept { return m_nStuckSinceMs; }

private:
    std::atomic<std::uint64_t> m_nRequests{0};
    std::atomic<std::int64_t> m_nOldestMs{0};
    std::atomic<std::int64_t> m_nSinceMs{0};
    std::atomic<std::int64_t> m_nStuckSinceMs{0};
    std::uint64_t m_nEnded = 0;
};

}  // namespace webcontainer
