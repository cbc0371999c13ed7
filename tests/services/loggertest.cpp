#include "zq/services/logger.h"

#include <gmock/gmock.h>

#include <chrono>
#include <list>

#include "reportlimiter.h"
#include "support/allocationcounter.h"
#include "support/manythreads.h"
#include "support/recorders.h"
#include "zq/foundation/exception.h"

namespace {

using namespace testing;
using debug_tools::Assertion;

const LogSourceHandle s_lsOne("test.one"), s_lsTwo("test.two");

void log(ELogSeverity eSeverity, const wchar_t* pText, const LogSourceHandle& hSource = LogSourceHandle()) {
    TWLogger::getLogger().logMessage(eSeverity, hSource, GDStringRef(pText), ZQ_LOG_LOCATION);
}

TEST(LogSeverity, IsFoundByItsNameWhateverTheCase) {
    ELogSeverity eSeverity = kSevInfo;
    EXPECT_FALSE(parseLogSeverity(L"warn", eSeverity));
    EXPECT_EQ(eSeverity, kSevInfo);
    EXPECT_TRUE(parseLogSeverity(L"InfoMinor", eSeverity));
    EXPECT_STREQ(getLogSeverityName(eSeverity), "infominor");
    EXPECT_TRUE(parseLogSeverity(L"ERROR", eSeverity));
    EXPECT_EQ(eSeverity, kSevError);
}

TEST(LogRegistry, GivesWritersWhatTheirThresholdsAllow) {
    LogRecorder tAll(kSevDebug), tWarnings(kSevWarning);
    LogRegistry::setThreshold(tWarnings, "test.one", kSevInfo);
    LogRegistry::setThreshold(tAll, "test.two", kSevError);
    LogRegistry::setThreshold(tAll, "test.later", kSevError);
    log(kSevInfo, L"a", s_lsOne);
    log(kSevInfoMinor, L"b", s_lsOne);
    log(kSevWarning, L"c", s_lsTwo);
    log(kSevWarning, L"d", LogSourceHandle("test.later"));  // made after its threshold was
    log(kSevInfo, L"e");
    EXPECT_THAT(tAll.takeEntries(), ElementsAre("info test.one: a", "infominor test.one: b", "info root: e"));
    EXPECT_THAT(tWarnings.takeEntries(),
                ElementsAre("info test.one: a", "warning test.two: c", "warning test.later: d"));
    LogRegistry::setThreshold(tAll, "", kSevError);
    log(kSevInfo, L"f");
    EXPECT_THAT(tAll.takeEntries(), IsEmpty());
}

TEST(LogRegistry, HasRoomFor32WritersAndForgetsThem) {
    {
        std::list<LogRecorder> tWriters;
        for (int n = 0; n < 33; ++n)
            tWriters.emplace_back(kSevInfo);
        EXPECT_FALSE(LogRegistry::addWriter(tWriters.back(), kSevDebug));
        LogRegistry::setThreshold(tWriters.front(), "test.one", kSevDebug);
        log(kSevInfo, L"x");
        EXPECT_THAT(tWriters.back().takeEntries(), IsEmpty());
        tWriters.pop_back();
        EXPECT_TRUE(LogRegistry::hasWriters());
        for (LogRecorder& rWriter : tWriters)
            EXPECT_THAT(rWriter.takeEntries(), ElementsAre("info root: x"));
    }
    EXPECT_FALSE(LogRegistry::hasWriters());
    EXPECT_EQ(TWLogger::getLogger().calcEnabledWriters(kSevError), 0u);
    LogRecorder tNext(kSevError);  // takes a slot, not its thresholds
    log(kSevDebug, L"x", s_lsOne);
    EXPECT_THAT(tNext.takeEntries(), IsEmpty());
}

TEST(LogSource, IsOnePerNameAndKeepsItsOwnCopyOfIt) {
    std::string sName("test.named");
    const LogSourceHandle hSource(sName.c_str());
    sName.assign("overwritten");
    EXPECT_STREQ(hSource.getSource()->getName(), "test.named");
    EXPECT_EQ(hSource.getSource(), LogSourceHandle("test.named").getSource());
    EXPECT_EQ(LogSourceHandle("").getSource(), LogSourceHandle("root").getSource());
}

class Logger : public Test {
protected:
    LogRecorder tLog{kSevInfo};
    TWLogger& rLogger = TWLogger::getLogger();
};

TEST_F(Logger, PushesAndPopsSourcesAcrossExceptions) {
    try {
        const TWLoggerPushSource tOuter(rLogger, s_lsOne);
        {
            const TWLoggerPushSource tInner(rLogger, s_lsTwo);
            log(kSevInfo, L"a");
            const TWLoggerPushSource tNull(rLogger, LogSourceHandle());
            log(kSevInfo, L"b");
        }
        log(kSevInfo, L"c");
        throw 1;
    } catch (int) {
        log(kSevInfo, L"d");
    }
    EXPECT_THAT(tLog.takeEntries(),
                ElementsAre("info test.two: a", "info test.two: b", "info test.one: c", "info root: d"));
}

TEST_F(Logger, SurvivesMoreSourcesThanItKeeps) {
    {
        std::list<TWLoggerPushSource> tPushed;
        for (int n = 1; n <= 1000; ++n)
            tPushed.emplace_back(rLogger, n == 16 ? s_lsTwo : s_lsOne);
        log(kSevInfo, L"deep");
    }
    log(kSevInfo, L"out");
    EXPECT_THAT(tLog.takeEntries(), ElementsAre("info test.two: deep", "info root: out"));
}

TEST_F(Logger, WritesToTheWritersOfTheLastQuestionAndAllocatesNothingForNobody) {
    const auto fLog = [this](ELogSeverity eSeverity) {
        rLogger.logToEnabledWriters(eSeverity, GDStringRef(L"100% %1"), ZQ_LOG_LOCATION);
        rLogger.logToEnabledWriters1(eSeverity, PercentizedMessageRef(L"code %1."), GDUInteger(200),
                                     ZQ_LOG_LOCATION);
    };
    const TWLoggerPushSource tPush(rLogger, s_lsOne);
    ASSERT_NE(rLogger.calcEnabledWriters(kSevInfo), 0u);
    log(kSevDebug, L"in between", s_lsTwo);  // must not change the answer
    fLog(kSevInfo);
    const AllocationCounter tCounter;
    {
        const TWLoggerPushSource tInner(rLogger, s_lsTwo);
        EXPECT_EQ(rLogger.calcEnabledWriters(kSevInfoMinor), 0u);
        fLog(kSevInfoMinor);
    }
    log(kSevInfoMinor, L"nobody");
    EXPECT_EQ(tCounter.getCount(), 0u);
    EXPECT_THAT(tLog.takeEntries(), ElementsAre("info test.one: 100% %1", "info test.one: code 200."));
}

TEST_F(Logger, LogsOnManyThreadsWhileThresholdsChange) {
    const auto fLog = [] {
        const TWLoggerPushSource tPush(TWLogger::getLogger(), s_lsOne);
        for (int n = 0; n < 500; ++n) {
            log(kSevInfo, L"own");
            log(kSevError, L"always", s_lsTwo);
        }
    };
    test::onThreads(3, fLog, [this] {
        for (int n = 0; n < 100; ++n) {
            LogRegistry::setThreshold(tLog, "test.one", n % 2 ? kSevError : kSevInfo);
            LogSourceHandle(("test.many" + std::to_string(n)).c_str());
        }
    });
    EXPECT_THAT(tLog.takeEntries(), Contains("error test.two: always").Times(1500));
}

TEST(Reports, ReachTheLogButDoNotFloodIt) {
    LogRecorder tLog(kSevWarning);
    for (const bool bLog : {true, false})
        EXPECT_THROW(ZQTHROW_prethrowProcessException(InvalidHandleException(), bLog, L"f.cpp", 3),
                     Exception);
    for (int n = 0; n < 998; ++n)
        Assertion::handleFailure(Assertion::kAssert, L"m_pT", L"f.cpp", 5);
    const auto tEntries = tLog.takeEntries();
    ASSERT_THAT(tEntries, SizeIs(11));
    EXPECT_EQ(tEntries[0], "warning exceptions: InvalidHandleException: A null handle was used.");
    EXPECT_EQ(tEntries[1], "error assertions: assertion failed: m_pT");
    EXPECT_THAT(tEntries[10], HasSubstr("only counted"));

    ReportLimiter tLimiter;
    const ReportLimiter::Time tStart = ReportLimiter::Time() + std::chrono::hours(1);
    for (int n = 0; n < 12; ++n)
        EXPECT_EQ(tLimiter.ask(L"a", 1, tStart + std::chrono::seconds(n)).bWrite, n < 10) << n;
    EXPECT_TRUE(tLimiter.ask(L"a", 2, tStart).bWrite);
    EXPECT_FALSE(tLimiter.ask(L"a", 1, tStart + std::chrono::seconds(59)).bWrite);
    const auto tNextMinute = tLimiter.ask(L"a", 1, tStart + std::chrono::seconds(60));
    EXPECT_TRUE(tNextMinute.bWrite);
    EXPECT_EQ(tNextMinute.nLeftOut, 3U);
    EXPECT_EQ(tLimiter.ask(L"a", 1, tStart + std::chrono::minutes(9)).nLeftOut, 0U);
}

TEST(Reports, GoToStandardErrorWhenThereIsNoWriter) {
    testing::internal::CaptureStderr();
    Exception e(GDString(L"forged\nline"));
    Exception::prethrowProcess(e, true, L"f.cpp", 3);
    Assertion::handleFailure(Assertion::kAssert, L"m_pT", L"f.cpp", 4);
    const std::string sText = testing::internal::GetCapturedStderr();
    EXPECT_THAT(sText, HasSubstr("] Exception: forged\\nline (f.cpp:3)\n"));
    EXPECT_THAT(sText, HasSubstr(" error assertions ["));
    EXPECT_THAT(sText, HasSubstr("] assertion failed: m_pT (f.cpp:4)\n"));
}

}  // namespace
