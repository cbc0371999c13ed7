#include "sockets/clientaccounts.h"

#include <algorithm>

namespace webcontainer {

/// IPv4 addresses are among the numbers of networks that IPv6 reserves (RFC 4291 section 2.4).
std::uint64_t ClientAccounts::keyOf(const SocketAddress& rAddress) noexcept {
    const std::span<const std::uint8_t> tBytes = rAddress.bytes();
    std::uint64_t nKey = 0;
    for (const std::uint8_t nByte : tBytes.first(std::min(tBytes.size(), sizeof nKey)))
        nKey = nKey << 8 | nByte;
    return nKey;
}

ClientAccount* ClientAccounts::enter(const SocketAddress& rAddress) {
    const std::uint64_t nKey = keyOf(rAddress);
    Shard& rShard = shardOf(nKey);
    const std::lock_guard tLock(rShard.tMutex);
    ClientAccount& r = rShard.tAccounts.try_emplace(nKey, nKey).first->second;
    if (m_nMost != 0 && r.nConnections == m_nMost) return nullptr;
    ++r.nConnections;
    return &r;
}

void ClientAccounts::leave(ClientAccount& r) noexcept {
    Shard& rShard = shardOf(r.nKey);
    const std::lock_guard tLock(rShard.tMutex);
    if (--r.nConnections == 0) rShard.tAccounts.erase(r.nKey);
}

std::size_t ClientAccounts::count() const noexcept {
    std::size_t nAccounts = 0;
    for (const Shard& r : m_tShards) {
        const std::lock_guard tLock(r.tMutex);
        nAccounts += r.tAccounts.size();
    }
    return nAccounts;
}

}  // namespace webcontainer
