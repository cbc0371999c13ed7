#include "zq/services/performancecounters.h"

#include <gtest/gtest.h>

#include "support/manythreads.h"

namespace {

using namespace performance;

constexpr int knThreads = 4;
constexpr int knRounds = 5000;

void inRounds(const std::function<void()>& f) {
    test::onThreads(knThreads, [&f] {
        for (int nRound = 0; nRound < knRounds; ++nRound)
            f();
    });
}

TEST(PerformanceCounters, AtomicOnesLoseNothing) {
    static PerfQueueMaxT<Atomic32Policy> s_tQueue("t/queue", "Now", "Now.", "Peak", "The peak.");
    const CounterInfo tInfo = CounterRegistry::find("t/queue");
    inRounds([] { const ResourceCounter tInUse(s_tQueue); });
    EXPECT_EQ(tInfo.getValue(), 0);
    EXPECT_GE(tInfo.getCompanion(), 1);
    EXPECT_LE(tInfo.getCompanion(), knThreads);
    inRounds([] { s_tQueue.increment(); });
    EXPECT_EQ(tInfo.getValue(), knThreads * knRounds);
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
    inRounds([] { s_tTotal.increment(); });
    EXPECT_GE(tInfo.getValue(), knRounds);
    EXPECT_LE(tInfo.getValue(), knThreads * knRounds + 1);
    NonAtomic32Policy::set(const_cast<CounterData&>(*tInfo.pValue), INT32_MAX);
    s_tTotal.increment();
    EXPECT_EQ(tInfo.getValue(), INT32_MIN);
    EXPECT_EQ(tInfo.getCompanion(), INT32_MIN);
}

TEST(CounterRegistry, ListsCountersWithTextsOfItsOwnAndOneValueForEachName) {
    std::string sName("t/listed");
    PerfCounterT<Atomic32Policy>(sName.c_str(), "Shown", "").increment();
    sName.assign("gone!");
    PerfCounterT<Atomic32Policy>("t/listed", "", "").increment();
    const PerfQueueMaxT<Atomic32Policy> tNext("t/next", "N", "N.", "P", "P.");
    const auto tList = CounterRegistry::list();
    const CounterInfo tListed = tList.at(tList.size() - 2), tLast = tList.back();
    EXPECT_STREQ(tListed.pName, "t/listed");
    EXPECT_STREQ(tListed.pDisplayName, "Shown");
    EXPECT_EQ(tListed.pCompanion, nullptr);
    EXPECT_EQ(tListed.getValue(), 2);
    EXPECT_STREQ(tLast.pCompanionDescription, "P.");
    EXPECT_EQ(tLast.eKind, ECounterKind::kCurrentAndMax);
    EXPECT_EQ(CounterRegistry::find("t/none").pValue, nullptr);
}

}  // namespace
