#pragma once

#include <atomic>
#include <cstdint>
#include <deque>

#include "base/rarely.h"
#include "connections/connectiontable.h"
#include "connections/containeroptions.h"
#include "connections/poller.h"
#include "connections/workroom.h"
#include "sockets/listener.h"

namespace webcontainer {

/// Takes the new connections of one listening socket in. One worker at a time does it, when the kernel
/// reports the socket; when there is no room and none can be made, nobody does until resume().
///
///     construction --- start() --- stop() --- finish() until it says so
class Acceptor {
public:
    /// Opens the listening socket. All arguments but the first must outlive the object. Throws StartError.
    Acceptor(const ListenAddress& rAddress, const ContainerOptions& rOptions, Poller& rPoller,
             ConnectionTable& rConnections);

    const Listener& getListener() const noexcept { return m_tListener; }

    /// Clients can connect already, but only from now on are they accepted. Throws StartError.
    void start();
    /// Accepts who waits, but not for ever, and asks to be called again; leaves the new connections in the
    /// seat's batch.
    void acceptWaiting(WorkRoom& rRoom, WorkRoom::Seat& rSeat) noexcept;
    /// Accepts who waits while all workers are busy, so that it shows who waits and nobody is dropped; leaves
    /// the new connections to the poller. Beside the thread that accepts, if there is one.
    void acceptInstead() noexcept;
    /// How many have been turned away because they are no trusted proxies.
    std::uint64_t countStrangers() const noexcept { return m_nStrangers.load(std::memory_order_relaxed); }
    bool isOutOfResources() const noexcept { return m_bOutOfResources.load(std::memory_order_relaxed); }
    /// To be called now and then by one thread: goes on accepting when there may be room again.
    void resume(std::int64_t nNowMs) noexcept;
    /// New clients are refused by the kernel from now on, or wait for the next server.
    void stop() noexcept;
    /// To be called again and again after stop(), by one thread: accepts who had connected before. True: that
    /// was all.
    bool finish() noexcept;

private:
    static constexpr int s_knMostAtOnce = 64;
    /// How long the second half of a handshake may take on the network around a reverse proxy.
    static constexpr std::int64_t s_knHandshakeMs = 50;
    static constexpr std::int64_t s_knNotPaused = 0;

    bool hasRoom() const noexcept { return m_rConnections.count() < m_rOptions.tLimits.nMaxConnections; }
    bool makeRoom() noexcept;
    int acceptOne() noexcept;
    int refuse(int nFd, const ConnectionEnds& rEnds) noexcept;
    bool handleError(int nError) noexcept;
    void pause(std::int64_t nUntilMs) noexcept;

    const ContainerOptions& m_rOptions;
    Poller& m_rPoller;
    ConnectionTable& m_rConnections;
    Listener m_tListener;
    std::atomic<bool> m_bStopped{false};
    std::atomic<bool> m_bOutOfResources{false};
    std::atomic<std::uint64_t> m_nStrangers{0};
    std::atomic<std::int64_t> m_nPausedUntilMs{s_knNotPaused};
    Rarely m_tShortage;             ///< of descriptors, memory and room: complaints
    Rarely m_tStranger;             ///< where only proxies may connect: complaints
    std::int64_t m_nStoppedMs = 0;  ///< when, on the monotonic clock
};

/// The acceptors of all listening sockets; made before the threads start.
using Acceptors = std::deque<Acceptor>;

}  // namespace webcontainer
