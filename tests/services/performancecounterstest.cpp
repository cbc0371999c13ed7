#include "zq/services/performancecounters.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "zq/foundation/libloaded.h"

namespace {

using namespace performance;

constexpr int knThreads = 4;
constexpr int knRounds = 5000;

template <class F>
void onThreads(F f) {
    std::vector<std::thread> tThreads;
    for (int n = 0; n < knThreads; ++n)
        tThreads.emplace_back([f] {
            for (int nRound = 0; nRound < knRounds; ++nRound)
                f();
        });
    for (std::thread& rThread : tThreads)
        rThread.join();
}

TEST(PerformanceCounters, AtomicOnesLoseNothing) {
    static PerfQueueMaxT<Atomic32Policy> s_tQueue("t/queue", "Now", "Now.", "Peak", "The peak.");
    const CounterInfo tInfo = CounterRegistry::find("t/queue");
    onThreads([] { const ResourceCounter tInUse(s_tQueue); });
    EXPECT_EQ(tInfo.getValue(), 0);
    EXPECT_GE(tInfo.getCompanion(), 1);
    EXPECT_LE(tInfo.getCompanion(), knThreads);
    onThreads([] { s_tQueue.increment(); });
    EXPECT_EQ(tInfo.getValue(), knThreads * knRounds);
    EXPECT_EQ(tInfo.getCompanion(), knThreads * knRounds);
    s_tQueue.decrement();
    s_tQueue.decrement();
    s_tQueue.increment();
    EXPECT_EQ(tInfo.getCompanion(), knThreads * knRounds);
}

TEST(PerformanceCounters, PlainOnesMayLoseButNeverInvent) {
    static PerfTotalPerSecT<NonAtomic32Policy> s_tTotal("t/total", "Total", "T.", "Rate", "R.");
    const CounterInfo tInfo = CounterRegistry::find("t/total");
    {
        const IncrementAtEnd tAtEnd(s_tTotal);
        EXPECT_EQ(tInfo.getValue(), 0);
    }
    EXPECT_EQ(tInfo.getValue(), 1);
    EXPECT_EQ(tInfo.getCompanion(), 1);
    onThreads([] { s_tTotal.increment(); });
    EXPECT_GE(tInfo.getValue(), knRounds);
    EXPECT_LE(tInfo.getValue(), knThreads * knRounds + 1);
    NonAtomic32Policy::set(const_cast<CounterData&>(*tInfo.pValue), INT32_MAX);
    s_tTotal.increment();
    EXPECT_EQ(tInfo.getValue(), INT32_MIN);
    EXPECT_EQ(tInfo.getCompanion(), INT32_MIN);
}

TEST(CounterRegistry, ListsCountersWithTextsOfItsOwn) {
    std::string sName("t/listed");
    { const PerfCounterT<NonAtomic32Policy> tCounter(sName.c_str(), "Shown", ""); }
    const PerfQueueMaxT<Atomic32Policy> tNext("t/next", "N", "N.", "P", "P.");
    sName.assign("gone!");
    const auto tList = CounterRegistry::list();
    const CounterInfo tListed = tList.at(tList.size() - 2), tLast = tList.back();
    EXPECT_STREQ(tListed.pName, "t/listed");
    EXPECT_STREQ(tListed.pDisplayName, "Shown");
    EXPECT_EQ(tListed.pCompanion, nullptr);
    EXPECT_STREQ(tLast.pCompanionDescription, "P.");
    EXPECT_EQ(tLast.eKind, ECounterKind::kCurrentAndMax);
    EXPECT_EQ(CounterRegistry::find("t/none").pValue, nullptr);
}

TEST(CounterRegistry, SharesTheValuesOfOneName) {
    PerfCounterT<Atomic32Policy> tFirst("t/shared", "", ""), tSecond("t/shared", "", "");
    tFirst.increment();
    tSecond.increment();
    EXPECT_EQ(CounterRegistry::find("t/shared").getValue(), 2);
    using debug_tools::LoadJournal;
    EXPECT_THAT(LoadJournal::list(),
                testing::Contains(LoadJournal::Entry{LoadJournal::EKind::kCounter, "t/shared"}).Times(1));
}

}  // namespace
