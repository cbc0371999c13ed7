#pragma once

#include <atomic>
#include <cstdint>

#include "connectiontable.h"
#include "containerlimits.h"
#include "filedescriptor.h"
#include "poller.h"
#include "socketaddress.h"

namespace webcontainer {

/// Takes new connections in. One worker at a time does it, when the kernel reports the listening socket; when
/// there is no room, nobody does until resume().
class Acceptor {
public:
    /// Opens the listening socket; port 0 lets the kernel choose. All arguments must outlive the object.
    /// Throws StartError.
    Acceptor(const SocketAddress& rAddress, Poller& rPoller, ConnectionTable& rConnections,
             const Limits& rLimits);

    int getFd() const noexcept { return m_tListener.get(); }
    /// With the real port.
    const SocketAddress& getAddress() const noexcept { return m_tAddress; }

    /// Clients can connect already, but only from now on are they accepted. Throws StartError.
    void start();
    /// Accepts who waits, but not for ever, and asks to be called again.
    void acceptWaiting() noexcept;
    /// To be called now and then by one thread: goes on accepting when there is room again.
    void resume(std::int64_t nNowMs) noexcept;
    /// New clients are refused by the kernel from now on.
    void stop() noexcept;

private:
    static constexpr int s_knMostAtOnce = 64;
    static constexpr std::int64_t s_knNotPaused = 0;

    bool acceptOne() noexcept;
    bool handleError(int nError) noexcept;
    void pause(std::int64_t nUntilMs) noexcept;

    Poller& m_rPoller;
    ConnectionTable& m_rConnections;
    const Limits& m_rLimits;
    FileDescriptor m_tListener;
    SocketAddress m_tAddress;
    std::atomic<bool> m_bStopped{false};
    std::atomic<std::int64_t> m_nPausedUntilMs{s_knNotPaused};
};

}  // namespace webcontainer
