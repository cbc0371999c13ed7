#pragma once

#include <atomic>
#include <cstdint>

#include "base/monotonicclock.h"

namespace webcontainer {

/// Lets something through once in a while only: reasons to complain may follow each other for hours. Any
/// thread.
class Rarely {
public:
    bool isTime() noexcept {
        const std::int64_t nNowMs = monotonicMs();
        if (nNowMs < m_nNextMs.load(std::memory_order_relaxed)) return false;
        m_nNextMs.store(nNowMs + s_knIntervalMs, std::memory_order_relaxed);
        return true;
    }

private:
    static constexpr std::int64_t s_knIntervalMs = 10000;

    std::atomic<std::int64_t> m_nNextMs{0};
};

}  // namespace webcontainer
