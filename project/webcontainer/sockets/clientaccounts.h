#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "sockets/socketaddress.h"

namespace webcontainer {

/// What one client has of the server now.
struct ClientAccount {
    explicit ClientAccount(std::uint64_t nNetwork) noexcept : nKey(nNetwork) {}

    const std::uint64_t nKey;
    unsigned nConnections = 0;        ///< for ClientAccounts alone
    std::atomic<unsigned> nWaits{0};  ///< workers that wait for it; any thread
};

/// The accounts of the clients that have connections. A client is an IPv4 address, or 64 bits of an IPv6
/// address, of which a host gets all the rest (RFC 4291 section 2.5.4). Any thread.
class ClientAccounts {
public:
    /// nMost: connections of one client; 0: any number.
    explicit ClientAccounts(unsigned nMost) noexcept : m_nMost(nMost) {}

    /// Counts a connection; null: the client has as many as it may. Throws std::bad_alloc.
    ClientAccount* enter(const SocketAddress& rAddress);
    /// Counts the connection out; an account without any is gone.
    void leave(ClientAccount& r) noexcept;
    /// How many clients have accounts.
    std::size_t count() const noexcept;

private:
    /// Each has a lock of its own. A tree, because clients choose the keys.
    struct alignas(64) Shard {
        mutable std::mutex tMutex;
        std::map<std::uint64_t, ClientAccount> tAccounts;
    };

    static std::uint64_t keyOf(const SocketAddress& rAddress) noexcept;
    Shard& shardOf(std::uint64_t nKey) noexcept { return m_tShards[nKey % m_tShards.size()]; }

    const unsigned m_nMost;
    std::array<Shard, 31> m_tShards;
};

}  // namespace webcontainer
