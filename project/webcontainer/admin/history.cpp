#include "admin/history.h"

#include <algorithm>

#include "base/monotonicclock.h"
#include "log/containerlog.h"
#include "zq/services/performancecounters.h"

namespace webcontainer {

History::History(const Container& rContainer) : m_rContainer(rContainer) {
    m_tSamples.push_back(read());
    m_tThread = std::thread([this] { run(); });
}

History::~History() {
    {
        const std::lock_guard tLock(m_tMutex);
        m_bStop = true;
    }
    m_tWake.notify_one();
    m_tThread.join();
}

void History::run() {
    std::unique_lock tLock(m_tMutex);
    while (!m_tWake.wait_for(tLock, std::chrono::seconds(1), [this] { return m_bStop; })) {
        try {
            m_tSamples.push_back(read());
            if (m_tSamples.size() > s_knMostSamples) m_tSamples.pop_front();
        } catch (const std::bad_alloc&) {
            // A second is missing; nobody will notice.
        }
    }
}

History::Sample History::read() const {
    Sample tSample{monotonicUs(), m_rContainer.readStatistics(), {}};
    for (const performance::CounterInfo& r : performance::CounterRegistry::list())
        tSample.tCompanions.push_back(r.pCompanion ? static_cast<std::uint32_t>(r.getCompanion()) : 0);
    return tSample;
}

History::Change History::changeOver(unsigned nSeconds) const {
    const std::lock_guard tLock(m_tMutex);
    const Sample tNow = read();
    const std::int64_t nFromUs = tNow.nTimeUs - (std::int64_t{nSeconds} * 1000000 + 500000);
    const auto itFirst = std::find_if(m_tSamples.begin(), m_tSamples.end() - 1,
                                      [nFromUs](const Sample& r) { return r.nTimeUs >= nFromUs; });
    Change tChange{static_cast<double>(tNow.nTimeUs - itFirst->nTimeUs) / 1e6,
                   tNow.tStatistics.since(itFirst->tStatistics), tNow.tCompanions};
    // A counter that is younger than the first sample began at zero; one that wrapped is right all the same.
    for (std::size_t n = 0; n < itFirst->tCompanions.size(); ++n)
        tChange.tCompanions[n] -= itFirst->tCompanions[n];
    return tChange;
}

std::vector<double> History::requestRates() const {
    const std::lock_guard tLock(m_tMutex);
    std::vector<double> tRates;
    for (std::size_t n = 1; n < m_tSamples.size(); ++n) {
        const Sample& r = m_tSamples[n];
        const double nSeconds = static_cast<double>(r.nTimeUs - m_tSamples[n - 1].nTimeUs) / 1e6;
        const std::uint64_t nEnded = r.tStatistics.since(m_tSamples[n - 1].tStatistics).countRequests();
        tRates.push_back(static_cast<double>(nEnded) / nSeconds);
    }
    return tRates;
}

}  // namespace webcontainer
