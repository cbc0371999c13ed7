#pragma once

#include "filedescriptor.h"

namespace webcontainer {

/// The one list of descriptors that all workers wait on (epoll). Every descriptor but those of watchAlways()
/// is reported once to one worker, and again only after arm().
class Poller {
public:
    /// Throws StartError.
    Poller();

    /// False: the kernel has no memory for it.
    bool add(int nFd) noexcept;
    void arm(int nFd) noexcept;
    /// From now on reported to every worker, again and again, while it is readable. Throws StartError.
    void watchAlways(int nFd);
    /// Waits for one descriptor that is ready, and returns it.
    int wait() noexcept;

private:
    FileDescriptor m_tEpoll;
};

}  // namespace webcontainer
