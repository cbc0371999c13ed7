#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "base/limits.h"
#include "base/monotonicclock.h"
#include "base/requesttimes.h"
#include "base/statistics.h"
#include "http/datecache.h"
#include "http/requestinput.h"
#include "http/responsehead.h"
#include "log/accesslog.h"
#include "log/recorder.h"
#include "requests/bodyreader.h"
#include "requests/requestid.h"
#include "requests/servervariables.h"
#include "requests/servingrules.h"
#include "sockets/clientsocket.h"

// The life of a request, all of it on one worker:
//
//     socket -> Worker -> RequestInput::advance() is kDone -> RequestRunner::run()
//       RequestWatch begins ............................ counted; at its end counted out and logged
//         RequestProvider, ResponseProvider -> RequestHandler -> module -> application
//         (through RecordedRequest, RecordedResponse, when the request's turn to be recorded has come)
//           the body:     BodyReader: first what RequestInput has received, then the socket
//           the response: the head is held back ... first bytes: both sent with one call ... endResponse()
//       it ended ........ kKeep: the next request | kLinger: what still comes is dropped
//       it was cut off .. kAbort: a reset, so that the client can tell
//       it was refused .. RequestRunner::refuse() answers in the application's place, then kLinger, or kKeep
//                         when only its method was not the application's

namespace webcontainer {

/// What a worker keeps from one response to the next, so that it allocates nothing in the long run.
struct ResponseBuffers {
    /// Both must outlive the buffers; null: there is none.
    ResponseBuffers(AccessLog* pAccessLog, Recorder* pRecorder) : tAccess(pAccessLog), tRecords(pRecorder) {}

    ResponseHead tHead;
    NarrowStringBuffer tWire;  ///< what the front end sends around an application's bytes
    DateCache tDate;
    AccessBlock tAccess;
    RecordShare tRecords;
};

/// One request on its way through the front end: all of it belongs to the worker that runs it.
struct RequestContext {
    RequestInput& rInput;
    ClientSocket& rSocket;
    const ConnectionEnds& rEnds;
    const Limits& rLimits;
    const ServingRules& rRules;
    ResponseBuffers& rBuffers;
    const std::atomic<bool>& rbAnnounced;  ///< true: the response is the last of its connection
    WorkerStatistics& rStatistics;
    RequestArrival& rArrival;
    /// On the monotonic clock: when the request was ready to run, or the last one had ended.
    std::int64_t nNowUs = monotonicUs();
    std::int64_t nDeadline = std::numeric_limits<std::int64_t>::max();  ///< when the response must have
                                                                        ///< ended, on that clock, in ms
    bool bLastRequest = false;  ///< the connection has served as many requests as it may
    unsigned nStatus = 0;       ///< of the response of which bytes have been sent; 0: none
    RequestOrigin tOrigin{};
    RequestId tId{};

    /// Sends bytes of a response with that status; as ClientSocket::send().
    ClientSocket::ESent send(std::span<iovec> tPieces, Patience& rPatience, unsigned nResponseStatus);
    /// Valid as long as the context.
    ServerVariables variables() { return {rInput, rEnds, tOrigin, tId}; }
    /// Makes the rest of a response that tells of an error: its body at the end of rBody, which is returned,
    /// and the fields about it. sReason: see ErrorNotice.
    std::string_view tellError(NarrowStringBufferBase& rBody, unsigned nErrorStatus,
                               std::string_view sReason);
    /// For log entries: "GET /path from 127.0.0.1:40000 (request 0af7651916cd43dd8448eb211c80319c)".
    std::string describe();
    /// Whether the connection can serve another request behind this one, once its body has been received.
    bool keepsConnection() const noexcept {
        return rInput.getHead().bKeepAlive && !bLastRequest && !rbAnnounced.load(std::memory_order_relaxed);
    }
    Patience patience() const noexcept {
        return {{rLimits.nMinimumBytesPerSecond, rLimits.nRateGraceMs}, rLimits.nWriteTimeoutMs, nDeadline};
    }
};

}  // namespace webcontainer
