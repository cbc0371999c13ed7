#pragma once

#include <atomic>
#include <cstdint>

namespace webcontainer {

/// Keeps slow clients from taking all workers. Any worker waits for a client for a moment; one that waits
/// longer counts as held, and only half of the workers are held at a time: the client that would make it more
/// is given up. Many clients that each use up their moment could still take all workers in turn, so it is a
/// shorter one while no worker is left for anybody else: then one client, and a waiting one rather than the
/// newest, is given up to free a worker.
class SlowClients {
public:
    /// nWorkers: that may wait. nPauseMs: what still is a moment.
    SlowClients(unsigned nWorkers, unsigned nPauseMs) noexcept : m_nWorkers(nWorkers), m_nPauseMs(nPauseMs) {}

    /// A worker's wait; ends with the object.
    class Wait {
    public:
        explicit Wait(SlowClients& r) noexcept : m_r(r) {
            m_r.m_nWaiting.fetch_add(1, std::memory_order_relaxed);
        }
        ~Wait() {
            if (!m_bGivenUp) m_r.m_nWaiting.fetch_sub(1, std::memory_order_relaxed);
            if (m_bHeld) m_r.m_nHeld.fetch_sub(1, std::memory_order_relaxed);
        }
        Wait(const Wait&) = delete;
        Wait& operator=(const Wait&) = delete;

        /// To be asked now and then. nMs: how long the client has let the server wait without making up for
        /// it. False: the client is to be given up; not to be asked again.
        bool mayGoOn(std::int64_t nMs) noexcept {
            if (nMs >= m_r.m_nPauseMs / s_knCrowdedShare && isLastToWait()) return false;
            if (m_bHeld || nMs < m_r.m_nPauseMs) return true;
            m_bHeld = true;
            return m_r.m_nHeld.fetch_add(1, std::memory_order_relaxed) < (m_r.m_nWorkers + 1) / 2;
        }

    private:
        /// Whether all workers wait for clients; then this one does so no longer, and only this one.
        bool isLastToWait() noexcept {
            unsigned nAll = m_r.m_nWorkers;
            m_bGivenUp = nAll > 1 && m_r.m_nWaiting.compare_exchange_strong(nAll, nAll - 1);
            return m_bGivenUp;
        }

        SlowClients& m_r;
        bool m_bHeld = false;
        bool m_bGivenUp = false;
    };

private:
    /// Long enough for a round trip over most networks, with the default of a second.
    static constexpr unsigned s_knCrowdedShare = 4;

    const unsigned m_nWorkers;
    const unsigned m_nPauseMs;
    std::atomic<unsigned> m_nWaiting{0};
    std::atomic<unsigned> m_nHeld{0};
};

}  // namespace webcontainer
