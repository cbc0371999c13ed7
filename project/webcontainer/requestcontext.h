#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "bodyreader.h"
#include "clientsocket.h"
#include "containerlimits.h"
#include "datecache.h"
#include "requestinput.h"
#include "responsehead.h"
#include "servervariables.h"

namespace webcontainer {

/// What a worker keeps from one response to the next, so that it allocates nothing in the long run.
struct ResponseBuffers {
    ResponseHead tHead;
    NarrowStringBuffer tWire;  ///< what the front end sends around an application's bytes
    DateCache tDate;
};

/// One request on its way through the front end: all of it belongs to the worker that runs it.
struct RequestContext {
    RequestInput& rInput;
    ClientSocket& rSocket;
    const ConnectionEnds& rEnds;
    const Limits& rLimits;
    ResponseBuffers& rBuffers;
    const std::atomic<bool>& rbDraining;  ///< true: no further request is taken from any connection
    std::int64_t nDeadline;  ///< when the response must have ended, on the monotonic clock, in ms

    /// For log entries: "GET /path from 127.0.0.1:40000".
    std::string describe() const;
    Patience patience() const noexcept {
        return {{rLimits.nMinimumBytesPerSecond, rLimits.nRateGraceMs}, rLimits.nWriteTimeoutMs, nDeadline};
    }
};

}  // namespace webcontainer
