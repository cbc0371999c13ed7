#pragma once

#include <atomic>
#include <cstdint>

#include "zq/foundation/zqexport.h"

/// How many share an object. Atomic; but only what really is shared between several costs a locked operation,
/// and what lives for ever is not counted, so that threads do not take its cache line from each other.
class ZQ_EXPORT RefCount {
public:
    explicit RefCount(std::uint32_t nRefs) noexcept : m_nRefs(nRefs) {}

    void add() noexcept {
        if (m_nRefs.load(std::memory_order_relaxed) < s_knEternal)
            m_nRefs.fetch_add(1, std::memory_order_relaxed);
    }
    /// True: that was the last one, and the object is the caller's to delete.
    [[nodiscard]] bool drop() noexcept {
        // Nobody can copy the only reference while its owner drops it.
        const std::uint32_t nRefs = m_nRefs.load(std::memory_order_acquire);
        return nRefs == 1 || (nRefs < s_knEternal && m_nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1);
    }
    /// From now on nothing is counted, and no drop() is the last one. Before the object is shared.
    void makeEternal() noexcept { m_nRefs.store(s_knEternal, std::memory_order_relaxed); }

private:
    static constexpr std::uint32_t s_knEternal = 0x80000000;

    std::atomic<std::uint32_t> m_nRefs;
};
