#pragma once

#include <atomic>

namespace webcontainer {

/// Keeps slow clients from taking all workers. Any worker waits for a client for a moment; one that waits
/// longer counts as held, and only so many are held at a time: the client that would make it more is given
/// up.
class SlowClients {
public:
    /// nMost: of the workers that can be held. nPauseMs: what still is a moment.
    SlowClients(unsigned nMost, unsigned nPauseMs) noexcept : m_nMost(nMost), m_nPauseMs(nPauseMs) {}

    unsigned getPauseMs() const noexcept { return m_nPauseMs; }

    /// A worker's long wait; ends with the object.
    class Wait {
    public:
        explicit Wait(SlowClients& r) noexcept
            : m_r(r),
              m_bAllowed(r.m_nHeld.fetch_add(1, std::memory_order_relaxed) < r.m_nMost) {}
        ~Wait() { m_r.m_nHeld.fetch_sub(1, std::memory_order_relaxed); }
        Wait(const Wait&) = delete;
        Wait& operator=(const Wait&) = delete;

        bool isAllowed() const noexcept { return m_bAllowed; }

    private:
        SlowClients& m_r;
        const bool m_bAllowed;
    };

private:
    const unsigned m_nMost;
    const unsigned m_nPauseMs;
    std::atomic<unsigned> m_nHeld{0};
};

}  // namespace webcontainer
