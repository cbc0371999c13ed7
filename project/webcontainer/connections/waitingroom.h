#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstdint>

namespace webcontainer {

/// Lets only as many workers wait for events as can run at once, and holds the others back as long as
/// somebody waits: the kernel wakes a waiting thread for every event, even when a running one would have
/// taken it a moment later, so idle waiters cost a switch of context for each request.
///
///     enter() -> wait for an event -> leave() -> work -> enter() ...
///
/// Whoever leaves last calls one in that is held back. So there is always a worker waiting, however long the
/// others' work blocks them, until all are at work.
class WaitingRoom {
public:
    explicit WaitingRoom(unsigned nMostWaiting) noexcept;
    ~WaitingRoom();
    WaitingRoom(const WaitingRoom&) = delete;
    WaitingRoom& operator=(const WaitingRoom&) = delete;

    /// Returns when the caller is to wait for an event; perhaps only after a while.
    void enter() noexcept;
    /// The caller has an event to work on.
    void leave() noexcept;
    /// From now on nobody is held back.
    void open() noexcept;

private:
    /// Both numbers change in one step, so that nobody is held back just when the last one leaves.
    struct alignas(std::uint64_t) Numbers {  // as one word, so that the processor changes both at once
        std::uint32_t nWaiting;
        std::uint32_t nHeld;
    };

    std::atomic<Numbers> m_tNumbers{Numbers{0, 0}};
    std::atomic<std::uint32_t> m_nMostWaiting;
    sem_t m_tCalled;
};

}  // namespace webcontainer
