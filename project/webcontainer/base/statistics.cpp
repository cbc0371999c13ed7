#include "base/statistics.h"

#include <algorithm>
#include <numeric>

namespace webcontainer {

namespace {

void add(std::uint64_t& rnSum, const std::atomic<std::uint64_t>& rn) noexcept {
    rnSum += rn.load(std::memory_order_relaxed);
}

}  // namespace

std::uint64_t Statistics::countRequests() const noexcept {
    return std::accumulate(tByClass.begin(), tByClass.end(), std::uint64_t{0});
}

Statistics Statistics::since(const Statistics& rBefore) const noexcept {
    Statistics tChange = *this;
    for (std::size_t n = 0; n < tByClass.size(); ++n)
        tChange.tByClass[n] -= rBefore.tByClass[n];
    for (std::size_t n = 0; n < tByCutOff.size(); ++n)
        tChange.tByCutOff[n] -= rBefore.tByCutOff[n];
    tChange.tWhole = tWhole.since(rBefore.tWhole);
    tChange.tWaiting = tWaiting.since(rBefore.tWaiting);
    for (const NumberInfo& r : s_tNumbers)
        if (r.bGrows) tChange.*r.pMember -= rBefore.*r.pMember;
    return tChange;
}

Latencies Latencies::since(const Latencies& rBefore) const noexcept {
    Latencies tChange = *this;
    for (std::size_t n = 0; n < tCounts.size(); ++n)
        tChange.tCounts[n] -= rBefore.tCounts[n];
    tChange.nSumUs -= rBefore.nSumUs;
    return tChange;
}

double Latencies::guessUs(double nShare) const noexcept {
    const auto nAll = std::accumulate(tCounts.begin(), tCounts.end(), std::uint64_t{0});
    const double nWanted = nShare * static_cast<double>(nAll);
    double nBefore = 0;
    double nLower = static_cast<double>(s_knLatencyBoundsUs.front());
    for (std::size_t n = 0; nAll != 0 && n < s_knLatencyBoundsUs.size(); ++n) {
        const auto nUpper = static_cast<double>(s_knLatencyBoundsUs[n]);
        const auto nHere = static_cast<double>(tCounts[n]);
        if (nHere > 0 && nBefore + nHere >= nWanted)
            return nLower + (nUpper - nLower) * (nWanted - nBefore) / nHere;
        nBefore += nHere;
        nLower = nUpper;
    }
    return nAll == 0 ? 0 : nLower;
}

void WorkerStatistics::OwnLatencies::count(std::int64_t nUs) noexcept {
    // Most are in the first class.
    const auto itBound = std::find_if(s_knLatencyBoundsUs.begin(), s_knLatencyBoundsUs.end(),
                                      [nUs](std::int64_t nBound) { return nUs <= nBound; });
    raise(tCounts[static_cast<std::size_t>(itBound - s_knLatencyBoundsUs.begin())], 1);
    raise(nSumUs, static_cast<std::uint64_t>(std::max<std::int64_t>(nUs, 0)));
}

void WorkerStatistics::OwnLatencies::addTo(Latencies& rSum) const noexcept {
    for (std::size_t n = 0; n < tCounts.size(); ++n)
        add(rSum.tCounts[n], tCounts[n]);
    add(rSum.nSumUs, nSumUs);
}

void WorkerStatistics::endRequest(unsigned nStatus, const RequestTimes& rTimes) noexcept {
    m_tWhole.count(rTimes.sum());
    m_tWaiting.count(rTimes.nWaitingUs);
    raise(m_tByClass[std::min<std::size_t>(nStatus / 100, m_tByClass.size() - 1)], 1);
    raise(m_nInFlight, static_cast<std::uint64_t>(-1));
}

void WorkerStatistics::countRefused(unsigned nStatus, const char* pReason) {
    raise(m_nRefused, 1);
    const std::lock_guard tLock(m_tMutex);
    ++m_tRefusals[{nStatus, pReason}];
}

void WorkerStatistics::addTo(RefusalCounts& rSum) const {
    const std::lock_guard tLock(m_tMutex);
    for (const auto& [tKey, nCount] : m_tRefusals)
        rSum[tKey] += nCount;
}

void WorkerStatistics::addTo(Statistics& rSum) const noexcept {
    add(rSum.nReceivedBytes, m_nReceivedBytes);
    add(rSum.nSentBytes, m_nSentBytes);
    add(rSum.nInFlight, m_nInFlight);
    add(rSum.nRefused, m_nRefused);
    add(rSum.nHeaderless, m_nHeaderless);
    for (std::size_t n = 0; n < m_tByClass.size(); ++n)
        add(rSum.tByClass[n], m_tByClass[n]);
    for (std::size_t n = 0; n < m_tByCutOff.size(); ++n)
        add(rSum.tByCutOff[n], m_tByCutOff[n]);
    m_tWhole.addTo(rSum.tWhole);
    m_tWaiting.addTo(rSum.tWaiting);
}

}  // namespace webcontainer
