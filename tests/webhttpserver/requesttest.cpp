#include <gmock/gmock.h>

#include <latch>
#include <thread>

#include "serverfixture.h"
#include "support/allocationcounter.h"
#include "support/recorders.h"
#include "zq/httpstream/maliciousinputexception.h"
#include "zq/services/systemutils.h"
#include "zq/services/timeoutconfig.h"
#include "zq/webhttpserver/httpservermessages.h"

using testing::ElementsAre;

namespace {

constexpr const char* s_kpForm = "application/x-www-form-urlencoded";
constexpr std::size_t knUndeclared = MemoryRequest::knUndeclared;
const std::string s_ksStart = "getServerVariable URL 256, ";
const std::string s_ksEnd = ", setContentLength 0, commitHeaders, endResponse (null)";
const std::string s_ksServed = ", setStatusCode 202" + s_ksEnd;
const std::string s_ksBad = "setErrorStatusCode 400" + s_ksEnd;

TEST(Request, MethodIsComparedWholeAndWithoutCase) {
    for (const std::string& sMethod : {std::string("GET"), std::string("gEt"), std::string("GET\0X", 5)}) {
        ServerFixture t;
        t.tRequest.sMethod = sMethod;
        t.tRequest.sTarget = "/?a=1";
        t.run();
        EXPECT_EQ(t.calls(), s_ksStart + "getMethod, getQueryString, GET 'a=1'" + s_ksServed);
    }
    for (const char* pMethod : {"GETX", "GE", "", "HEAD", "PUT", "POSTX", "POS"}) {
        ServerFixture t;
        const RequestCounters tCounters;
        t.tRequest.sMethod = pMethod;
        t.run();
        EXPECT_EQ(t.calls(), s_ksStart + "getMethod, getMethod, " + s_ksBad) << pMethod;
        EXPECT_EQ(tCounters.rise(), "completed 1, bad 1, failed 0, current 0") << pMethod;
    }
}

TEST(Request, UrlIsServedWhenLettersOrDigitsFollowItsSlashes) {
    constexpr std::wstring_view ksGood = L"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    for (wchar_t c = -300; c < 600; ++c)
        EXPECT_EQ(kiv::KIVHttpServer::checkValidServerURL(ZQWString(std::wstring{L'/', c})),
                  ksGood.find(c) != ksGood.npos)
            << static_cast<int>(c);
    for (const auto& [pUrl, bValid] : {std::pair{L"", true},
                                       {L"/", true},
                                       {L"/a/b/", true},
                                       {L"-a./x", true},
                                       {L".", false},
                                       {L".x", false},
                                       {L"/a//b", false},
                                       {L"/a/..", false},
                                       {L"/a/.b/", false}})
        EXPECT_EQ(kiv::KIVHttpServer::checkValidServerURL(pUrl), bValid) << testing::PrintToString(pUrl);

    ServerFixture tBad, tNone;
    tBad.tRequest.sTarget = "/a//b";
    tBad.run();
    EXPECT_EQ(tBad.calls(), s_ksStart + s_ksBad) << "the method is not read";
    tNone.tRequest.sTarget.clear();
    tNone.run();
    EXPECT_EQ(tNone.calls(), s_ksStart + "getMethod, getQueryString, GET ''" + s_ksServed);
}

TEST(Request, ResultBecomesStatusAndCounter) {
    constexpr int ktStatus[] = {202, 400, 400, 404, 400, 500, 500, 500, 500, 400, 403, 500};
    for (int n = 0; n < 12; ++n) {
        ServerFixture t;
        const RequestCounters tCounters;
        LogRecorder tLog(kSevError);
        t.fAct = [n](auto&) { return static_cast<ServerFixture::EStatus>(n); };
        t.run();
        const char *pSet = n == 0 ? "setStatusCode " : "setErrorStatusCode ",
                   *pCounted = n == 0               ? "bad 0, failed 0"
                               : ktStatus[n] == 500 ? "bad 0, failed 1"
                                                    : "bad 1, failed 0";
        EXPECT_EQ(t.tLog[4], pSet + std::to_string(ktStatus[n])) << n;
        EXPECT_EQ(tCounters.rise(), "completed 1, " + std::string(pCounted) + ", current 0") << n;
        EXPECT_EQ(tLog.takeEntries().size(), n == 11 ? 1u : 0u) << n;
    }
}

TEST(Request, ErrorAfterFlushKeepsTheStatusSentAndEndsTheResponse) {
    ServerFixture t;
    t.fAct = [](ZQHttpStream& rStream) {
        rStream.addText(L"half");
        rStream.Flush();
        rStream.addText(L"rest");
        return ScriptedApplication::kUnknownError;
    };
    t.run();
    EXPECT_EQ(t.calls(), s_ksStart +
                             "getMethod, getQueryString, GET '', setStatusCode 202, addHeader Content-Type: "
                             "text/plain; charset=utf-8, commitHeaders, writeToBody half, endResponse rest");
}

TEST(Request, KindOfPostDecidesWhoReadsItsBody) {
    const std::string sRead = "getContentLength, readFromBody 5, POST '' 'k=v&x'";
    const struct {
        const char *pQuery, *pType;
        std::size_t nLength;
        std::string sCalls;
    } tCases[] = {
        {"", "multipart/form-data; boundary=x", 5, "POST '' in stream 0"},
        {"q", "text/xml", 5, "POST 'q' in stream 0"},
        {"", "application/json", knUndeclared, "POST '' in stream 0"},
        {"", "application/x-www-form-urlencode", 5, "POST '' in stream 0"},
        {"", "application/xm", 5, "POST '' in stream 0"},
        {"", "Application/X-WWW-Form-URLencoded; charset=utf-8", 5, sRead},
        {"", "application/x-www-form-urlencodedX", 5, sRead},
        {"", "APPLICATION/XML; charset=utf-8", 5, sRead},
        {"", "application/xmlfoo", 5, sRead},
        {"", nullptr, 5, sRead},
        {"", "", 0, "getContentLength, POST '' ''"},
        {"", s_kpForm, knUndeclared,
         "getContentLength, readFromBody 16383, readFromBody 16378, POST '' 'k=v&x'"},
        {"soap", s_kpForm, 5, "SOAP 'soap' in stream 5"},
        {"SoAp=1", "multipart/form-data", 5, "SOAP 'SoAp=1' in stream 5"},
        {"SOAPaction", nullptr, knUndeclared, "SOAP 'SOAPaction' in stream -1"},
        {"soa", s_kpForm, 5, "getContentLength, readFromBody 5, POST 'soa' 'k=v&x'"},
    };
    ServerFixture tBefore;  // leaves a longer body where those of the others will be
    tBefore.tRequest.sMethod = "POST";
    tBefore.tRequest.tBody = {std::string(1000, 'x')};
    tBefore.run();
    for (const auto& c : tCases) {
        ServerFixture t;
        t.tRequest.sMethod = "pOSt";
        t.tRequest.sTarget = std::string("/?") + c.pQuery;
        if (c.pType) t.tRequest.tHeaders = {{"content-type", c.pType}};
        t.tRequest.tBody = {"k=v&x"};
        t.tRequest.nContentLength = c.nLength;
        t.run();
        EXPECT_EQ(t.calls(), s_ksStart + "getMethod, getMethod, getContentLength, getFirstHeader 256 256, " +
                                 (c.pType ? "getNextHeader 256 256, " : "") + "getQueryString, " + c.sCalls +
                                 s_ksServed);
    }
}

TEST(Request, LimitsOfBodiesAreExact) {
    const struct {
        std::size_t nDeclared, nBytes;
        const char* pRefused;  ///< the length that the exception names; null: accepted
    } tCases[] = {
        {10485759, 10485759, nullptr},           {10485760, 10485760, "10485760"},
        {std::size_t{4} << 30, 0, "4294967295"}, {(std::size_t{1} << 32) + 5, 0, "4294967295"},
        {knUndeclared, 10477567, nullptr},       {knUndeclared, 10477568, "10485760"},
    };
    for (const auto& c : tCases) {
        ServerFixture t;
        const RequestCounters tCounters;
        LogRecorder tLog(kSevWarning);
        t.tRequest.sMethod = "POST";
        t.tRequest.nContentLength = c.nDeclared;
        const std::string sBody(c.nBytes, 'x');
        t.tRequest.tBody = {sBody};
        std::string sRefused;
        try {
            t.run();
            EXPECT_EQ(t.tLog.at(t.tLog.size() - 5), "POST '' '" + sBody + "'");
        } catch (const Exception& e) {
            sRefused = toUtf8(e.getMessageText());
            EXPECT_EQ(sRefused, "A request body of " + std::string(c.pRefused ? c.pRefused : "no") +
                                    " bytes was refused: the limit is below 10485760 bytes (10 MiB).");
            EXPECT_EQ(e.getMessage(), kiv::kmsgPOSTRequestLimitException);
            EXPECT_THAT(tLog.takeEntries(),
                        ElementsAre("warning exceptions: POSTRequestLimitException: " + sRefused));
            EXPECT_EQ(describe(*std::unique_ptr<Exception>(e.clone())), describe(e));
            EXPECT_EQ(t.tLog.back().starts_with("readFromBody"), c.nDeclared == knUndeclared);
        }
        EXPECT_EQ(sRefused.empty(), c.pRefused == nullptr);
        EXPECT_EQ(tCounters.rise(), "completed 1, bad 0, failed 0, current 0");
    }
}

/// The pauses between retries, in milliseconds, in place of really waiting.
std::vector<std::size_t> s_tPauses;

TEST(Request, StallsOfDeclaredBodiesAreWaitedOutFiveTimesEach) {
    const struct {
        std::size_t nLength;
        std::vector<std::string> tBody;
        const char* pBody;  ///< null: UnexpectedEOF
        std::size_t nPauses;
    } tCases[] = {
        {5, {"abcde"}, "abcde", 0},
        {5, {"abc"}, nullptr, 5},
        {5, {"", "a", "", "b", "", "c", "", "d", "", "e"}, "abcde", 5},
        {5, {"abc", "", "", "", "", "", "", "de"}, nullptr, 5},
        {5, {"", "", "", "", "", "abc", "", "", "", "", "", "de"}, "abcde", 10},
        {knUndeclared, {"abc", "", "never seen"}, "abc", 0},
    };
    const auto pBefore = SystemUtils::setSleepFunction([](std::size_t n) { s_tPauses.push_back(n); });
    for (const auto& c : tCases) {
        ServerFixture t;
        s_tPauses.clear();
        LogRecorder tLog(kSevWarning);
        t.tRequest.sMethod = "POST";
        t.tRequest.nContentLength = c.nLength;
        t.tRequest.tBody = c.tBody;
        if (c.pBody) {
            t.run();
            EXPECT_EQ(t.tLog.at(t.tLog.size() - 5), "POST '' '" + std::string(c.pBody) + "'");
        } else {
            EXPECT_THROW(t.run(), InputStream::UnexpectedEOF);
            EXPECT_EQ(t.tLog.back(), "readFromBody 2");
            EXPECT_THAT(tLog.takeEntries(),
                        ElementsAre("warning exceptions: UnexpectedEOF: Unexpected end of "
                                    "input: 1 bytes expected, 0 read."));
        }
        EXPECT_EQ(s_tPauses, std::vector<std::size_t>(c.nPauses, 200));
    }
    SystemUtils::setSleepFunction(pBefore);
}

/// A request of each kind, with an application that makes every kind of call.
const struct {
    const char* pName;
    void (*pPrepare)(ServerFixture&);
} s_tKinds[] = {
    {"page", [](ServerFixture& t) { t.tRequest.sTarget = "/?q"; }},
    {"page in pieces",
     [](ServerFixture& t) {
         t.fAct = [](ZQHttpStream& r) {
             r.AddHeader(L"X", L"1");
             r.addText(L"one");
             r.Flush();
             r.writeBinary("two", 3);
             r.Flush();
             r.addText(L"three");
             return ScriptedApplication::kOK;
         };
     }},
    {"form",
     [](ServerFixture& t) {
         t.tRequest.sMethod = "POST";
         t.tRequest.tHeaders = {{"Content-Type", s_kpForm}, {"X", "1"}};
         t.tRequest.tBody = {std::string(20000, 'x')};
         t.fAct = [](ZQHttpStream& r) { return r.SendRedirect(HREFString(L"/")), ScriptedApplication::kOK; };
     }},
    {"undeclared form",
     [](ServerFixture& t) {
         t.tRequest.sMethod = "POST";
         t.tRequest.nContentLength = knUndeclared;
         t.tRequest.tBody = {std::string(20000, 'x')};
     }},
    {"multipart",
     [](ServerFixture& t) {
         const std::string sPart = "--X\r\nContent-Disposition: form-data; name=\"a\"";
         t.tRequest.sMethod = "POST";
         t.tRequest.tHeaders = {{"Content-Type", "multipart/form-data; boundary=X"}};
         t.tRequest.tBody = {sPart + "\r\n\r\nval", "ue\r\n" + sPart + "; filename=\"f\"\r\n\r\nfile",
                             " data\r\n", sPart + "\r\n\r\nend\r\n--X--\r\n"};
         t.fAct = [](ZQHttpStream& r) {
             ZQHttpStream::Param tParam;
             int n = r.getFirstParam(tParam, CharacterSet::utf8());
             while (n >= 0)
                 n = r.getNextParam(tParam, CharacterSet::utf8());
             return ScriptedApplication::kOK;
         };
     }},
};

/// Sends one request, the call of index n of which throws: of either provider or the application. Returns how
/// many calls there were.
std::size_t runThrowing(void (*pPrepare)(ServerFixture&), std::size_t n, const std::exception_ptr& pFailure,
                        bool bMalicious) {
    LogRecorder tLog(kSevInfoMinor);
    const RequestCounters tCounters;
    ServerFixture t;
    pPrepare(t);
    t.tRequest.fOnCall = throwAt(n, pFailure);
    std::exception_ptr pCaught;
    try {
        t.run();
    } catch (...) {
        pCaught = std::current_exception();
    }
    const std::size_t nCalls = t.tLog.size();
    const bool bThrew = n < nCalls, bForbidden = bThrew && bMalicious && !t.bReturned;
    EXPECT_EQ(pCaught, bThrew && !bForbidden ? pFailure : nullptr);
    EXPECT_EQ(tCounters.rise(), bForbidden ? "completed 1, bad 1, failed 0, current 0"
                                           : "completed 1, bad 0, failed 0, current 0");
    if (bForbidden)
        EXPECT_THAT(t.tLog.back(), testing::StartsWith("endResponse "));
    else
        EXPECT_EQ(nCalls, bThrew ? n + 1 : nCalls) << "no call follows";
    EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 4711u);
    TWLogger::getLogger().logMessage(kSevError, {}, GDStringRef(L"end"), {});
    EXPECT_EQ(tLog.takeEntries().back(), "error root: end");
    return nCalls;
}

TEST(Request, NthCallThrowsForEveryNAndLeavesNothingBehind) {
    TimeoutConfig::setThreadDefaultTimeout(4711);
    const std::exception_ptr tFailures[] = {
        std::make_exception_ptr(std::bad_alloc()),
        std::make_exception_ptr(http::MaliciousInputException(GDString(L"attack")))};
    for (const auto& rKind : s_tKinds)
        for (const bool bMalicious : {false, true}) {
            const std::size_t nCalls =
                runThrowing(rKind.pPrepare, knUndeclared, tFailures[bMalicious], false);
            for (std::size_t n = 0; n < nCalls; ++n) {
                SCOPED_TRACE(testing::Message() << rKind.pName << ' ' << n << ' ' << bMalicious);
                const AllocationCounter tAllocations;
                runThrowing(rKind.pPrepare, n, tFailures[bMalicious], bMalicious);
                EXPECT_EQ(tAllocations.getLive(), 0);
            }
        }
}

TEST(Request, TenAtOnceRaiseThePeakAndRunUnderTheServersTimeout) {
    constexpr int knRequests = 10;
    ScriptedApplication tApplication;
    HttpServerInitContext tContext(tApplication);
    kiv::KIVHttpServer tServer(tContext);
    const RequestCounters tCounters;
    std::latch tAllInside(knRequests);
    tApplication.fGet = [&](auto&, auto&) {
        EXPECT_EQ(TimeoutConfig::getDefaultTimeout(), 600000u);
        tAllInside.arrive_and_wait();
        return ScriptedApplication::kOK;
    };
    {
        std::vector<std::jthread> tThreads;
        for (int n = 0; n < knRequests; ++n)
            tThreads.emplace_back([&] {
                const MemoryRequest tRequest;
                MemoryResponse tResponse;
                MemoryExchange tExchange(tRequest, tResponse);
                tServer.processRequest(tExchange.getRequest(), tExchange.getResponse());
            });
    }
    EXPECT_GE(performance::CounterRegistry::find("HttpServer/CurrentRequests").getCompanion(), knRequests);
    EXPECT_THAT(tCounters.rise(), testing::EndsWith("current 0"));
}

}  // namespace
