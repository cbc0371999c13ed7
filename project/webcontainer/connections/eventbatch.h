#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

#include "connections/poller.h"

namespace webcontainer {

/// Events that one thread, its owner, has taken from the poller or made of new connections, and that wait
/// for their turn. Any thread may take them, in their order; which of two takes one is decided by a single
/// word, without a lock.
class EventBatch {
public:
    static constexpr unsigned s_knMost = 64;

    /// Owner only, and only when the batch is empty.
    void fill(std::span<const Event> tEvents) noexcept {
        std::uint16_t nEnd = 0;
        for (const Event& r : tEvents)
            m_tEvents[nEnd++].store(pack(r), std::memory_order_relaxed);
        const Range tNow = m_tRange.load(std::memory_order_relaxed);
        m_tRange.store({tNow.nFills + 1, 0, nEnd}, std::memory_order_release);
    }
    /// Owner only: puts one event behind the others. False: there is no room.
    bool append(const Event& r) noexcept {
        for (Range tNow = m_tRange.load(std::memory_order_acquire);;) {
            if (tNow.nNext == tNow.nEnd) {
                fill({&r, 1});
                return true;
            }
            if (tNow.nEnd == s_knMost) return false;
            m_tEvents[tNow.nEnd].store(pack(r), std::memory_order_relaxed);
            const Range tNew{tNow.nFills, tNow.nNext, static_cast<std::uint16_t>(tNow.nEnd + 1)};
            if (m_tRange.compare_exchange_weak(tNow, tNew, std::memory_order_acq_rel)) return true;
        }
    }
    /// The event that has waited longest. False: there is none.
    bool take(Event& rEvent) noexcept {
        for (Range tNow = m_tRange.load(std::memory_order_acquire); tNow.nNext != tNow.nEnd;) {
            const std::uint64_t nEvent = m_tEvents[tNow.nNext].load(std::memory_order_relaxed);
            const Range tNew{tNow.nFills, static_cast<std::uint16_t>(tNow.nNext + 1), tNow.nEnd};
            // Of a batch that was filled anew meanwhile, the number of fills differs.
            if (!m_tRange.compare_exchange_weak(tNow, tNew, std::memory_order_acq_rel)) continue;
            rEvent = {static_cast<int>(static_cast<std::uint32_t>(nEvent)), (nEvent >> 32) != 0};
            return true;
        }
        return false;
    }
    bool isEmpty() const noexcept {
        const Range tNow = m_tRange.load(std::memory_order_relaxed);
        return tNow.nNext == tNow.nEnd;
    }

private:
    struct alignas(std::uint64_t) Range {  // as one word, so that the processor changes it at once
        std::uint32_t nFills;
        std::uint16_t nNext;
        std::uint16_t nEnd;
    };

    static std::uint64_t pack(const Event& r) noexcept {
        return static_cast<std::uint32_t>(r.nFd) | std::uint64_t{r.bReadOn} << 32;
    }

    std::atomic<Range> m_tRange{Range{0, 0, 0}};
    std::array<std::atomic<std::uint64_t>, s_knMost> m_tEvents{};
};

}  // namespace webcontainer
