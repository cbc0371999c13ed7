#include "base/statistics.h"

#include <algorithm>
#include <numeric>

namespace webcontainer {

std::uint64_t Statistics::countRequests() const noexcept {
    return std::accumulate(tByClass.begin(), tByClass.end(), std::uint64_t{0});
}

Statistics Statistics::since(const Statistics& rBefore) const noexcept {
    Statistics tChange = *this;
    for (std::size_t n = 0; n < tByClass.size(); ++n)
        tChange.tByClass[n] -= rBefore.tByClass[n];
    for (std::size_t n = 0; n < tByLatency.size(); ++n)
        tChange.tByLatency[n] -= rBefore.tByLatency[n];
    tChange.nLatencySumUs -= rBefore.nLatencySumUs;
    for (const NumberInfo& r : s_tNumbers)
        if (r.bGrows) tChange.*r.pMember -= rBefore.*r.pMember;
    return tChange;
}

double Statistics::guessLatencyUs(double nShare) const noexcept {
    const auto nAll = std::accumulate(tByLatency.begin(), tByLatency.end(), std::uint64_t{0});
    const double nWanted = nShare * static_cast<double>(nAll);
    double nBefore = 0;
    double nLower = static_cast<double>(s_knLatencyBoundsUs.front());
    for (std::size_t n = 0; nAll != 0 && n < s_knLatencyBoundsUs.size(); ++n) {
        const auto nUpper = static_cast<double>(s_knLatencyBoundsUs[n]);
        const auto nHere = static_cast<double>(tByLatency[n]);
        if (nHere > 0 && nBefore + nHere >= nWanted)
            return nLower + (nUpper - nLower) * (nWanted - nBefore) / nHere;
        nBefore += nHere;
        nLower = nUpper;
    }
    return nAll == 0 ? 0 : nLower;
}

void WorkerStatistics::endRequest(unsigned nStatus, std::int64_t nDurationUs) noexcept {
    const auto itBound =
        std::lower_bound(s_knLatencyBoundsUs.begin(), s_knLatencyBoundsUs.end(), nDurationUs);
    raise(m_tByLatency[static_cast<std::size_t>(itBound - s_knLatencyBoundsUs.begin())], 1);
    raise(m_tByClass[std::min<std::size_t>(nStatus / 100, m_tByClass.size() - 1)], 1);
    raise(m_nLatencySumUs, static_cast<std::uint64_t>(std::max<std::int64_t>(nDurationUs, 0)));
    raise(m_nInFlight, static_cast<std::uint64_t>(-1));
}

void WorkerStatistics::addTo(Statistics& rSum) const noexcept {
    const auto add = [](std::uint64_t& rnSum, const Count& r) { rnSum += r.load(std::memory_order_relaxed); };
    add(rSum.nReceivedBytes, m_nReceivedBytes);
    add(rSum.nSentBytes, m_nSentBytes);
    add(rSum.nInFlight, m_nInFlight);
    add(rSum.nRefused, m_nRefused);
    add(rSum.nLatencySumUs, m_nLatencySumUs);
    for (std::size_t n = 0; n < m_tByClass.size(); ++n)
        add(rSum.tByClass[n], m_tByClass[n]);
    for (std::size_t n = 0; n < m_tByLatency.size(); ++n)
        add(rSum.tByLatency[n], m_tByLatency[n]);
}

}  // namespace webcontainer
