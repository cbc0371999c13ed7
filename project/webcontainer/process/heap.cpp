#include "process/heap.h"

#include <malloc.h>

#include <algorithm>
#include <thread>

#include "base/monotonicclock.h"

namespace webcontainer {

namespace {

/// For each processor.
constexpr int s_knKeptBytes = 1 << 20;

}  // namespace

Heap::Heap(std::int64_t nIntervalMs) noexcept
    : m_nIntervalMs(nIntervalMs),
      m_nNextMs(monotonicMs() + nIntervalMs) {
    // Hardly more workers are awake than there are processors. The free end of an arena is all that stays.
    // NOLINTBEGIN(concurrency-mt-unsafe): before there are other threads
    ::mallopt(M_ARENA_MAX, static_cast<int>(std::max(std::thread::hardware_concurrency(), 1u)));
    ::mallopt(M_TRIM_THRESHOLD, s_knKeptBytes);
    ::mallopt(M_MMAP_THRESHOLD, s_knKeptBytes);
    // NOLINTEND(concurrency-mt-unsafe)
}

void Heap::giveBack(std::uint64_t nDone) noexcept {
    const std::int64_t nNowMs = monotonicMs();
    if (nNowMs < m_nNextMs || nDone == m_nDone) return;
    ::malloc_trim(0);
    m_nNextMs = nNowMs + m_nIntervalMs;
    m_nDone = nDone;
}

}  // namespace webcontainer
