#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>

#include "base/statistics.h"
#include "sockets/rateguard.h"
#include "sockets/slowclients.h"

namespace webcontainer {

/// What came of reading without waiting.
enum class EReceived { kBytes, kNothingYet, kEnd };

struct Received {
    EReceived eKind;
    std::size_t nBytes = 0;
    std::int64_t nAgeUs =
        0;  ///< how long ago the kernel received the last of the bytes, if that was asked for
};

/// What came of waiting for the client.
enum class EWaited {
    kReady,     ///< or it is gone, which the next attempt tells
    kTooSlow,   ///< it used up its time
    kOverdue,   ///< the deadline of the response has passed
    kStopping,  ///< the server gives up on requests in flight
};

/// How long the client may be waited for.
struct Patience {
    RateGuard tRate;
    unsigned nTimeoutMs;                                                ///< the longest single wait
    std::int64_t nDeadline = std::numeric_limits<std::int64_t>::max();  ///< on the monotonic clock, in ms
};

/// A connected socket as a request sees it: never blocks in the kernel's read or write, but waits beside the
/// signal to stop. Does not own its descriptors.
class ClientSocket {
public:
    /// nStopFd becomes readable when requests in flight are given up. rSlow must outlive the object; so must
    /// rStatistics, the calling thread's, pObserver (null: there is none) and pAccount, the client's
    /// (null: it has none).
    ClientSocket(int nFd, int nStopFd, SlowClients& rSlow, WorkerStatistics& rStatistics,
                 WaitObserver* pObserver, ClientAccount* pAccount) noexcept
        : m_nFd(nFd),
          m_nStopFd(nStopFd),
          m_rSlow(rSlow),
          m_rStatistics(rStatistics),
          m_pObserver(pObserver),
          m_pAccount(pAccount) {}

    int getFd() const noexcept { return m_nFd; }
    /// A broken connection is an end too.
    Received receive(void* pBuffer, std::size_t nSize) noexcept;
    /// The same with the bytes' age, which TCP connections of a Listener know (SO_TIMESTAMPNS).
    Received receiveDated(void* pBuffer, std::size_t nSize) noexcept;
    /// How many microseconds ago the kernel received the first byte that nobody has read; below 0: there is
    /// none.
    static std::int64_t peekAgeUs(int nFd) noexcept;
    /// Waits until bytes, or the end, can be received.
    EWaited waitForInput(Patience& rPatience) noexcept;

    /// The client sends nothing more, and may be gone: what it has sent may still wait to be received.
    bool hasEnded() const noexcept;

    enum class ESent { kSent, kGone, kTooSlow, kOverdue, kStopping };
    /// Sends all pieces, with one system call when the kernel takes them; changes them. Waits when it must.
    ESent send(std::span<iovec> tPieces, Patience& rPatience) noexcept;

    /// How long the client was waited for, in microseconds.
    struct Waits {
        std::int64_t nForInputUs = 0;
        std::int64_t nForRoomUs = 0;
    };
    /// Since the last call.
    Waits takeWaits() noexcept { return std::exchange(m_tWaits, {}); }

private:
    static constexpr std::int64_t s_knStepMs = 25;

    Received toReceived(ssize_t nReceived) noexcept;
    EWaited wait(short nEvents, Patience& rPatience) noexcept;
    EWaited waitForRoom(Patience& rPatience) noexcept;
    EWaited waitAtMost(short nEvents, std::int64_t nMs, std::int64_t nDeficitMs) noexcept;
    EWaited poll(short nEvents, int nMs) noexcept;

    int m_nFd;
    int m_nStopFd;
    SlowClients& m_rSlow;
    WorkerStatistics& m_rStatistics;
    WaitObserver* m_pObserver;
    ClientAccount* m_pAccount;
    Waits m_tWaits;
};

}  // namespace webcontainer
