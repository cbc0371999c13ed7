#include "zq/services/timeoutconfig.h"

#include <gtest/gtest.h>

#include <chrono>

#include "support/manythreads.h"
#include "zq/services/systemutils.h"

namespace {

// On a thread of its own, which has no timeout yet.
TEST(TimeoutConfig, ThreadsFollowTheProcessUntilTheySetTheirOwn) {
    test::onThreads(1, [] {
        EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 86400000u);
        TimeoutConfig::setGlobalDefaultTimeout(5000);
        EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 5000u);
        TimeoutConfig::setThreadDefaultTimeout(0);
        EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 0u);
        {
            const TimeoutConfig::SetTimeoutGuard tOuter(100), tInner(200);
            EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 200u);
            test::onThreads(1, [] { EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 5000u); });
        }
        TimeoutConfig::setGlobalDefaultTimeout(86400000);
        EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 0u);
    });
}

std::size_t s_nSlept = 0;

TEST(SystemUtils, SleepsForRealUnlessATestStepsIn) {
    const auto pBefore = SystemUtils::setSleepFunction([](std::size_t nMsecs) { s_nSlept += nMsecs; });
    SystemUtils::sleep(200);
    SystemUtils::sleep(SIZE_MAX - 200);
    EXPECT_EQ(s_nSlept, SIZE_MAX);
    SystemUtils::setSleepFunction(nullptr);
    const auto tStart = std::chrono::steady_clock::now();
    SystemUtils::sleep(20);
    EXPECT_GE(std::chrono::steady_clock::now() - tStart, std::chrono::milliseconds(20));
    EXPECT_EQ(SystemUtils::setSleepFunction(pBefore), pBefore);
}

}  // namespace
