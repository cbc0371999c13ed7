#pragma once

#include <atomic>
#include <cstdint>

#include "http/requesthead.h"

namespace webcontainer {

/// What they are told.
inline constexpr Refusal s_tNoWorkerInTime{503, "no worker was free in time", 5};

/// Decides which requests have waited for a worker so long that they are refused, for nobody may wait for
/// their answers any more, while fresh ones become old behind them.
///
/// A queue that a burst has left is worked off, and every request may wait up to the bound. Where no request
/// has waited less than a tenth of it for half of it, more comes than can ever be served: then a fifth is
/// the bound, until the queue is short again. So it stays short in an overload, and who is served at all is
/// served soon (the idea of RFC 8289). Newest first would serve some sooner, but needs a queue of our own;
/// the kernel's has an order.
class QueueDelay {
public:
    /// nMostMs 0: any time will do.
    explicit QueueDelay(unsigned nMostMs) noexcept : m_nMostMs(nMostMs) {}

    /// To be asked of every request that is about to run. Any thread.
    bool isTooLong(std::int64_t nWaitedMs, std::int64_t nNowMs) noexcept {
        if (nWaitedMs * s_knShort < m_nMostMs || m_nMostMs == 0) {
            if (m_nLongSinceMs.load(std::memory_order_relaxed) != s_knNotLong)
                m_nLongSinceMs.store(s_knNotLong, std::memory_order_relaxed);
            return false;
        }
        std::int64_t nSinceMs = s_knNotLong;
        if (m_nLongSinceMs.compare_exchange_strong(nSinceMs, nNowMs)) nSinceMs = nNowMs;
        const bool bStanding = nNowMs - nSinceMs > m_nMostMs / 2;
        return bStanding ? nWaitedMs > m_nMostMs / s_knStanding : isBeyondBound(nWaitedMs);
    }

    /// Whether it would be too long for any request, however it stands with the others. Any thread.
    bool isBeyondBound(std::int64_t nWaitedMs) const noexcept {
        return m_nMostMs != 0 && nWaitedMs > m_nMostMs;
    }

private:
    static constexpr std::int64_t s_knShort = 10;
    static constexpr std::int64_t s_knStanding = 5;
    static constexpr std::int64_t s_knNotLong = -1;

    const std::int64_t m_nMostMs;
    std::atomic<std::int64_t> m_nLongSinceMs{s_knNotLong};  ///< on the monotonic clock
};

}  // namespace webcontainer
