#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <deque>

#include "testserver.h"
#include "zq/foundation/inputstream.h"
#include "zq/httpstream/multiparterrors.h"
#include "zq/httpstream/queryparameters.h"
#include "zq/services/timeoutconfig.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string pattern(std::size_t nLength) {
    std::string s(nLength, '\0');
    for (std::size_t n = 0; n < nLength; ++n)
        s[n] = static_cast<char>('a' + n % 23);
    return s;
}

std::string chunked(std::string_view s, std::size_t nChunk) {
    std::string sChunks;
    for (; !s.empty(); s.remove_prefix(std::min(nChunk, s.size()))) {
        char tSize[20];
        std::snprintf(tSize, sizeof tSize, "%zx\r\n", std::min(nChunk, s.size()));
        sChunks.append(tSize).append(s.substr(0, nChunk)).append("\r\n");
    }
    return sChunks + "0\r\n\r\n";
}

std::string post(std::string_view sFields, std::string_view sBody) {
    return "POST / HTTP/1.1\r\nHost: h\r\n" + std::string(sFields) + "\r\n" + std::string(sBody);
}

std::string declared(std::string_view sBody) {
    return post("Content-Length: " + std::to_string(sBody.size()) + "\r\n", sBody);
}

constexpr char s_ksChunked[] = "Transfer-Encoding: chunked\r\n";

/// Limits so small that most bodies are read while the request runs.
webcontainer::Limits smallLimits() {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nMaxHeadBytes = 1024;
    tLimits.nPrefetchBytes = 100;
    tLimits.nDiscardBytes = 1000;
    return tLimits;
}

TEST(Bodies, ArriveWholeWhateverTheirLengthFramingAndReading) {
    std::atomic<std::size_t> nPiece = 0;
    Server tServer([&](Request& r, Response& rResponse) { answer(rResponse, readBody(r, nPiece)); },
                   smallLimits());
    Client tClient(tServer);  // one connection, so that a byte too many or too few would show
    for (const std::size_t nLength : {0u, 1u, 99u, 100u, 101u, 5000u, 300000u}) {
        const std::string sBody = pattern(nLength);
        for (const std::size_t nRead : {7u, 1000u, 1000000u}) {
            nPiece = nRead;
            for (const std::string& sRequest : {declared(sBody), post(s_ksChunked, chunked(sBody, 13)),
                                                post(s_ksChunked, chunked(sBody, 70000))}) {
                tClient.send(sRequest + sRequest);  // of which the first one may take nothing from the second
                for (int n = 0; n < 2; ++n)
                    ASSERT_THAT(tClient.readResponse(), testing::EndsWith("\r\n\r\n" + sBody))
                        << nLength << " by " << nRead;
            }
        }
    }
}

TEST(Bodies, AShortBodyTakesNoWorkerBeforeItIsThere) {
    Server tServer([](Request& r, Response& rResponse) { answer(rResponse, readBody(r)); }, quickLimits(), 1);
    std::deque<Client> tWaiting;
    for (const std::string& s : {declared(pattern(5000)).substr(0, 3000), std::string("GET / HT"),
                                 post("Expect: 100-continue\r\nContent-Length: 3\r\n", "")})
        tWaiting.emplace_back(tServer).send(s);
    EXPECT_THAT(ask(tServer, declared("x")), testing::EndsWith("x"));
}

TEST(Bodies, ContinueIsSentOnceAsSoonAsTheHeadIsAcceptedUnlessTheBodyComesUnasked) {
    Server tServer([](Request& r, Response& rResponse) { answer(rResponse, readBody(r)); }, smallLimits());
    const auto expect = [](std::string_view sFields) {
        return post("Expect: 100-continue\r\n" + std::string(sFields), "");
    };
    const std::string s3 = "Content-Length: 3\r\n";
    const struct {
        std::string sFirst;
        const char* pAtOnce;  ///< the statuses that answer it
        std::string sThen;
        const char* pInTheEnd;
    } tCases[] = {
        {expect(s3), "100", "abc", "200"},
        {expect(s3) + "a", "", "bc", "200"},
        {declared("x") + expect(s3), "200 100", "abc" + declared("y"), "200 200"},
        {expect("Content-Length: 300\r\n"), "100", pattern(300), "200"},
        {expect(s_ksChunked) + "1", "", "2c\r\n" + pattern(300) + "\r\n0\r\n\r\n", "200"},
        {expect(s_ksChunked), "100", chunked("abc", 1) + expect(""), "200 200"},
        {"POST / HTTP/1.0\r\nExpect: 100-continue\r\n" + s3 + "\r\n", "", "abc", "200"},
        {expect("Content-Length: 0\r\n"), "200", "", ""},
        {expect(s3 + "Content-Length: 4\r\n"), "400", "", ""},
    };
    for (const auto& r : tCases) {
        Client tClient(tServer);
        tClient.send(r.sFirst);
        const std::string sAtOnce(r.pAtOnce);
        std::string sStatuses;
        const auto read = [&](std::size_t nLength) {
            for (sStatuses.clear(); sStatuses.size() < nLength;)
                sStatuses.append(sStatuses.empty() ? "" : " ").append(tClient.readResponse().substr(9, 3));
            return sStatuses;
        };
        EXPECT_EQ(read(sAtOnce.size()), sAtOnce) << r.sFirst;
        EXPECT_TRUE(sAtOnce == "400" || !tClient.hasInput(20)) << r.sFirst;
        tClient.send(r.sThen);
        EXPECT_EQ(read(std::string(r.pInTheEnd).size()), r.pInTheEnd) << r.sFirst;
    }
}

TEST(Bodies, WhatIsNotReadDoesNotDisturbTheNextRequest) {
    Server tServer([](Request&, Response& rResponse) { answer(rResponse, "ok"); }, smallLimits());
    for (const std::string& sRequest :
         {declared(pattern(900)), post(s_ksChunked, chunked(pattern(900), 30))}) {
        Client tClient(tServer);
        tClient.send(sRequest + "GET / HTTP/1.0\r\n\r\n");
        const std::string sAll = tClient.readAll();
        EXPECT_EQ(sAll.find("HTTP/1.1 200"), 0u);
        EXPECT_NE(sAll.find("HTTP/1.1 200", 1), std::string::npos) << sAll;
    }
    // Too much to drop: the response arrives all the same, then the connection ends.
    Client tClient(tServer);
    tClient.send(declared(pattern(100000)));
    EXPECT_THAT(tClient.readAll(), testing::AllOf(HasSubstr("Connection: close"), testing::EndsWith("ok")));
}

TEST(Bodies, ABodyCutShortNeverLooksComplete) {
    std::atomic<int> nComplete = 0;
    Server tServer(
        [&](Request& r, Response& rResponse) {
            answer(rResponse, readBody(r));
            ++nComplete;
        },
        smallLimits());
    const std::string sBody = pattern(2000);
    for (const std::string& sRequest :
         {declared(pattern(50)), declared(sBody), post(s_ksChunked, chunked(sBody, 300))})
        for (std::size_t n = 60; n < sRequest.size(); n += 37)
            EXPECT_THAT(ask(tServer, sRequest.substr(0, n)), testing::AnyOf(StartsWith("HTTP/1.1 400"), ""));
    EXPECT_EQ(nComplete, 0);
}

TEST(Bodies, FaultsAreAnsweredByWhatTheyAre) {
    Server tServer(
        [](Request& r, Response& rResponse) {
            const std::string sUrl = variable(r, "URL");
            if (sUrl == "/eof") throw InputStream::UnexpectedEOF(1, 0);
            if (sUrl == "/limit") throw Exception(GDString(L"limit"));
            if (sUrl == "/std") throw std::runtime_error("secret");
            if (sUrl == "/odd") throw 7;
            if (sUrl == "/cut") throw MultipartEndedInsidePart(1);
            if (sUrl == "/many") throw QueryParameters::TooManyParameters(1);
            if (sUrl == "/forgotten") return;
            const TimeoutConfig::SetTimeoutGuard tGuard(sUrl == "/stall" ? 30 : 5000);
            answer(rResponse, readBody(r));
        },
        smallLimits());
    tServer.m_tHandler.m_fIsBodyLimit = [](const Exception& e) {
        return e.getMessage() == GDString(L"limit");
    };
    const struct {
        std::string sRequest;
        const char* pAnswer;
    } tCases[] = {
        {"GET /eof HTTP/1.1\r\nHost: h\r\n\r\n", "408 Request Timeout: the body did not come in time\n"},
        {"GET /limit HTTP/1.1\r\nHost: h\r\n\r\n", "413 Content Too Large: the body is too long\n"},
        {"GET /cut HTTP/1.1\r\nHost: h\r\n\r\n",
         "400 Bad Request: a multipart body that is malformed or exceeds a limit\n"},
        {"GET /many HTTP/1.1\r\nHost: h\r\n\r\n", "400 Bad Request: too many parameters\n"},
        {"GET /std HTTP/1.1\r\nHost: h\r\n\r\n", "500 Internal Server Error: the server failed\n"},
        {"GET /odd HTTP/1.1\r\nHost: h\r\n\r\n", "500 Internal Server Error: the server failed\n"},
        {"GET /forgotten HTTP/1.1\r\nHost: h\r\n\r\n", "500 Internal Server Error: the server failed\n"},
        {"POST /stall HTTP/1.1\r\nHost: h\r\nContent-Length: 102\r\n\r\n" + pattern(101),
         "408 Request Timeout: the body came too slowly\n"},
        {"nonsense\r\n\r\n", "400 Bad Request: a malformed method\n"},
    };
    for (const auto& r : tCases) {
        Client tClient(tServer);
        tClient.send(r.sRequest);
        EXPECT_THAT(tClient.readAll(),
                    testing::AllOf(HasSubstr("Connection: close"), HasSubstr("text/plain"),
                                   HasSubstr("\r\n\r\n" + std::string(r.pAnswer) + "request ")))
            << r.sRequest;
    }
}

TEST(Bodies, AMalformedChunkHasOneReasonBeforeTheRequestRunsAndWhileItDoes) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nPrefetchBytes = 0;
    std::atomic<int> nRuns = 0;
    Server tServer(
        [&](Request& r, Response& rResponse) {
            ++nRuns;
            answer(rResponse, readBody(r));
        },
        tLimits);
    const std::pair<std::string, const char*> tCases[] = {
        {"3\r\nabc\r\nzz\r\n", "400 Bad Request: a chunk without a size\n"},
        {"1\r\nabc\r\n", "400 Bad Request: a chunk that is longer than its size\n"},
        {"1;" + std::string(300, 'x'), "400 Bad Request: chunk extensions that are too long\n"},
        {"0\r\nA: " + std::string(5000, 'x'), "400 Bad Request: the trailers are too long\n"},
    };
    for (const auto& [sChunks, pAnswer] : tCases) {
        EXPECT_THAT(ask(tServer, post(s_ksChunked, sChunks)), HasSubstr(pAnswer));
        EXPECT_EQ(nRuns, 0);
        Client tClient(tServer);
        tClient.send(post(s_ksChunked, "1\r\nx\r\n"));
        waitFor([&] { return nRuns != 0; });
        nRuns = 0;
        tClient.send(sChunks);
        EXPECT_THAT(tClient.readAll(), HasSubstr(pAnswer));
    }
}

TEST(Bodies, ASlowSenderIsCutOffByTheMinimumRate) {
    webcontainer::Limits tLimits = smallLimits();
    tLimits.nMinimumBytesPerSecond = 100000;
    tLimits.nRateGraceMs = 50;
    Server tServer([](Request& r, Response& rResponse) { answer(rResponse, readBody(r)); }, tLimits);
    for (const std::size_t nSent : {101u, 1u}) {  // while the request runs, and in advance
        Client tClient(tServer);
        tClient.send(post("Content-Length: 1000000\r\n", pattern(nSent)));
        EXPECT_THAT(tClient.readAll(), StartsWith("HTTP/1.1 408"));
    }
}

TEST(Bodies, SlowClientsHoldUpNobodyForLong) {
    const std::string sSender = post("Content-Length: 102\r\n", pattern(101));
    const std::string sReader = "GET /endless HTTP/1.1\r\nHost: h\r\n\r\n";
    const struct {
        const std::string& sSlow;
        unsigned nSlow;
        unsigned nWorkers;
        unsigned nMostOfClient;
        bool bInPeace;   ///< nobody else waits for a worker at first
        unsigned nHeld;  ///< workers, when somebody else has
    } tCases[] = {
        {sSender, 30, 4, 0, false, 2}, {sSender, 8, 4, 1, false, 1}, {sSender, 1, 1, 0, false, 0},
        {sSender, 2, 2, 2, true, 1},   {sSender, 1, 1, 0, true, 0},  {sReader, 1, 1, 0, true, 0},
    };
    for (const auto& r : tCases) {
        webcontainer::Limits tLimits = smallLimits();
        tLimits.nMaxWorkersPerClient = r.nMostOfClient;
        Server tServer(
            [](Request& rRequest, Response& rResponse) {
                const std::string sUrl = variable(rRequest, "URL");
                if (sUrl == "/pause") ::usleep(100000);
                if (sUrl != "/endless") return answer(rResponse, readBody(rRequest));
                const std::string sPiece = pattern(100000);
                rResponse.commitHeaders();
                while (rResponse.writeToBody(sPiece.data(), sPiece.size()) == Response::kRCOK) {
                }
            },
            tLimits, r.nWorkers);
        const auto comesToHold = [&](unsigned nWorkers) {  // and stays so
            int nSame = 0;
            for (int n = 0; n < 200 && nSame < 16; ++n) {
                ::usleep(25000);
                nSame = tServer.m_tContainer.readStatistics().nInFlight == nWorkers ? nSame + 1 : 0;
            }
            return nSame == 16;
        };
        Client tOther(tServer, 0, "127.0.0.2"), tPause(tServer);
        std::deque<Client> tSlow;
        while (tSlow.size() < r.nSlow)
            tSlow.emplace_back(tServer, 4096);
        ::usleep(20000);
        if (!r.bInPeace) tPause.send("GET /pause HTTP/1.1\r\nHost: h\r\n\r\n");
        ::usleep(20000);  // what comes now is found together
        for (Client& rSlow : tSlow)
            rSlow.send(r.sSlow);
        if (r.bInPeace) {
            ::usleep(20000);
            if (&r.sSlow == &sReader) {
                tSlow.back().send(declared("next"));
                ::usleep(400000);  // while the client's system still takes a little
            }
            EXPECT_TRUE(comesToHold(r.nSlow)) << r.nSlow << " of " << r.nWorkers;
        }
        const auto tStart = std::chrono::steady_clock::now();
        tOther.send(declared("x"));
        EXPECT_THAT(tOther.readResponse(), testing::EndsWith("x"));
        EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::milliseconds(4000)) << r.nSlow;
        EXPECT_TRUE(comesToHold(r.nHeld)) << r.nSlow << " of " << r.nWorkers;
    }
}

}  // namespace
}  // namespace test
