#pragma once

#include <atomic>
#include <cstdint>

#include "base/limits.h"
#include "sockets/clientaccounts.h"

namespace webcontainer {

/// What a thread that waits for its client has to do with the others.
class WaitObserver {
public:
    /// The thread is about to wait.
    virtual void beforeWait() noexcept = 0;
    /// Whether somebody else waits for a thread.
    virtual bool isAnybodyWaiting() noexcept = 0;

protected:
    ~WaitObserver() = default;
};

/// Keeps slow clients from taking all workers. Any worker waits for a client for a moment; one that waits
/// longer counts as held, and only half of the workers are held at a time: the client that would make it more
/// is given up.
///
/// Many clients that each use up their moment could still take all workers in turn. So it is a shorter one
/// when all workers wait for clients and somebody waits for a worker: then one client, and a waiting one
/// rather than the newest, is given up to free a worker.
///
/// Nor may one client (ClientAccount) that has many connections take all workers in turn, one after the
/// other. Of more than its share of workers, one waits no longer than the shorter moment in any case, and
/// hardly at all when there is somebody whom no other worker can serve: long enough for a client that is
/// near and awake, yet hundreds of such connections are given up within seconds.
class SlowClients {
public:
    /// nWorkers: that may wait.
    SlowClients(unsigned nWorkers, const Limits& r) noexcept
        : m_nWorkers(nWorkers),
          m_nMostOfClient(r.nMaxWorkersPerClient != 0 ? r.nMaxWorkersPerClient : halfOf(nWorkers)),
          m_nPauseMs(r.nSlowClientMs) {}

    /// How many workers wait for clients now.
    unsigned countWaits() const noexcept { return m_nWaiting.load(std::memory_order_relaxed); }

    /// A worker's wait; ends with the object.
    class Wait {
    public:
        /// pObserver null: nobody ever waits for a thread. pAccount null: the client has no bound of its own.
        Wait(SlowClients& r, WaitObserver* pObserver, ClientAccount* pAccount) noexcept
            : m_r(r),
              m_pObserver(pObserver),
              m_pAccount(pAccount) {
            m_r.m_nWaiting.fetch_add(1, std::memory_order_relaxed);
            if (m_pAccount) m_pAccount->nWaits.fetch_add(1, std::memory_order_relaxed);
        }
        ~Wait() {
            if (!m_bLeft) m_r.m_nWaiting.fetch_sub(1, std::memory_order_relaxed);
            if (m_pAccount && !m_bLeftAccount) m_pAccount->nWaits.fetch_sub(1, std::memory_order_relaxed);
            if (m_bHeld) m_r.m_nHeld.fetch_sub(1, std::memory_order_relaxed);
        }
        Wait(const Wait&) = delete;
        Wait& operator=(const Wait&) = delete;

        /// To be asked now and then. nMs: how long the client has let the server wait without making up for
        /// it. False: the client is to be given up; not to be asked again.
        bool mayGoOn(std::int64_t nMs) noexcept {
            const bool bGreedy = m_pAccount && m_pAccount->nWaits.load() > m_r.m_nMostOfClient;
            const bool bMuch = nMs >= m_r.m_nPauseMs / s_knShortShare;
            if (bMuch && bGreedy && leaveIfAbove(m_pAccount->nWaits, m_r.m_nMostOfClient)) {
                m_bLeftAccount = true;
                return false;
            }
            if ((bMuch || (bGreedy && nMs >= m_r.m_nPauseMs / s_knShortestShare)) && isLastToWait())
                return false;
            if (m_bHeld || nMs < m_r.m_nPauseMs) return true;
            m_bHeld = true;
            return m_r.m_nHeld.fetch_add(1, std::memory_order_relaxed) < halfOf(m_r.m_nWorkers);
        }

    private:
        /// Whether no worker is left for somebody who waits; then this one waits no longer, and only this
        /// one.
        bool isLastToWait() noexcept {
            m_bLeft = m_r.m_nWaiting.load() >= m_r.m_nWorkers && m_pObserver &&
                      m_pObserver->isAnybodyWaiting() && leaveIfAbove(m_r.m_nWaiting, m_r.m_nWorkers - 1);
            return m_bLeft;
        }
        /// Of several that try at once, only so many succeed that the count does not fall below the bound.
        static bool leaveIfAbove(std::atomic<unsigned>& rnCount, unsigned nBound) noexcept {
            for (unsigned n = rnCount.load(); n > nBound;)
                if (rnCount.compare_exchange_weak(n, n - 1)) return true;
            return false;
        }

        SlowClients& m_r;
        WaitObserver* const m_pObserver;
        ClientAccount* const m_pAccount;
        bool m_bHeld = false;
        bool m_bLeft = false;         ///< it counts no longer among all waits
        bool m_bLeftAccount = false;  ///< nor among its client's
    };

private:
    /// Long enough for a round trip over most networks, with the default of a second.
    static constexpr unsigned s_knShortShare = 4;
    /// Long enough for one nearby.
    static constexpr unsigned s_knShortestShare = 40;

    static constexpr unsigned halfOf(unsigned nWorkers) noexcept { return (nWorkers + 1) / 2; }

    const unsigned m_nWorkers;
    const unsigned m_nMostOfClient;
    const unsigned m_nPauseMs;
    std::atomic<unsigned> m_nWaiting{0};
    std::atomic<unsigned> m_nHeld{0};
};

}  // namespace webcontainer
