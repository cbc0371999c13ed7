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
    static constexpr unsigned s_knMost = Poller::s_knMost + 64;

    /// Owner only, and only when the batch is empty.
    void fill(std::span<const Event> tEvents) noexcept {
        std::uint16_t nEnd = 0;
        for (const Event& r : tEvents)
            m_tSlots[nEnd++].put(r);
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
            m_tSlots[tNow.nEnd].put(r);
            const Range tNew{tNow.nFills, tNow.nNext, static_cast<std::uint16_t>(tNow.nEnd + 1)};
            if (m_tRange.compare_exchange_weak(tNow, tNew, std::memory_order_acq_rel)) return true;
        }
    }
    /// The event that has waited longest. False: there is none.
    bool take(Event& rEvent) noexcept {
        for (Range tNow = m_tRange.load(std::memory_order_acquire); tNow.nNext != tNow.nEnd;) {
            const Event tEvent = m_tSlots[tNow.nNext].get();
            const Range tNew{tNow.nFills, static_cast<std::uint16_t>(tNow.nNext + 1), tNow.nEnd};
            // Of a batch that was filled anew meanwhile, the number of fills differs.
            if (!m_tRange.compare_exchange_weak(tNow, tNew, std::memory_order_acq_rel)) continue;
            rEvent = tEvent;
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

    struct Slot {  // may be read while it is written, by a thread that does not get the event then
        std::atomic<int> nFd;
        std::atomic<bool> bReadOn;
        std::atomic<std::int64_t> nReadyUs;

        void put(const Event& r) noexcept {
            nFd.store(r.nFd, std::memory_order_relaxed);
            bReadOn.store(r.bReadOn, std::memory_order_relaxed);
            nReadyUs.store(r.nReadyUs, std::memory_order_relaxed);
        }
        Event get() const noexcept {
            return {nFd.load(std::memory_order_relaxed), bReadOn.load(std::memory_order_relaxed),
                    nReadyUs.load(std::memory_order_relaxed)};
        }
    };

    std::atomic<Range> m_tRange{Range{0, 0, 0}};
    std::array<Slot, s_knMost> m_tSlots{};
};

}  // namespace webcontainer
