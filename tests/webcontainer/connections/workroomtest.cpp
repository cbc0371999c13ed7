#include "connections/queuedelay.h"
#include "connections/workroom.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "base/filedescriptor.h"
#include "base/monotonicclock.h"
#include "log/recorder.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using webcontainer::Event;
using webcontainer::WorkRoom;

TEST(EventBatch, GivesEachEventToOneThread) {
    webcontainer::EventBatch tBatch;
    constexpr int knEvents = 200000;
    std::vector<int> tTaken(knEvents);
    std::vector<int> tStolen(knEvents);
    std::atomic<bool> bDone = false;
    const auto take = [&](std::vector<int>& rTaken) {
        Event tEvent{};
        if (!tBatch.take(tEvent)) return;
        ++rTaken[static_cast<std::size_t>(tEvent.nFd)];
        EXPECT_EQ(tEvent.bReadOn, tEvent.nFd % 3 == 0);
        EXPECT_EQ(tEvent.nReadyUs, tEvent.nFd + 7);
    };
    std::jthread tThief([&] {
        while (!bDone)
            take(tStolen);
    });
    for (int n = 0; n < knEvents; n += 2) {
        const Event tEvents[] = {{n, n % 3 == 0, n + 7}, {n + 1, (n + 1) % 3 == 0, n + 8}};
        if (tBatch.isEmpty() && n % 4 == 0) {
            tBatch.fill(tEvents);
        } else {
            for (const Event& r : tEvents)
                while (!tBatch.append(r))
                    take(tTaken);
        }
        if (n % 5 == 0) take(tTaken);
    }
    while (!tBatch.isEmpty())
        take(tTaken);
    bDone = true;
    tThief.join();
    std::transform(tTaken.begin(), tTaken.end(), tStolen.begin(), tTaken.begin(), std::plus());
    EXPECT_THAT(tTaken, testing::Each(1));
}

/// Two events, one place and a worker that is at the first of them.
class OnePlace {
public:
    OnePlace() {
        for (int nFd : m_tReady)
            m_tPoller.add(nFd);
        m_nFirst = m_tRoom.next(m_tSeat).nFd;
        m_tRoom.start(m_tSeat);
    }
    ~OnePlace() {
        for (int nFd : m_tReady)
            ::close(nFd);
    }
    /// Another worker gets the event that is left.
    void expectOtherServed() {
        auto tOther = std::async(std::launch::async, [this] {
            WorkRoom::Seat tSeat;
            return m_tRoom.next(tSeat).nFd;
        });
        EXPECT_EQ(tOther.wait_for(5s), std::future_status::ready);
        m_tRoom.open();
        EXPECT_EQ(tOther.get(), m_tReady[m_nFirst == m_tReady[0]]);
    }

    const int m_tReady[2] = {::eventfd(1, 0), ::eventfd(1, 0)};
    webcontainer::Poller m_tPoller;
    WorkRoom m_tRoom{m_tPoller, 1};
    WorkRoom::Seat m_tSeat;
    int m_nFirst = -1;
};

TEST(WorkRoom, KnowsSinceWhenAnEventIsReadyOnlyIfItLookedJustBefore) {
    webcontainer::Poller tPoller;
    const webcontainer::FileDescriptor tReady(::eventfd(0, 0));
    tPoller.add(tReady.get());
    WorkRoom tRoom(tPoller, 1);
    WorkRoom::Seat tSeat;
    const auto find = [&](unsigned nPauseUs) {
        ::usleep(nPauseUs);
        ::eventfd_write(tReady.get(), 1);
        return tRoom.next(tSeat).nReadyUs;
    };
    bool bKnown = false;
    for (int n = 0; n < 1000 && !bKnown; ++n) {  // this thread may lack a processor
        const std::int64_t nBeforeUs = webcontainer::monotonicUs();
        bKnown = find(0) >= nBeforeUs;
    }
    EXPECT_TRUE(bKnown);
    EXPECT_EQ(find(1001), 0);
}

TEST(WorkRoom, APlaceThatIsGivenAwayGoesToAnother) {
    OnePlace t;
    EXPECT_FALSE(t.m_tRoom.hasLostPlace(t.m_tSeat));
    t.m_tRoom.giveAway(t.m_tSeat);
    t.expectOtherServed();
}

TEST(WorkRoom, TheSleepersPlaceGoesToAnotherAndThatOfWhoComputesAfterAWhile) {
    constexpr auto ktWhile = 30ms;
    auto tSoonest = ktWhile;
    for (int n = 0; n < 20; ++n) {
        OnePlace t;
        std::jthread tLookout([&] { t.m_tRoom.watch(); });
        const auto tStart = std::chrono::steady_clock::now();
        t.expectOtherServed();  // which this thread sleeps for
        EXPECT_TRUE(t.m_tRoom.hasLostPlace(t.m_tSeat));
        tSoonest = std::min(
            tSoonest, duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - tStart));
    }
    EXPECT_LT(tSoonest, ktWhile);
    OnePlace t;
    std::jthread tLookout([&] { t.m_tRoom.watch(); });
    const auto tStart = std::chrono::steady_clock::now();
    while (!t.m_tRoom.hasLostPlace(t.m_tSeat) && std::chrono::steady_clock::now() - tStart < 5s) {
    }
    EXPECT_TRUE(t.m_tRoom.hasLostPlace(t.m_tSeat));
    EXPECT_GE(std::chrono::steady_clock::now() - tStart, ktWhile);
    t.expectOtherServed();
}

TEST(WorkRoom, AConnectionThatHasMoreRequestsGoesBehindThoseThatWait) {
    for (const bool bKept : {false, true}) {
        std::promise<void> tEntered, tGo;
        std::vector<std::string> tOrder;
        Server tServer(
            [&](Request& r, Response& rResponse) {
                tOrder.push_back(variable(r, "URL"));
                if (tOrder.back() == "/a0") {
                    tEntered.set_value();
                    tGo.get_future().wait();
                }
                ::usleep(2000);
                answer(rResponse, "ok");
            },
            quickLimits(), 1);
        Client tMany(tServer), tOther(tServer);
        const auto send = [](Client& rClient, const std::string& sPath) {
            rClient.send("GET " + sPath + " HTTP/1.1\r\nHost: h\r\n\r\n");
        };
        if (bKept) {
            send(tOther, "/before");
            EXPECT_THAT(tOther.readResponse(), HasSubstr("ok"));
        }
        for (const char* pPath : {"/a0", "/a1", "/a2", "/a3", "/a4"})
            send(tMany, pPath);
        tEntered.get_future().wait();
        send(tOther, "/b");
        ::usleep(10000);
        tGo.set_value();
        for (int n = 0; n < 5; ++n)
            EXPECT_THAT(tMany.readResponse(), HasSubstr("ok"));
        EXPECT_THAT(tOther.readResponse(), HasSubstr("ok"));
        tOrder.resize(3 + std::size_t{bKept});
        EXPECT_THAT(tOrder, testing::Contains("/b"));
    }
}

TEST(QueueDelay, RefusesTheOldestAndInAnOverloadSooner) {
    const struct {
        std::int64_t nNowMs, nWaitedMs;
        bool bTooLong;
    } tCases[] = {
        {0, 10000, false},   {0, 10001, true},                           // the bound
        {4000, 9999, false}, {5000, 9999, false},                        // a burst
        {5001, 1999, false}, {5001, 2000, false},  {5001, 2001, true},   // the queue has stood for long
        {9000, 1000, false}, {9000, 2001, true},   {9001, 999, false},   // nobody waits long any more
        {9002, 2001, false}, {14002, 2001, false}, {14003, 2001, true},  // nor again at once
    };
    webcontainer::QueueDelay tDelay(10000), tNever(0);
    for (const auto& r : tCases) {
        EXPECT_EQ(tDelay.isTooLong(r.nWaitedMs, r.nNowMs), r.bTooLong) << r.nNowMs << " " << r.nWaitedMs;
        EXPECT_FALSE(tNever.isTooLong(r.nWaitedMs, r.nNowMs));
    }
}

TEST(QueueDelay, WhoHasWaitedTooLongIsToldWithoutTheApplication) {
    for (const bool bByWorker : {true, false}) {
        webcontainer::Limits tLimits = quickLimits();
        tLimits.nQueueTimeoutMs = tLimits.nNoProgressMs = 100;
        tLimits.nSweepIntervalMs = bByWorker ? 60000 : 20;
        std::promise<void> tGo;
        std::vector<std::string> tUrls;
        const TemporaryDirectory tFolder;
        webcontainer::Recorder tRecorder({.sFolder = tFolder.path()});
        Server tServer(
            [&](Request& r, Response& rResponse) {
                tUrls.push_back(variable(r, "URL"));
                if (tUrls.size() == 1) tGo.get_future().wait();
                answer(rResponse, "ok");
            },
            localOptions(tLimits, 1), nullptr, &tRecorder);
        Client tBusy(tServer), tLate(tServer), tPart(tServer), tWrong(tServer);
        tBusy.send("GET /busy HTTP/1.1\r\nHost: h\r\n\r\nGET /pipelined HTTP/1.1\r\nHost: h\r\n\r\n");
        waitFor([&] { return tServer.m_tContainer.readStatistics().nInFlight != 0; });
        tLate.send("GET /late HTTP/1.1\r\nHost: h\r\n\r\n");
        tPart.send("POST /part HTTP/1.1\r\nHost: h\r\nContent-Length: 4\r\n\r\nabc");
        tWrong.send("POST /wrong HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\nwrong\r\n");
        const auto tRefused =
            testing::AllOf(testing::StartsWith("HTTP/1.1 503"), HasSubstr("\r\nRetry-After: 5\r\n"));
        if (bByWorker) {
            tPart.send("d");
            ::usleep(150000);
            tGo.set_value();
        } else {
            EXPECT_THAT(tLate.readAll(), tRefused);  // while the worker is busy
        }
        EXPECT_THAT(tPart.readAll(), tRefused);
        if (bByWorker) {
            EXPECT_THAT(tLate.readAll(), tRefused);
        }
        EXPECT_THAT(tWrong.readAll(), testing::StartsWith("HTTP/1.1 400"));
        ::usleep(40000);
        EXPECT_NE(tServer.m_tContainer.isStuck(), bByWorker) << "a refusal is no progress";
        if (!bByWorker) tGo.set_value();
        for (int n = 0; n < 2; ++n)
            EXPECT_THAT(tBusy.readResponse(), HasSubstr("ok"));
        EXPECT_THAT(tUrls, testing::ElementsAre("/busy", "/pipelined"));
        EXPECT_EQ(tServer.m_tContainer.readStatistics().nRefused, 3u);
        tRecorder.flush();
        std::string sRecorded;
        for (const auto& r : std::filesystem::directory_iterator(tFolder.path()))
            sRecorded += tFolder.read(r.path().native());
        EXPECT_THAT(sRecorded, HasSubstr("| wrong\\r\\n\nrefused 400 ")) << "its chunks too";
    }
}

TEST(QueueDelay, APieceThatCameWhileOthersWaitedMakesNoRequestLate) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nQueueTimeoutMs = 400;
    Server tServer(
        [&](Request& r, Response& rResponse) {
            if (variable(r, "URL") == "/busy") ::usleep(150000);
            answer(rResponse, "ok");
        },
        tLimits, 1);
    Client tBusy(tServer), tPieces(tServer);
    for (const char* pPiece : {"POST /pieces HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\n", "a", "b"}) {
        tBusy.send("GET /busy HTTP/1.1\r\nHost: h\r\n\r\n");
        waitFor([&] { return tServer.m_tContainer.readStatistics().nInFlight != 0; });
        tPieces.send(pPiece);
        EXPECT_THAT(tBusy.readResponse(), HasSubstr("ok"));
    }
    EXPECT_THAT(tPieces.readResponse(), HasSubstr("ok"));
}

TEST(WorkRoom, WhoWaitsForAProcessorShows) {
    const unsigned nClients = 30 * std::max(std::thread::hardware_concurrency(), 1U);
    Server tServer(
        [&](Request&, Response& rResponse) {
            for (const std::int64_t nEndUs = webcontainer::monotonicUs() + 20000;
                 webcontainer::monotonicUs() < nEndUs;) {
            }
            answer(rResponse, "ok");
        },
        quickLimits(), nClients + 2);
    std::vector<std::unique_ptr<Client>> tClients(nClients);
    for (auto& r : tClients) {
        r = std::make_unique<Client>(tServer);
        r->send("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    }
    std::uint64_t nOldestMs = 0;
    while (tServer.m_tContainer.readStatistics().countRequests() < nClients) {
        if (tServer.m_tContainer.readStatistics().nQueued != 0)
            nOldestMs = std::max(nOldestMs, tServer.m_tContainer.readStatistics().nOldestQueuedMs);
        ::usleep(1000);
    }
    EXPECT_GE(nOldestMs, 100u);
    waitFor([&] { return tServer.m_tContainer.readStatistics().nQueued == 0; });
}

/// How often threads of this process have gone to sleep.
long countSleeps() {
    long nSum = 0;
    for (const auto& r : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream tFile(r.path() / "status");
        for (std::string sWord; tFile >> sWord;)
            if (long n = 0; sWord == "voluntary_ctxt_switches:" && tFile >> n) nSum += n;
    }
    return nSum;
}

TEST(WorkRoom, NobodyIsWokenInAnIdleServer) {
    webcontainer::Limits tLimits;
    tLimits.nSweepIntervalMs = 60000;
    Server tServer([&](Request&, Response& rResponse) { answer(rResponse, "ok"); }, tLimits);
    EXPECT_THAT(ask(tServer, "GET / HTTP/1.0\r\n\r\n"), HasSubstr("ok"));
    std::this_thread::sleep_for(100ms);
    const long nBefore = countSleeps();
    std::this_thread::sleep_for(300ms);
    EXPECT_LT(countSleeps() - nBefore, 20);
}

}  // namespace
}  // namespace test
