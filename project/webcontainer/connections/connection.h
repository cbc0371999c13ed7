#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

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
    std::int64_t nUnreadSinceUs = 0;       ///< since when somebody knows of bytes to read; 0: of none
    RequestArrival tArrival;               ///< of the request that is here, or comes next
    std::uint32_t nRequests = 0;           ///< that have been run on it
    std::size_t nLingerLeft = 0;           ///< bytes that may still be dropped
    std::unique_ptr<RequestInput> pInput;  ///< an incomplete request; null while there is none

    /// The unread bytes' age in microseconds, when the kernel has one for the last of them, or 0: its stamps
    /// are those of TCP, and where pieces have become one, that of the last.
    std::int64_t noteUnreadUs(std::int64_t nNowUs, std::int64_t nAgeUs) noexcept {
        nUnreadSinceUs = std::min(nUnreadSinceUs == 0 ? nNowUs : nUnreadSinceUs, nNowUs - nAgeUs);
        return nNowUs - nUnreadSinceUs;
    }
    /// The same when they have been read.
    std::int64_t takeUnreadAgeUs(std::int64_t nNowUs, std::int64_t nAgeUs) noexcept {
        const std::int64_t nSinceUs = std::exchange(nUnreadSinceUs, 0);
        return nSinceUs == 0 ? nAgeUs : std::max(nAgeUs, nNowUs - nSinceUs);
    }
};

static_assert(sizeof(Connection) <= 128, "ten thousand idle connections are to cost about a megabyte");

}  // namespace webcontainer
