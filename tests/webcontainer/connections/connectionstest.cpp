#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <future>
#include <optional>
#include <thread>

#include "admin/adminsubject.h"
#include "admin/processuse.h"
#include "log/accesslog.h"
#include "support/allocationcounter.h"
#include "support/recorders.h"
#include "testserver.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char s_ksGet[] = "GET / HTTP/1.1\r\nHost: h\r\n\r\n";

/// Writes until something goes wrong, and says what.
class EndlessResponse {
public:
    void operator()(Request&, Response& r) {
        const std::string sPiece(100000, 'x');
        r.setStatusCode(200);
        r.commitHeaders();
        Response::EResponseCode eCode;
        while ((eCode = r.writeToBody(sPiece.data(), sPiece.size())) == Response::kRCOK) {
        }
        // What comes after the first failure changes nothing.
        EXPECT_EQ(r.writeToBody("x", 1), eCode);
        m_tResult.set_value(r.endResponse(nullptr, 0));
    }
    int result() {
        auto tFuture = m_tResult.get_future();
        return tFuture.wait_for(5s) == std::future_status::ready ? tFuture.get() : -1;
    }

private:
    std::promise<int> m_tResult;
};

TEST(Connections, AClientThatGoesAwayEndsItsResponse) {
    EndlessResponse tEndless;
    Server tServer(std::ref(tEndless));
    Client tClient(tServer);
    tClient.send(s_ksGet);
    tClient.readUntil("xx");
    tClient.vanish();
    EXPECT_EQ(tEndless.result(), Response::kRCClientDead);
}

TEST(Connections, AHeadIsAllThatIsMadeOfItsResponse) {
    EndlessResponse tEndless;
    Server tServer(std::ref(tEndless));
    LogRecorder tLog(kSevInfo);
    Client tClient(tServer);
    tClient.send("HEAD / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(tEndless.result(), Response::kRCClientDead);
    EXPECT_THAT(tClient.readUntil("\r\n\r\n"), testing::EndsWith("chunked\r\n\r\n"));
    EXPECT_THAT(tLog.takeEntries(), Not(Contains(HasSubstr("request"))));
    EXPECT_THAT(tServer.m_tContainer.readStatistics().tByCutOff, testing::Each(0u));
}

TEST(Connections, AClientThatTakesNothingCountsAsGoneAndHoldsUpNobody) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nWriteTimeoutMs = 100;
    EndlessResponse tEndless;
    Server tServer(
        [&](Request& r, Response& rResponse) {
            if (variable(r, "URL") == "/") return tEndless(r, rResponse);
            answer(rResponse, "quick");
        },
        tLimits);
    LogRecorder tLog(kSevInfo);
    Client tClient(tServer, 4096);
    tClient.send(s_ksGet);
    tClient.readUntil("xx");
    EXPECT_THAT(ask(tServer, "GET /q HTTP/1.0\r\n\r\n"), HasSubstr("quick"));
    EXPECT_EQ(tEndless.result(), Response::kRCClientDead);
    EXPECT_THAT(tLog.takeEntries(), Contains(HasSubstr("too slowly")));
    EXPECT_THAT(tClient.readAll(), HasSubstr("<reset>"));
}

TEST(Connections, AClientThatTakesItsTimeGetsAll) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nWriteTimeoutMs = 250;
    const std::string sBody(3000000, 'x');
    Server tServer([&](Request&, Response& r) { answer(r, sBody); }, tLimits);
    Client tClient(tServer, 4096);
    tClient.send("GET / HTTP/1.0\r\n\r\n");
    tClient.readUntil("\r\n\r\n");
    for (std::size_t nRead = 0; nRead < sBody.size(); nRead += 100000) {
        ASSERT_EQ(tClient.read(100000), std::string(100000, 'x')) << nRead;
        std::this_thread::sleep_for(20ms);  // 30 times: longer than the timeout
    }
    EXPECT_EQ(tClient.readAll(), "");
}

TEST(Connections, AResponseThatRunsTooLongIsCutOff) {
    std::atomic<int> nResult = -1;
    Server tServer([&](Request& rRequest, Response& r) {
        r.setStatusCode(200);
        const bool bFlush = variable(rRequest, "URL") == "/flush";
        if (!bFlush) std::this_thread::sleep_for(60ms);
        nResult = r.commitHeaders();
        if (!bFlush) return;
        EXPECT_EQ(r.writeToBody("x", 1), Response::kRCOK);
        std::this_thread::sleep_for(60ms);
        nResult = r.endResponse("y", 1);
    });
    tServer.m_tHandler.m_nResponseTimeoutMs = 50;
    EXPECT_THAT(ask(tServer, "GET /flush HTTP/1.0\r\n\r\n"), HasSubstr("<reset>"));
    EXPECT_EQ(nResult, Response::kRCResponseTimeout);
    EXPECT_THAT(ask(tServer, "GET / HTTP/1.0\r\n\r\n"), StartsWith("HTTP/1.1 500"));
    EXPECT_EQ(nResult, Response::kRCResponseTimeout);
}

TEST(Connections, WaitingForASlowClientEndsWithTheResponsesTime) {
    EndlessResponse tEndless;
    Server tServer(std::ref(tEndless));
    tServer.m_tHandler.m_nResponseTimeoutMs = 100;
    Client tClient(tServer, 4096);
    tClient.send(s_ksGet);
    EXPECT_EQ(tEndless.result(), Response::kRCResponseTimeout);
}

TEST(Connections, BlockedHandlersHoldUpNobody) {
    constexpr unsigned nWorkers = 12;
    std::promise<void> tGo[2];
    const std::shared_future<void> tGates[] = {tGo[0].get_future(), tGo[1].get_future()};
    Server tServer(
        [&](Request& r, Response& rResponse) {
            const std::string sUrl = variable(r, "URL");
            if (sUrl != "/") tGates[sUrl == "/second"].wait();
            answer(rResponse, "ok");
        },
        quickLimits(), nWorkers);
    for (std::promise<void>& rGo : tGo) {  // the second time with workers that have worked before
        const std::string sUrl = &rGo == tGo ? "/first" : "/second";
        std::this_thread::sleep_for(50ms);  // until nobody is awake
        std::deque<Client> tClients;
        while (tClients.size() < nWorkers - 1) {
            tClients.emplace_back(tServer).send("GET " + sUrl + " HTTP/1.0\r\n\r\n");
            EXPECT_THAT(ask(tServer, "GET / HTTP/1.0\r\n\r\n"), HasSubstr("ok")) << tClients.size();
        }
        rGo.set_value();
        for (Client& r : tClients)
            EXPECT_THAT(r.readAll(), HasSubstr("ok"));
    }
}

TEST(Connections, UrgentDataHidesNoRequest) {
    std::promise<void> tRuns, tGo;
    Server tServer(
        [&](Request& r, Response& rResponse) {
            if (variable(r, "URL") == "/first") {
                tRuns.set_value();
                tGo.get_future().wait();
            }
            answer(rResponse, "ok");
        },
        quickLimits(), 1);
    Client tClient(tServer);
    tClient.send("GET /first HTTP/1.1\r\nHost: h\r\n\r\n");
    tRuns.get_future().wait();
    tClient.send(s_ksGet);
    tClient.sendUrgent('!');
    tClient.send(s_ksGet);
    tGo.set_value();
    for (int n = 0; n < 3; ++n)
        EXPECT_THAT(tClient.readResponse(), HasSubstr("ok")) << n;
}

TEST(Connections, ARequestThatWaitsForAWorkerIsNotLateNorInTheWay) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nHeadTimeoutMs = tLimits.nIdleTimeoutMs = 150;
    tLimits.nMaxConnections = 2;
    Server tServer(
        [](Request& r, Response& rResponse) {
            ::usleep(variable(r, "URL") == "/slow" ? 300000 : 0);
            answer(rResponse, "ok");
        },
        tLimits, 1);
    Client tSlow(tServer), tFresh(tServer);
    ::usleep(10000);
    tSlow.send("GET /slow HTTP/1.1\r\nHost: h\r\n\r\n");
    ::usleep(10000);
    Client tNew(tServer);  // there is no room for it
    tFresh.send(s_ksGet);
    tNew.send(s_ksGet);
    for (Client* const p : {&tFresh, &tNew})
        EXPECT_THAT(p->readResponse(), HasSubstr("ok"));
}

TEST(Connections, EveryPhaseHasItsDeadline) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nHeadTimeoutMs = tLimits.nIdleTimeoutMs = tLimits.nPrefetchTimeoutMs = 50;
    Server tServer([](Request&, Response& r) { answer(r, "ok"); }, tLimits);
    const std::pair<const char*, const char*> tCases[] = {
        {"", ""},
        {"GET / HT", "408 Request Timeout: the request did not come in time\nrequest .{32}\n"},
        {"POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n\r\nx",
         "408 Request Timeout: the body came too slowly\nrequest .{32}\n"},
        {s_ksGet, "\r\n\r\nok"},
        {"GET / HTTP/1.1\r\nHost: h\r\n\r\nGET",
         "408 Request Timeout: the request did not come in time\nrequest .{32}\n"},
    };
    for (const auto& [pSent, pEnd] : tCases) {
        Client tClient(tServer);
        tClient.send(pSent);
        EXPECT_THAT(tClient.readAll(), testing::ContainsRegex(std::string(pEnd) + "$")) << pSent;
    }
    // Drops do not buy time: the deadline is that of the whole head.
    Client tClient(tServer);
    for (int n = 0; n < 30; ++n, std::this_thread::sleep_for(5ms))
        tClient.send("G");
    EXPECT_THAT(tClient.readAll(), testing::AnyOf(StartsWith("HTTP/1.1 408"), "<reset>"));
}

TEST(Connections, WithoutDescriptorsAcceptingPausesAndRecovers) {
    LogRecorder tLog(kSevWarning);
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nAcceptPauseMs = 20;
    Server tServer([](Request&, Response& r) { answer(r, "ok"); }, tLimits);
    rlimit tBefore{};
    ::getrlimit(RLIMIT_NOFILE, &tBefore);
    const int nFree = ::dup(0);
    ::close(nFree);
    const rlimit tOneMore{static_cast<rlim_t>(nFree) + 1, tBefore.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &tOneMore);
    Client tClient(tServer);  // takes the last one
    tClient.send(s_ksGet);
    EXPECT_FALSE(tClient.hasInput(100));
    EXPECT_TRUE(tServer.m_tContainer.isOutOfResources());
    const webcontainer::AdminSubject tSubject{tServer.m_tContainer, nullptr, "", "", {}};
    EXPECT_STREQ(tSubject.getState(), "out of descriptors or memory");
    const webcontainer::ProcessUse tUse = webcontainer::readProcessUse();
    EXPECT_EQ(tUse.nDescriptors, tUse.nMostDescriptors);
    EXPECT_GT(tUse.nResidentBytes, 1000000u);
    ::setrlimit(RLIMIT_NOFILE, &tBefore);
    EXPECT_THAT(tClient.readResponse(), HasSubstr("ok"));
    EXPECT_FALSE(tServer.m_tContainer.isOutOfResources());
    const auto tEntries = tLog.takeEntries();
    EXPECT_THAT(tEntries, Contains(HasSubstr("clients have to wait: too many open files")));
    EXPECT_LT(tEntries.size(), 10u);
}

TEST(Connections, DrainingAnswersWhatIsInFlight) {
    std::promise<void> tEntered;
    std::promise<void> tGo;
    Server tServer([&](Request&, Response& r) {
        tEntered.set_value();
        tGo.get_future().wait();
        answer(r, "done");
    });
    tServer.m_tHandler.m_fShutdown = [&] { tGo.set_value(); };
    Client tIdle(tServer);
    Client tBusy(tServer);
    tBusy.send(s_ksGet);
    tEntered.get_future().wait();
    EXPECT_TRUE(tServer.m_tContainer.drain(-1));
    EXPECT_THAT(tBusy.readAll(), testing::AllOf(HasSubstr("Connection: close"), testing::EndsWith("done")));
    EXPECT_EQ(tIdle.readAll(), "");
    EXPECT_THROW(Client{tServer}, std::runtime_error);
}

TEST(Connections, DrainingWaitsForNoHandlerThatHangsOrFails) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nDrainTimeoutMs = 50;
    for (const bool bHangs : {false, true}) {
        std::promise<void> tGo;
        Server tServer([](Request&, Response& r) { answer(r, "done"); }, tLimits);
        tServer.m_tHandler.m_fShutdown = [&] {
            if (!bHangs) throw std::runtime_error("own trouble");
            tGo.get_future().wait();
        };
        LogRecorder tLog(kSevWarning);
        EXPECT_EQ(tServer.m_tContainer.drain(-1), !bHangs);
        EXPECT_EQ(tServer.m_tContainer.haveThreadsEnded(), !bHangs);
        EXPECT_THAT(tLog.takeEntries(),
                    Contains(HasSubstr(bHangs ? "not begun its shutdown" : "own trouble")));
        tGo.set_value();
    }
}

TEST(Connections, DrainingGivesUpInTheEnd) {
    for (const bool bInterrupted : {false, true}) {
        webcontainer::Limits tLimits = quickLimits();
        tLimits.nDrainTimeoutMs = bInterrupted ? 60000 : 50;
        EndlessResponse tEndless;
        Server tServer(std::ref(tEndless), tLimits);
        Client tWriting(tServer, 4096);
        tWriting.send(s_ksGet);
        tWriting.readUntil("xx");
        int tPipe[2];
        ASSERT_EQ(::pipe(tPipe), 0);
        if (bInterrupted) ::close(tPipe[1]);  // the end can be read at once
        EXPECT_FALSE(tServer.m_tContainer.drain(tPipe[0]));
        EXPECT_TRUE(tServer.m_tContainer.haveThreadsEnded());
        EXPECT_EQ(tEndless.result(), Response::kRCError);
        ::close(tPipe[0]);
        if (!bInterrupted) ::close(tPipe[1]);
    }
}

TEST(Connections, AKeptConnectionAllocatesNothing) {
    std::optional<AllocationCounter> tCounter;
    std::atomic<std::size_t> nCount = 1;
    webcontainer::AccessLog tLog({"/dev/null", webcontainer::EAccessFormat::kCombined});
    Server tServer(
        [&](Request& r, Response& rResponse) {
            if (!tCounter) tCounter.emplace();
            char tBody[100];
            const std::size_t nBody = r.readFromBody(tBody, sizeof tBody);
            answer(rResponse, {tBody, nBody});
            nCount = tCounter->getCount();
        },
        quickLimits(), 1, &tLog);
    Client tClient(tServer);
    for (int n = 0; n < 200; ++n) {
        tClient.send("POST /a?b HTTP/1.1\r\nHost: h\r\nUser-Agent: u\r\nContent-Length: 3\r\n\r\nabc");
        ASSERT_THAT(tClient.readResponse(), testing::EndsWith("abc"));
    }
    EXPECT_LE(nCount, 20u);  // the Date field's text, once a second
}

TEST(Connections, ManyClientsAtOnceAreAllServed) {
    Server tServer([](Request& r, Response& rResponse) { answer(rResponse, readBody(r)); }, quickLimits(), 8);
    std::deque<std::jthread> tThreads;
    for (int nThread = 0; nThread < 8; ++nThread)
        tThreads.emplace_back([&, nThread] {
            for (int nConnection = 0; nConnection < 20; ++nConnection) {
                Client tClient(tServer);
                for (int n = 0; n < 10; ++n) {
                    const std::string sBody = std::to_string(nThread * 1000 + nConnection * 10 + n);
                    const std::string sHead = "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: ";
                    tClient.send(sHead + std::to_string(sBody.size()));
                    tClient.send("\r\n\r\n" + sBody);
                    EXPECT_THAT(tClient.readResponse(), testing::EndsWith("\r\n\r\n" + sBody));
                }
            }
        });
}

}  // namespace
}  // namespace test
