#pragma once

#include <cstdint>

namespace webcontainer {

/// What the process does with memory that was freed. Left alone, the C library gives what a page of some
/// 64 KiB took back to the kernel with every response, and gets it again page by page with the next one; and
/// what a burst took, small pieces of which are still in use, it keeps for ever.
class Heap {
public:
    /// From now on freed memory stays for the next request, up to a bound for each processor.
    /// nIntervalMs: how often giveBack() may act.
    explicit Heap(std::int64_t nIntervalMs = 30000) noexcept;
    /// To be called now and then, by one thread at a time: gives what is free back to the kernel, unless it
    /// is too early, or nothing has been done since. nDone: any number that grows with what is done.
    void giveBack(std::uint64_t nDone) noexcept;

private:
    const std::int64_t m_nIntervalMs;
    std::int64_t m_nNextMs;
    std::uint64_t m_nDone = 0;
};

}  // namespace webcontainer
