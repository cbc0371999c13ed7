#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>

#include "admin/adminserver.h"
#include "admin/metricspage.h"
#include "admin/shownnumbers.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
namespace web = webcontainer;

/// A server and the one that tells of it.
struct Observed {
    Server m_tServer;
    web::AdminServer m_tAdmin;

    explicit Observed(ScriptedHandler::Answer fAnswer, const web::Limits& rLimits = quickLimits(),
                      const std::string& sSettings = {}, web::AccessLog* pAccessLog = nullptr)
        : m_tServer(std::move(fAnswer), rLimits, 2, pAccessLog),
          m_tAdmin(
              *web::readAdminSettings(
                  ConfigReader(ConfigReaderInstance::fromText(
                      "[Admin]\nListen = \"127.0.0.1:0\"\nHostName = \"Admin.example\"\n" + sSettings, "c")),
                  {}),
              {m_tServer.m_tContainer, nullptr, "1\"<&", "m", std::chrono::system_clock::now()}) {
        m_tAdmin.start();
    }
    std::string get(const std::string& sPath) {
        return ask(m_tAdmin.getAddress(), "GET " + sPath + " HTTP/1.0\r\n\r\n");
    }
};

TEST(Admin, AnswersOnlyWhatItIsForAndOnlyUnderItsNames) {
    Observed t([](Request&, Response& r) { answer(r, ""); });
    const struct {
        const char* pRequest;
        const char* pStatus;
    } tCases[] = {
        {"GET /live HTTP/1.0\r\n\r\n", "200"},
        {"GET /live?x HTTP/1.1\r\nHost: localhost:1\r\n\r\n", "200"},
        {"GET /live HTTP/1.1\r\nHost: 127.9.9.9\r\n\r\n", "200"},
        {"GET /live HTTP/1.1\r\nHost: [::1]:9\r\n\r\n", "200"},
        {"HEAD /ready HTTP/1.1\r\nHost: admin.EXAMPLE:80\r\n\r\n", "200"},
        {"GET /live HTTP/1.1\r\nHost: evil.example\r\n\r\n", "421"},
        {"GET /live HTTP/1.1\r\nHost: 127.0.0.1.evil.example\r\n\r\n", "421"},
        {"GET http://evil.example/live HTTP/1.1\r\nHost: localhost\r\n\r\n", "421"},
        {"POST /live HTTP/1.0\r\n\r\n", "405"},
        {"GET /live/ HTTP/1.0\r\n\r\n", "404"},
    };
    for (const auto& r : tCases)
        EXPECT_THAT(ask(t.m_tAdmin.getAddress(), r.pRequest),
                    StartsWith(std::string("HTTP/1.1 ") + r.pStatus))
            << r.pRequest;
    for (const char* pRequest : {"PUT /", "POST /", "OPTIONS *"})
        EXPECT_THAT(ask(t.m_tAdmin.getAddress(), std::string(pRequest) + " HTTP/1.0\r\n\r\n"),
                    HasSubstr("\r\nAllow: GET, HEAD\r\n"));
}

TEST(Admin, CountsEveryRequestOnce) {
    Observed t([](Request& r, Response& rResponse) {
        const std::string sUrl = variable(r, "URL");
        ::usleep(sUrl == "/slow" ? 150000 : 0);
        answer(rResponse, readBody(r), sUrl == "/500" ? 500 : 200);
    });
    std::size_t nReceived = 0;
    std::size_t nSent = 0;
    for (const std::string& sRequest :
         {std::string("GET /1 HTTP/1.0\r\n\r\n"), std::string("GET /slow HTTP/1.0\r\n\r\n"),
          std::string("GET /500 HTTP/1.0\r\n\r\n"), std::string("GET /no-host HTTP/1.1\r\n\r\n"),
          std::string("OPTIONS * HTTP/1.0\r\n\r\n"),
          "POST / HTTP/1.0\r\nContent-Length: 5000\r\n\r\n" + std::string(5000, 'x')}) {
        nReceived += sRequest.size();
        nSent += ask(t.m_tServer, sRequest).size();
    }
    Client tIdle(t.m_tServer);
    const auto statistics = [&] { return t.m_tServer.m_tContainer.readStatistics(); };
    waitFor([&] { return statistics().nAccepted == 7 && statistics().nConnections == 1; });
    const std::string sMetrics = t.get("/metrics");
    EXPECT_THAT(
        sMetrics,
        AllOf(HasSubstr("\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"),
              HasSubstr("# TYPE webcontainer_requests_total counter\n"),
              HasSubstr("webcontainer_requests_total{class=\"2xx\"} 4\n"),
              HasSubstr("webcontainer_requests_total{class=\"4xx\"} 1\n"),
              HasSubstr("webcontainer_requests_total{class=\"5xx\"} 1\n"),
              HasSubstr("webcontainer_requests_refused_total 1\n"),
              HasSubstr("webcontainer_refusals_total{status=\"400\",reason=\"no Host field\"} 1\n"),
              HasSubstr("webcontainer_connections{state=\"fresh\"} 1\n"),
              HasSubstr("webcontainer_cut_off_total{reason=\"gone\"} 0\n"),
              HasSubstr("process_resident_memory_bytes"), HasSubstr("webcontainer_requests_in_flight 0\n"),
              HasSubstr("webcontainer_connections_accepted_total 7\n"),
              HasSubstr("webcontainer_connections_open 1\n"),
              HasSubstr("webcontainer_connections_refused_total 0\n"), HasSubstr("webcontainer_clients 1\n"),
              HasSubstr("webcontainer_request_duration_seconds_bucket{le=\"0.1\"} 5\n"),
              HasSubstr("webcontainer_request_duration_seconds_bucket{le=\"+Inf\"} 6\n")));
    EXPECT_EQ(statistics().nReceivedBytes, nReceived);
    EXPECT_EQ(statistics().nSentBytes, nSent);
    const std::string sJson = t.get("/status.json");
    const auto tStatus = nlohmann::json::parse(sJson.substr(sJson.find("\r\n\r\n")));
    EXPECT_EQ(tStatus["requests"], 6);
    EXPECT_EQ(tStatus["refusals"].dump(), R"([{"count":1,"reason":"no Host field","status":400}])");
    EXPECT_EQ(tStatus["connections"]["fresh"], 1);
    EXPECT_EQ(tStatus["cut_off"]["gone"], 0);
    EXPECT_GT(tStatus["resident_bytes"], 1000000);
    EXPECT_EQ(tStatus["workers_busy"], 0);
    EXPECT_EQ(tStatus["shown"]["share2"], "66.7");
    EXPECT_THAT(t.get("/"),
                AllOf(HasSubstr("data-t=\"requests\">6</span>"), HasSubstr("webcontainer 1&#34;&#60;&#38;"),
                      HasSubstr("<tr><th>400 no Host field</th><td>1</td></tr>"),
                      testing::Not(HasSubstr("{{")), EndsWith("</html>\n")));
}

TEST(Admin, ShowsHowManyRequestsWaitForAWorkerAndHowLong) {
    using std::chrono::milliseconds, std::chrono::steady_clock;
    for (const bool bReady : {true, false}) {
        std::promise<void> tGo;
        const std::shared_future<void> tGate = tGo.get_future();
        web::Limits tLimits = quickLimits();
        tLimits.nNoProgressMs = 50;
        TemporaryDirectory tDirectory;
        web::AccessLog tLog({tDirectory.path("log"), web::EAccessFormat::kJson});
        Observed t(
            [&](Request& r, Response& rResponse) {
                if (variable(r, "URL") == "/") tGate.wait();
                answer(rResponse, "ok");
            },
            tLimits, std::string("ReadyWhileSaturated = \"") + (bReady ? "on\"" : "off\""), &tLog);
        const auto statistics = [&] { return t.m_tServer.m_tContainer.readStatistics(); };
        Client tIdle(t.m_tServer), tKept(t.m_tServer), tBusy[2] = {Client(t.m_tServer), Client(t.m_tServer)};
        tKept.send("GET /quick HTTP/1.1\r\nHost: h\r\n\r\n");
        EXPECT_THAT(tKept.readResponse(), EndsWith("ok"));
        EXPECT_THAT(t.get("/ready"), EndsWith("\r\n\r\nready"));
        for (Client& r : tBusy)
            r.send("GET / HTTP/1.0\r\n\r\n");
        waitFor([&] { return statistics().nInFlight == 2; });
        const auto tSent = steady_clock::now();
        Client tFresh(t.m_tServer);
        for (Client* const p : {&tFresh, &tKept})
            p->send("GET /waiting HTTP/1.1\r\n");
        waitFor([&] { return statistics().nQueued == 2 && statistics().nOldestQueuedMs >= 300; });
        for (Client* const p : {&tFresh, &tKept})  // what comes later makes the request no younger
            p->send("Host: h\r\n\r\n");
        waitFor([&] { return statistics().nOldestQueuedMs >= 450; });
        EXPECT_LE(milliseconds(statistics().nOldestQueuedMs), steady_clock::now() - tSent + milliseconds(10));
        EXPECT_THAT(t.get("/ready"), AllOf(StartsWith(bReady ? "HTTP/1.1 200" : "HTTP/1.1 503"),
                                           HasSubstr("\r\n\r\nsaturated since 20"),
                                           HasSubstr("Z: 2 requests wait, the oldest for ")));
        EXPECT_THAT(t.get("/live"), StartsWith("HTTP/1.1 503"));
        EXPECT_THAT(t.get("/metrics"),
                    AllOf(HasSubstr("webcontainer_saturated 1\n"), HasSubstr("webcontainer_workers_busy 2\n"),
                          HasSubstr("webcontainer_requests_waiting_oldest_seconds 0."),
                          HasSubstr("webcontainer_connections{state=\"serving\"} 2\n")));
        EXPECT_THAT(t.get("/status.json"), HasSubstr("{\"state\":\"no worker makes progress\""));
        tGo.set_value();
        for (Client* const p : {&tFresh, &tKept})
            EXPECT_THAT(p->readResponse(), EndsWith("ok"));
        waitFor([&] { return statistics().nQueued + statistics().nInFlight == 0; });
        EXPECT_THAT(t.get("/ready"), EndsWith("\r\n\r\nready"));
        EXPECT_THAT(t.get("/live"), StartsWith("HTTP/1.1 200"));
        EXPECT_THAT(t.get("/metrics"),
                    AllOf(HasSubstr("webcontainer_request_waiting_seconds_bucket{le=\"0.25\"} 3\n"),
                          HasSubstr("webcontainer_request_waiting_seconds_bucket{le=\"+Inf\"} 5\n")));
        tLog.flush();
        std::ifstream tLines(tDirectory.path("log"));
        for (std::string sLine; std::getline(tLines, sLine);) {
            const auto tRecord = nlohmann::json::parse(sLine);
            EXPECT_EQ(tRecord["waiting_us"] > 350000, tRecord["target"] == "/waiting") << sLine;
            EXPECT_EQ(tRecord["running_us"] > 250000, tRecord["target"] == "/") << sLine;
        }
    }
}

TEST(Admin, SaysThatTheServerDrainsWhileItDoes) {
    std::promise<void> tRelease;
    Observed t([&](Request&, Response& rResponse) {
        tRelease.get_future().wait();
        answer(rResponse, "late");
    });
    EXPECT_THAT(t.get("/ready"), EndsWith("\r\n\r\nready"));
    Client tClient(t.m_tServer);
    tClient.send("GET / HTTP/1.0\r\n\r\n");
    waitFor([&] { return t.m_tServer.m_tContainer.readStatistics().nInFlight != 0; });
    auto tDrained = std::async(std::launch::async, [&] { return t.m_tServer.m_tContainer.drain(-1); });
    waitFor([&] { return t.m_tServer.m_tContainer.isDraining(); });
    EXPECT_THAT(t.get("/ready"), AllOf(StartsWith("HTTP/1.1 503"), EndsWith("\r\n\r\ndraining")));
    EXPECT_THAT(t.get("/live"), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(t.get("/metrics"), HasSubstr("webcontainer_draining 1\n"));
    tRelease.set_value();
    EXPECT_TRUE(tDrained.get());
    EXPECT_THAT(tClient.readAll(), EndsWith("late"));
}

TEST(Admin, MakesNamesAndNumbersReadable) {
    EXPECT_EQ(web::makeMetricName("HttpServer/CurrentRequests"), "httpserver_current_requests");
    EXPECT_EQ(web::makeMetricName("9/a b\xC3\xA9"), "_9_a_b__");
    EXPECT_EQ(web::makeMetricName(""), "_");
    web::Statistics t;
    EXPECT_EQ(t.tWhole.guessUs(0.5), 0);
    t.tWhole.tCounts = {90, 0, 10};
    EXPECT_EQ(t.tWhole.guessUs(0.5), 1000);
    EXPECT_EQ(t.tWhole.guessUs(0.95), 3750);
    t.tWhole.tCounts.back() = 1000;
    EXPECT_EQ(t.tWhole.guessUs(0.99), 10000000);
    EXPECT_EQ(web::showCount(1234567) + web::showCount(999), "1,234,567999");
    EXPECT_EQ(web::showBytes(999.4) + web::showBytes(1500) + web::showBytes(2e9), "999 B1.5 kB2.0 GB");
    EXPECT_EQ(web::showMicroseconds(350) + web::showMicroseconds(999600), "0.35 ms1.00 s");
    EXPECT_EQ(web::showSeconds(273906), "3 d 4:05:06");
}

}  // namespace
}  // namespace test
