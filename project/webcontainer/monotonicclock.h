#pragma once

#include <cstdint>
#include <ctime>

namespace webcontainer {

/// Microseconds on a clock that never goes back; what it counts from means nothing.
inline std::int64_t monotonicUs() noexcept {
    timespec tNow{};
    clock_gettime(CLOCK_MONOTONIC, &tNow);
    return std::int64_t{tNow.tv_sec} * 1000000 + tNow.tv_nsec / 1000;
}

/// The same clock in milliseconds.
inline std::int64_t monotonicMs() noexcept {
    return monotonicUs() / 1000;
}

}  // namespace webcontainer
