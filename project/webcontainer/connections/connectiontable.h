#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

#include "base/limits.h"
#include "base/rarely.h"
#include "connections/connection.h"
#include "connections/poller.h"

namespace webcontainer {

/// All connections, found by their descriptor, which the kernel keeps unique: no lock, no free list. Storage
/// is made for 256 descriptors at a time and kept, so that an event that comes late still meets a connection.
class ConnectionTable {
public:
    /// Both must outlive the table.
    ConnectionTable(Poller& rPoller, const Limits& rLimits) noexcept
        : m_tAccounts(rLimits.nMaxConnectionsPerClient),
          m_rPoller(rPoller),
          m_rLimits(rLimits) {}
    ~ConnectionTable();
    ConnectionTable(const ConnectionTable&) = delete;
    ConnectionTable& operator=(const ConnectionTable&) = delete;

    enum class EOpened {
        kOpen,
        kOutOfReach,  ///< its number is
        kTooMany,     ///< its client has as many as it may
    };
    /// Takes over a newly accepted socket, which waits from now on, but not in the poller: somebody is to be
    /// given an event for it. Unless kOpen, it has been closed. Throws std::bad_alloc.
    EOpened open(int nFd, const ConnectionEnds& rEnds, bool bAwaitsProxyHeader);
    /// Owner only: the header that it awaited from a proxy, which is not counted, has come and says who the
    /// ends are. False: the client has as many connections as it may. Throws std::bad_alloc.
    bool introduce(Connection& r, const ConnectionEnds& rEnds);
    /// For a connection that was just opened, when nobody is given an event for it.
    void leaveToPoller(int nFd) noexcept;
    /// After an event: the connection, now the caller's, or null when there is nothing for the caller to do.
    Connection* claimForEvent(int nFd) noexcept;

    /// Owner only: lets the connection wait in a phase, whose time starts unless it is in that phase already.
    /// What can be read must have been read, unless the poller has been armed anew. True: it is the caller's
    /// no longer. False: something has come meanwhile, and it is still the caller's.
    bool park(Connection& r, EPhase ePhase) noexcept;
    /// Owner only: the same for a connection whose next request has come already; an event will follow when
    /// those that are ready now have had theirs. It is the caller's no longer.
    void parkForTurn(Connection& r) noexcept;
    /// Owner only: from here on somebody gets an event when there is something to read, also if it is now.
    void arm(Connection& r) noexcept;
    /// Owner only: an event has come that nobody follows, so there will be another. False: it has been
    /// closed, because the kernel has no memory.
    bool rearm(Connection& r) noexcept;
    /// Owner only: nobody gets an event until arm().
    void mute(const Connection& r) noexcept;
    /// Owner only: leaves a connection waiting that was claimed without an event.
    void putBack(Connection& r) noexcept;
    /// Owner only: ends the connection, with a reset instead of an orderly end if wanted.
    void close(Connection& r, bool bReset) noexcept;

    /// Closes the connections that have waited longest without a request, at most a sixteenth of what there
    /// may be and 16, and returns how many that were.
    unsigned giveUpOldest() noexcept;
    /// On the monotonic clock, in milliseconds; s_knNever: it has a request, or waits for something else.
    std::int64_t idleSince(const Connection& r) const noexcept;
    /// Owner only: whether the client can be sent something, or has sent something.
    static bool isReady(const Connection& r) noexcept;
    /// Owner only: whether the client has sent what nobody has looked at.
    static bool hasUnreadInput(const Connection& r) noexcept;

    /// How many there have ever been.
    std::size_t countAll() const noexcept { return m_nAll.load(std::memory_order_relaxed); }
    /// How many have been kTooMany.
    std::size_t countTooMany() const noexcept { return m_nTooMany.load(std::memory_order_relaxed); }
    /// Of how many clients connections are counted.
    std::size_t countClients() const noexcept { return m_tAccounts.count(); }
    /// How many there are in each phase, more or less.
    std::array<std::size_t, s_knPhases> countPhases() const noexcept;
    /// How many connections there are.
    std::size_t count() const noexcept { return m_nOpen.load(std::memory_order_relaxed); }

    /// Calls f with every connection that seems to wait; f claims it before it acts.
    template <class F>
    void forEachWaiting(F f) {
        for (auto& rBlock : m_tBlocks) {
            Block* const pBlock = rBlock.load(std::memory_order_acquire);
            if (!pBlock) continue;
            for (Connection& r : *pBlock)
                if (r.tOwnership.isWaiting()) f(r);
        }
    }

private:
    static constexpr std::size_t s_knBlockSize = 256;
    static constexpr std::size_t s_knBlocks = 8192;  ///< two million descriptors
    using Block = std::array<Connection, s_knBlockSize>;

    Connection* find(int nFd) const noexcept;
    Connection* findOrMake(int nFd);
    bool enter(const ConnectionEnds& rEnds, ClientAccount*& rpAccount);
    void setPhase(Connection& r, EPhase ePhase) noexcept;
    bool enterPoller(Connection& r) noexcept;
    void demandRate(Connection& r) noexcept;
    unsigned timeoutOf(EPhase ePhase) const noexcept;

    ClientAccounts m_tAccounts;
    Poller& m_rPoller;
    const Limits& m_rLimits;
    Rarely m_tComplaint;  ///< about a client with too many connections
    std::atomic<std::size_t> m_nOpen{0};
    std::atomic<std::size_t> m_nAll{0};
    std::atomic<std::size_t> m_nTooMany{0};
    std::array<std::atomic<Block*>, s_knBlocks> m_tBlocks{};
};

}  // namespace webcontainer
