#include "zq/services/logger.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "reportlimiter.h"
#include "support/allocationcounter.h"
#include "support/recorders.h"
#include "zq/foundation/exception.h"
#include "zq/foundation/libloaded.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const LogSourceHandle s_lsOne("test.one");
const LogSourceHandle s_lsTwo("test.two");

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

TEST(LogRegistry, ForgetsWritersThatAreRemoved) {
    {
        LogRecorder tGone(kSevError);
        LogRegistry::setThreshold(tGone, "test.one", kSevDebug);
    }
    EXPECT_FALSE(LogRegistry::hasWriters());
    EXPECT_EQ(TWLogger::getLogger().calcEnabledWriters(kSevError), 0u);
    LogRecorder tNext(kSevError);  // takes the slot, not the thresholds
    EXPECT_TRUE(LogRegistry::hasWriters());
    log(kSevDebug, L"x", s_lsOne);
    EXPECT_THAT(tNext.takeEntries(), IsEmpty());
}

TEST(LogRegistry, HasRoomFor32Writers) {
    std::list<LogRecorder> tWriters;
    for (int n = 0; n < 32; ++n)
        tWriters.emplace_back(kSevInfo);
    struct : LogWriter {
        void write(const LogEntry&) noexcept override { ADD_FAILURE(); }
    } tTooMany;
    EXPECT_FALSE(LogRegistry::addWriter(tTooMany, kSevDebug));
    log(kSevInfo, L"x");
    for (LogRecorder& rWriter : tWriters)
        EXPECT_THAT(rWriter.takeEntries(), ElementsAre("info root: x"));
    LogRegistry::removeWriter(tTooMany);
    EXPECT_TRUE(LogRegistry::hasWriters());
}

TEST(LogSource, IsOnePerNameAndJournalled) {
    std::string sName("test.named");
    const LogSourceHandle hFirst(sName.c_str()), hSecond("test.named");
    EXPECT_EQ(hFirst.getSource(), hSecond.getSource());
    sName.assign("overwritten");
    EXPECT_STREQ(hFirst.getSource()->getName(), "test.named");
    EXPECT_EQ(LogSourceHandle("").getSource(), LogSourceHandle("root").getSource());
    using debug_tools::LoadJournal;
    EXPECT_THAT(LoadJournal::list(),
                testing::Contains(LoadJournal::Entry{LoadJournal::EKind::kLogSource, "test.named"}).Times(1));
}

TEST(TWLogger, PushesAndPopsSourcesAcrossExceptions) {
    LogRecorder tLog(kSevDebug);
    TWLogger& rLogger = TWLogger::getLogger();
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

TEST(TWLogger, SurvivesMoreSourcesThanItKeeps) {
    LogRecorder tLog(kSevDebug);
    TWLogger& rLogger = TWLogger::getLogger();
    {
        const TWLoggerPushSource tFirst(rLogger, s_lsOne);
        std::list<TWLoggerPushSource> tPushed;
        for (int n = 0; n < 14; ++n)
            tPushed.emplace_back(rLogger, LogSourceHandle());
        const TWLoggerPushSource tSixteenth(rLogger, s_lsTwo);
        for (int n = 0; n < 1000; ++n)
            tPushed.emplace_back(rLogger, s_lsOne);
        log(kSevInfo, L"deep");
        tPushed.clear();
    }
    log(kSevInfo, L"out");
    EXPECT_THAT(tLog.takeEntries(), ElementsAre("info test.two: deep", "info root: out"));
}

TEST(TWLogger, WritesToTheWritersOfTheLastQuestion) {
    LogRecorder tLog(kSevInfo);
    TWLogger& rLogger = TWLogger::getLogger();
    const TWLoggerPushSource tPush(rLogger, s_lsOne);
    ASSERT_NE(rLogger.calcEnabledWriters(kSevInfo), 0u);
    log(kSevDebug, L"in between", s_lsTwo);  // must not change the answer
    rLogger.logToEnabledWriters(kSevInfo, GDStringRef(L"100% %1"), ZQ_LOG_LOCATION);
    rLogger.logToEnabledWriters1(kSevInfo, PercentizedMessageRef(L"code %1."), GDUInteger(200),
                                 ZQ_LOG_LOCATION);
    EXPECT_EQ(rLogger.calcEnabledWriters(kSevInfoMinor), 0u);
    rLogger.logToEnabledWriters(kSevInfoMinor, GDStringRef(L"nobody"), ZQ_LOG_LOCATION);
    EXPECT_THAT(tLog.takeEntries(), ElementsAre("info test.one: 100% %1", "info test.one: code 200."));
}

TEST(TWLogger, AllocatesNothingForNobody) {
    LogRecorder tLog(kSevWarning);
    TWLogger& rLogger = TWLogger::getLogger();
    const AllocationCounter tCounter;
    {
        const TWLoggerPushSource tPush(rLogger, s_lsOne);
        EXPECT_EQ(rLogger.calcEnabledWriters(kSevInfoMinor), 0u);
        rLogger.logToEnabledWriters1(kSevInfoMinor, PercentizedMessageRef(L"%1"), GDUInteger(1),
                                     ZQ_LOG_LOCATION);
        log(kSevInfo, L"a text", s_lsTwo);
    }
    EXPECT_EQ(tCounter.getCount(), 0u);
}

TEST(TWLogger, LogsOnManyThreadsWhileThresholdsChange) {
    LogRecorder tLog(kSevInfo);
    std::vector<std::thread> tThreads;
    for (int nThread = 0; nThread < 3; ++nThread)
        tThreads.emplace_back([] {
            const TWLoggerPushSource tPush(TWLogger::getLogger(), s_lsOne);
            for (int n = 0; n < 500; ++n) {
                log(kSevInfo, L"own");
                log(kSevError, L"always", s_lsTwo);
            }
        });
    for (int n = 0; n < 100; ++n) {
        LogRegistry::setThreshold(tLog, "test.one", n % 2 ? kSevError : kSevInfo);
        LogSourceHandle(("test.many" + std::to_string(n)).c_str());
    }
    for (std::thread& rThread : tThreads)
        rThread.join();
    const auto tEntries = tLog.takeEntries();
    EXPECT_EQ(std::count(tEntries.begin(), tEntries.end(), "error test.two: always"), 1500);
}

TEST(Reports, OfExceptionsAndAssertionsReachTheLog) {
    LogRecorder tLog(kSevWarning);
    EXPECT_THROW(ZQTHROW_prethrowProcessException(InvalidHandleException(), true, L"f.cpp", 3), Exception);
    EXPECT_THROW(ZQTHROW_prethrowProcessException(InvalidHandleException(), false, L"f.cpp", 3), Exception);
    debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"m_pT", L"f.cpp", 4);
    EXPECT_THAT(tLog.takeEntries(),
                ElementsAre("warning exceptions: InvalidHandleException: A null handle was used.",
                            "error assertions: assertion failed: m_pT"));
}

TEST(Reports, OfOneAssertionDoNotFloodTheLog) {
    LogRecorder tLog(kSevWarning);
    for (int n = 0; n < 998; ++n)
        debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"m_pT", L"f.cpp", 5);
    const auto tEntries = tLog.takeEntries();
    ASSERT_THAT(tEntries, SizeIs(10));
    EXPECT_THAT(tEntries[9], HasSubstr("only counted"));

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
    debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"m_pT", L"f.cpp", 4);
    const std::string sText = testing::internal::GetCapturedStderr();
    EXPECT_THAT(sText, HasSubstr("] Exception: forged\\nline (f.cpp:3)\n"));
    EXPECT_THAT(sText, HasSubstr(" error assertions ["));
    EXPECT_THAT(sText, HasSubstr("] assertion failed: m_pT (f.cpp:4)\n"));
}

}  // namespace
