#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "connections/container.h"

namespace webcontainer {

/// What a container and the performance counters showed in the last minute, looked at once a second by a
/// thread of its own. For any thread.
class History {
public:
    /// Over how long what is shown as a rate is measured.
    static constexpr unsigned s_knRateSeconds = 5;

    /// rContainer must outlive the history.
    explicit History(const Container& rContainer);
    ~History();
    History(const History&) = delete;
    History& operator=(const History&) = delete;

    /// What has changed over some time. What a statistic says of the present is as it is now.
    struct Change {
        double nSeconds = 0;  ///< how long that time was; shorter than wanted soon after the start
        Statistics tStatistics;
        std::vector<std::uint32_t> tCompanions;  ///< of CounterRegistry::list(), in its order

        double perSecond(std::uint64_t nCount) const noexcept {
            return nSeconds > 0 ? static_cast<double>(nCount) / nSeconds : 0;
        }
    };
    /// From about so many seconds ago (60 at most) until now.
    Change changeOver(unsigned nSeconds) const;
    /// How many requests ended in each of the last seconds, per second, the oldest first; at most 60.
    std::vector<double> requestRates() const;

private:
    struct Sample {
        std::int64_t nTimeUs;
        Statistics tStatistics;
        std::vector<std::uint32_t> tCompanions;
    };
    static constexpr std::size_t s_knMostSamples = 61;

    Sample read() const;
    void run();

    const Container& m_rContainer;
    mutable std::mutex m_tMutex;  ///< guards what follows
    std::condition_variable m_tWake;
    bool m_bStop = false;
    std::deque<Sample> m_tSamples;  ///< the oldest first; never empty
    std::thread m_tThread;
};

}  // namespace webcontainer
