#pragma once

#include <cstdint>
#include <span>

#include "base/filedescriptor.h"

namespace webcontainer {

/// A descriptor that is ready.
struct Event {
    int nFd;
    bool bReadOn;  ///< the client's end, an error or urgent data has come too: a read may stop in front of it
    std::int64_t nReadyUs;  ///< since when, on the monotonic clock, at most a millisecond late; 0: not known
};

/// The one list of descriptors that workers wait on (epoll). A connection is reported to one worker when
/// something new has come for it, also while a worker is busy with it; a listening socket once, and again
/// only after armListener().
class Poller {
public:
    /// What wait() gets at once. When it gets fewer, nothing else was ready.
    static constexpr unsigned s_knMost = 128;

    /// Throws StartError.
    Poller();

    /// False: the kernel has no memory for it. The connection is reported if it is ready now.
    bool add(int nFd) noexcept;
    /// The connection is reported again if it is ready now, and from now on as add() has it.
    void arm(int nFd) noexcept;
    /// The connection is reported when its client can be sent something, after those that are ready already.
    void enqueue(int nFd) noexcept;
    /// The connection is not reported until arm().
    void mute(int nFd) noexcept;

    /// False: the kernel has no memory for it.
    bool addListener(int nFd) noexcept;
    void armListener(int nFd) noexcept;
    /// From now on reported to every worker, again and again, while it is readable. Throws StartError.
    void watchAlways(int nFd);
    /// Whether wait() would find something now.
    bool hasReady() const noexcept;
    /// Gets descriptors that are ready, at most s_knMost and as many as there is room for, and returns their
    /// number; waits for the first one so many milliseconds, or below 0 as long as it takes.
    unsigned wait(std::span<Event> tEvents, int nMs) noexcept;

private:
    FileDescriptor m_tEpoll;
};

}  // namespace webcontainer
