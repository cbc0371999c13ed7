#include <gmock/gmock.h>

#include <latch>
#include <thread>

#include "serverfixture.h"
#include "zq/httpstream/maliciousinputexception.h"
#include "zq/services/timeoutconfig.h"

using testing::ElementsAre;
using testing::StartsWith;

namespace {

TEST(GetRequest, MakesTheProviderCallsInTheirOrder) {
    ServerFixture t;
    t.tRequest.sQuery = "a=1";
    std::string sSeen;
    t.tApplication.fGet = [&](ZQHttpStream& rStream, const HttpApplicationRequest& r) {
        sSeen = r.sQueryString.view();
        rStream.SetContentType(L"text/plain");
        rStream.addText(L"hi");
        return ScriptedApplication::kOK;
    };
    t.run();
    EXPECT_EQ(sSeen, "a=1");
    EXPECT_THAT(
        t.tLog,
        ElementsAre("getServerVariable URL 256", "getMethod", "getQueryString", "setStatusCode 200",
                    "setContentLength 2", StartsWith("addHeader Last-Modified: "),
                    "addHeader Content-Type: text/plain; charset=utf-8", "commitHeaders", "endResponse hi"));
}

TEST(GetRequest, MethodIsComparedWholeAndWithoutCase) {
    struct Case {
        const char* pMethod;
        bool bServed;
    };
    for (const Case& c : {Case{"GET", true},
                          {"get", true},
                          {"Get", true},
                          {"GETX", false},
                          {"GE", false},
                          {"", false},
                          {"HEAD", false},
                          {"PUT", false}}) {
        ServerFixture t;
        const RequestCounters tCounters;
        t.tRequest.sMethod = c.pMethod;
        bool bCalled = false;
        t.tApplication.fGet = [&](auto&, auto&) { return bCalled = true, ScriptedApplication::kOK; };
        t.run();
        EXPECT_EQ(bCalled, c.bServed) << c.pMethod;
        EXPECT_EQ(t.tLog[3], c.bServed ? "setStatusCode 200" : "setErrorStatusCode 400") << c.pMethod;
        EXPECT_EQ(tCounters.tBad.get(), c.bServed ? 0 : 1) << c.pMethod;
        EXPECT_EQ(tCounters.tCompleted.get(), 1) << c.pMethod;
    }
}

TEST(GetRequest, UrlGate) {
    struct Case {
        const wchar_t* pUrl;
        bool bValid;
    };
    for (const Case& c : {Case{L"", true},    {L"/", true},      {L"/a/b/", true},   {L"/x1/y", true},
                          {L"abc", true},     {L"/a", true},     {L".", false},      {L".x", false},
                          {L"/.x", false},    {L"/a//b", false}, {L"/_x", false},    {L"/%2e", false},
                          {L"/a/./b", false}, {L"/a/..", false}, {L"//", false},     {L"/a/\u00e9", false},
                          {L"/0", true},      {L"/a/-", false},  {L"/z/Z/9/", true}, {L"/a/\x10FFFF", false}})
        EXPECT_EQ(kiv::KIVHttpServer::checkValidServerURL(c.pUrl), c.bValid)
            << testing::PrintToString(c.pUrl);
}

TEST(GetRequest, InvalidUrlIsRefusedBeforeTheMethodIsRead) {
    ServerFixture t;
    const RequestCounters tCounters;
    t.tRequest.tVariables["URL"] = "/a//b";
    t.run();
    EXPECT_EQ(t.tLog[0], "getServerVariable URL 256");
    EXPECT_EQ(t.tLog[1], "setErrorStatusCode 400");
    EXPECT_EQ(t.tLog.back(), "endResponse (null)");
    EXPECT_EQ(tCounters.tBad.get(), 1);
}

TEST(GetRequest, WithoutUrlVariablePassesTheGate) {
    ServerFixture t;
    t.tRequest.tVariables.clear();
    t.run();
    EXPECT_THAT(t.tLog, testing::Contains("setStatusCode 200"));
}

TEST(GetRequest, ResultBecomesStatusAndCounter) {
    struct Case {
        int nStatus;
        const char* pCall;
        int nBad;
        int nFailed;
    };
    for (const Case& c : {Case{0, "setStatusCode 207", 0, 0},
                          {1, "setErrorStatusCode 400", 1, 0},
                          {2, "setErrorStatusCode 400", 1, 0},
                          {3, "setErrorStatusCode 404", 1, 0},
                          {4, "setErrorStatusCode 400", 1, 0},
                          {5, "setErrorStatusCode 500", 0, 1},
                          {6, "setErrorStatusCode 500", 0, 1},
                          {7, "setErrorStatusCode 500", 0, 1},
                          {8, "setErrorStatusCode 500", 0, 1},
                          {9, "setErrorStatusCode 400", 1, 0},
                          {10, "setErrorStatusCode 403", 1, 0},
                          {11, "setErrorStatusCode 500", 0, 1}}) {
        ServerFixture t;
        const RequestCounters tCounters;
        t.tApplication.fGet = [&](ZQHttpStream& rStream, auto&) {
            rStream.setStatusCode(207);
            return static_cast<HttpServerExtension::EStatus>(c.nStatus);
        };
        t.run();
        EXPECT_EQ(t.tLog[3], c.pCall) << c.nStatus;
        EXPECT_EQ(tCounters.tBad.get(), c.nBad) << c.nStatus;
        EXPECT_EQ(tCounters.tFailed.get(), c.nFailed) << c.nStatus;
    }
}

TEST(GetRequest, ErrorAfterFlushKeepsTheStatusSentAndEndsTheResponse) {
    ServerFixture t;
    t.tApplication.fGet = [](ZQHttpStream& rStream, auto&) {
        rStream.addText(L"half");
        rStream.Flush();
        rStream.addText(L"rest");
        return ScriptedApplication::kUnknownError;
    };
    t.run();
    EXPECT_EQ(t.tLog[3], "setStatusCode 200");
    EXPECT_EQ(t.tLog[t.tLog.size() - 2], "writeToBody half");
    EXPECT_EQ(t.tLog.back(), "endResponse rest");
}

TEST(GetRequest, MaliciousInputFromAnywhereBecomes403) {
    for (bool bInApplication : {true, false}) {
        ServerFixture t;
        const RequestCounters tCounters;
        const http::MaliciousInputException tAttack{GDString(L"no")};
        if (bInApplication)
            t.tApplication.fGet = [&](auto&, auto&) -> HttpServerExtension::EStatus { throw tAttack; };
        else
            t.tRequest.sMethod = "POST", t.tRequest.nContentLength = 1,
            t.tRequest.fBeforeRead = [&] { throw tAttack; };
        t.run();
        EXPECT_THAT(t.tLog, testing::Contains("setErrorStatusCode 403"));
        EXPECT_EQ(t.tLog.back(), "endResponse (null)");
        EXPECT_EQ(tCounters.tBad.get(), 1);
    }
}

TEST(GetRequest, OtherExceptionsLeaveWithEverythingRestored) {
    ServerFixture t;
    const RequestCounters tCounters;
    TimeoutConfig::setThreadDefaultTimeout(4711);
    unsigned int nDuring = 0;
    t.tApplication.fGet = [&](ZQHttpStream& rStream, auto&) -> HttpServerExtension::EStatus {
        nDuring = TimeoutConfig::getDefaultTimeout();
        rStream.addText(L"lost");
        throw std::runtime_error("application");
    };
    EXPECT_THROW(t.run(), std::runtime_error);
    EXPECT_EQ(nDuring, 600000u);
    EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 4711u);
    EXPECT_EQ(t.tResponse.nCalls, 0u);
    EXPECT_EQ(tCounters.tCurrent.get(), 0);
    EXPECT_EQ(tCounters.tCompleted.get(), 1);
    EXPECT_EQ(tCounters.tBad.get(), 0);
}

TEST(GetRequest, ProviderFailureInTheFinalCommitLeavesWithTrueCounters) {
    ServerFixture t;
    const RequestCounters tCounters;
    t.tResponse.nFailingCall = 0;
    t.tResponse.eFailure = kiv::HttpResponseProvider::kRCClientDead;
    EXPECT_THROW(t.run(), Exception);
    EXPECT_EQ(t.tLog.back(), "commitHeaders");
    EXPECT_EQ(tCounters.tCompleted.get(), 1);
    EXPECT_EQ(tCounters.tCurrent.get(), 0);
}

TEST(GetRequest, TenAtOnceRaiseThePeak) {
    constexpr int knRequests = 10;
    ScriptedApplication tApplication;
    HttpServerInitContext tContext(tApplication);
    kiv::KIVHttpServer tServer(tContext);
    const RequestCounters tCounters;
    std::latch tAllInside(knRequests);
    tApplication.fGet = [&](auto&, auto&) {
        tAllInside.arrive_and_wait();
        return ScriptedApplication::kOK;
    };
    {
        std::vector<std::jthread> tThreads;
        for (int n = 0; n < knRequests; ++n)
            tThreads.emplace_back([&] {
                FakeRequestProvider tRequest;
                FakeResponseProvider tResponse;
                tServer.processRequest(tRequest, tResponse);
            });
    }
    EXPECT_GE(tCounters.tCurrent.getCompanion(), knRequests);
    EXPECT_EQ(tCounters.tCurrent.get(), 0);
}

}  // namespace
