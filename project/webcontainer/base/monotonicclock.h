#pragma once

#include <cstdint>
#include <ctime>
#include <limits>

namespace webcontainer {

/// Microseconds on a clock that never goes back; what it counts from means nothing.
inline std::int64_t monotonicUs() noexcept {
    timespec tNow{};
    clock_gettime(CLOCK_MONOTONIC, &tNow);
    return std::int64_t{tNow.tv_sec} * 1000000 + tNow.tv_nsec / 1000;
}

/// The same clock in milliseconds, some of them late: it is asked several times for each request, and read
/// without asking the hardware.
inline std::int64_t monotonicMs() noexcept {
    timespec tNow{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &tNow);
    return std::int64_t{tNow.tv_sec} * 1000 + tNow.tv_nsec / 1000000;
}

/// A deadline on this clock, in milliseconds, that is never reached.
inline constexpr std::int64_t s_knNever = std::numeric_limits<std::int64_t>::max();

}  // namespace webcontainer
