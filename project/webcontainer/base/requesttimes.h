#pragma once

#include <cstdint>

namespace webcontainer {

/// When a request came, as far as its connection knows.
struct RequestArrival {
    std::int64_t nFirstByteUs = 0;  ///< when the kernel had received it, on the monotonic clock
    std::int64_t nWaitingUs = 0;    ///< since then: time in which bytes of the request waited for a worker
};

/// What the time of a request was spent on, in microseconds. The sum is the time from its first byte's
/// arrival in the kernel to the end of its response.
struct RequestTimes {
    std::int64_t nWaitingUs = 0;    ///< for a worker, since bytes could have been read
    std::int64_t nReceivingUs = 0;  ///< for the client to send the rest, also while the application reads
    std::int64_t nRunningUs = 0;    ///< in the application, the module and here
    std::int64_t nSendingUs = 0;    ///< for the client to take the response

    std::int64_t sum() const noexcept { return nWaitingUs + nReceivingUs + nRunningUs + nSendingUs; }
};

}  // namespace webcontainer
