#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/requesttimes.h"
#include "connections/ownership.h"
#include "http/requestinput.h"
#include "sockets/clientaccounts.h"
#include "sockets/connectionends.h"

// The life of a connection:
//
//     accepted -> kFresh --+                         .--- the rest has come ---- kHead, kBody
//                          |--- a byte has come ---> kServing --- incomplete ------^
//                kIdle ----+              ^          |  |  |
//                  ^----------------------+----------'  |  `--- last response sent ---> kLinger
//                       answered, kept    |             `--- aborted ---.                  |
//                         kTurn <---------' more is here, but others wait too              |
//                  any deadline, or the client's end -----------------> closed <-----------'
//
// Where proxies introduce their clients (ProxyHeader), kFresh and kPreface come before that, until the header
// has come as a whole.
//
// In kServing it belongs to a worker; in every other phase it waits in the poller and belongs to whoever
// claims it first (Ownership): a worker with an event, the sweeper when its deadline has passed, or an
// acceptor that closes it to make room, as long as it has no request.

namespace webcontainer {

/// What a connection waits for.
enum class EPhase : std::uint8_t {
    kFresh,    ///< the first byte after connecting
    kPreface,  ///< the rest of a ProxyHeader
    kIdle,     ///< the first byte of the next request
    kHead,     ///< the rest of a head
    kBody,     ///< the rest of a body that is received in advance
    kTurn,     ///< its turn: the next request has come already, and the client must take the last response
    kLinger,   ///< the client's end, after the last response
    kServing,  ///< nothing: a worker is busy with it
};

inline constexpr std::array s_ksPhases{"fresh", "preface", "idle",   "head",
                                       "body",  "turn",    "linger", "serving"};
inline constexpr std::size_t s_knPhases = s_ksPhases.size();

/// One client's connection. What is not atomic belongs to the owner.
struct Connection {
    Ownership tOwnership;
    std::atomic<EPhase> ePhase{EPhase::kFresh};
    std::atomic<std::int64_t> nDeadline{0};  ///< of the phase, on the monotonic clock, in ms
    int nFd = -1;
    bool bPolled = false;  ///< in the poller, which a new connection enters when it first waits there
    bool bAwaitsProxyHeader = false;
    ConnectionEnds tEnds;
    ClientAccount* pAccount = nullptr;     ///< null: nothing is counted of this client
    std::int64_t nPhaseStart = 0;          ///< on the same clock
    RequestArrival tArrival;               ///< of the request that is here, or comes next
    std::uint32_t nRequests = 0;           ///< that have been run on it
    std::size_t nLingerLeft = 0;           ///< bytes that may still be dropped
    std::unique_ptr<RequestInput> pInput;  ///< an incomplete request; null while there is none
};

static_assert(sizeof(Connection) <= 128, "ten thousand idle connections are to cost about a megabyte");

}  // namespace webcontainer
