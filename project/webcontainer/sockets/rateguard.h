#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace webcontainer {

/// Decides how long a worker waits for a client that sends or takes a body: as a purse that waiting empties
/// and bytes fill, at most to what it held at first. A client that keeps the minimum rate is never cut off,
/// and a fast one cannot earn more than the grace. The time that an application takes does not count.
class RateGuard {
public:
    /// nBytesPerSecond 0: any rate will do.
    RateGuard(unsigned nBytesPerSecond, unsigned nGraceMs) noexcept
        : m_nRate(nBytesPerSecond),
          m_nMost(std::uint64_t{nBytesPerSecond} * nGraceMs),
          m_nPurse(m_nMost) {}

    /// How many milliseconds the next wait may take; 0: the client is too slow.
    std::int64_t patienceMs() const noexcept {
        if (m_nRate == 0) return std::numeric_limits<std::int64_t>::max();
        return static_cast<std::int64_t>(m_nPurse / m_nRate);
    }
    /// How many milliseconds of waiting the bytes have not made up for.
    std::int64_t deficitMs() const noexcept {
        return m_nRate == 0 ? 0 : static_cast<std::int64_t>((m_nMost - m_nPurse) / m_nRate);
    }
    void countWait(std::int64_t nMs) noexcept {
        m_nPurse -= std::min(m_nPurse, static_cast<std::uint64_t>(std::max<std::int64_t>(nMs, 0)) * m_nRate);
    }
    void countBytes(std::size_t nBytes) noexcept {
        const std::uint64_t nRoom = m_nMost - m_nPurse;
        m_nPurse += nBytes >= nRoom / s_knScale ? nRoom : nBytes * s_knScale;
    }

private:
    static constexpr std::uint64_t s_knScale = 1000;  ///< the purse holds thousandths of bytes

    std::uint64_t m_nRate;
    std::uint64_t m_nMost;
    std::uint64_t m_nPurse;
};

}  // namespace webcontainer
