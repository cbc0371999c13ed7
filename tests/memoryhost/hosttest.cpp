#include "support/manythreads.h"
#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

using namespace testing;
using kiv::HttpResponseProvider;

namespace {

/// Sends the query in two pieces, with a header of its own.
HttpApplication::EStatus echo(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
    rStream.AddHeader(L"X-Echo", L"1");
    rStream.AddHeader(L"x-echo", L"2");
    const auto sQuery = rRequest.sQueryString.view();
    rStream.writeBinary(sQuery.data(), 1);
    rStream.Flush();
    rStream.writeBinary(sQuery.data() + 1, sQuery.size() - 1);
    if (sQuery == "late") rStream.AddHeader(L"X-Late", L"1");
    if (sQuery == "throw") throw std::runtime_error("thrown");
    return HttpApplication::kOK;
}

TEST(Host, ReturnsWhatTheClientGot) {
    MemoryHost tHost(echo);
    const MemoryResponse tResponse = tHost.get("/a?bc");
    EXPECT_EQ(tResponse.describe(), "HTTP/1.1 200\nX-Echo: 1\nx-echo: 2\nLast-Modified: " +
                                        tResponse.getValues("last-modified").at(0) +
                                        "\nCache-Control: private\n\nbc\n");
    EXPECT_THAT(tResponse.tCalls,
                AllOf(Contains("getServerVariable URL 256"), Contains("addHeader X-Echo: 1"),
                      Contains("writeToBody b"), Contains("endResponse c")));
    EXPECT_THAT(tResponse, AllOf(HasStatus(200), HasStatus(Lt(300u)), HasHeader("x-ECHO", "2"), HasBody("bc"),
                                 IsWhole(), Not(IsAborted(_)), Not(HasHeader("X", _)), Not(HasBody("b"))));
    const MemoryResponse tEmpty =
        MemoryHost([](auto&, auto&) { return HttpApplication::kBadCommand; }).get("/");
    EXPECT_EQ(tEmpty.describe(), "HTTP/1.1 404\nContent-Length: 0\nCache-Control: private\n\n\n");
    EXPECT_TRUE(tEmpty.bError);
}

TEST(Host, TellsHowAResponseWasCut) {
    MemoryHost tHost(echo);
    using enum HttpResponseProvider::EResponseCode;
    const auto fThrow = [](const auto& rCalls) {
        if (rCalls.back() == "commitHeaders") throw 1;
    };
    const struct {
        MemoryRequest tRequest;
        const char *pBody, *pException;
        bool bCommitted, bEnded;
    } tCases[] = {
        {{.sTarget = "/?throw"}, "t", "thrown", true, false},
        {{.sTarget = "/?a", .tResults = {kRCClientDead}}, "", "Client no longer there.", false, false},
        {{.sTarget = "/?a", .tResults = {kRCOK, kRCError}},
         "",
         "Error in HttpResponseProvider.",
         true,
         false},
        {{.sTarget = "/?a", .tResults = {kRCOK, kRCOK, kRCError}}, "a", "", true, true},
        {{.sTarget = "/?a", .fOnCall = fThrow}, "", "an exception of an unknown type", false, false},
    };
    for (const auto& r : tCases) {
        const MemoryResponse tResponse = tHost.run(r.tRequest);
        EXPECT_THAT(tResponse, AllOf(HasBody(r.pBody), Not(IsWhole()), KeepsContract()));
        EXPECT_EQ(tResponse.sException, r.pException);
        EXPECT_EQ(std::pair(tResponse.bCommitted, tResponse.bEnded), std::pair(r.bCommitted, r.bEnded));
        EXPECT_EQ(tResponse.pException == nullptr, tResponse.sException.empty());
    }
}

TEST(Host, MatchesNothingOfAResponseWithABreach) {
    const MemoryResponse tResponse = MemoryHost(echo).get("/?late");
    EXPECT_THAT(tResponse.tBreaches, ElementsAre("addHeader: X-Late follows the first flush"));
    EXPECT_THAT(tResponse, Not(AnyOf(HasStatus(_), HasBody(_), HasHeader("X-Echo", _), IsWhole())));
    EXPECT_THAT(PrintToString(tResponse),
                HasSubstr("late\n(breach of the contract: addHeader: X-Late follows"));
    EXPECT_THAT(tResponse.getValues("X-Late"), IsEmpty()) << "the headers were out";
}

TEST(Host, RunsOneRequestOnManyThreads) {
    MemoryHost tHost(echo);
    const MemoryRequest tRequest{.sTarget = "/?abc"};
    test::onThreads(8, [&] { EXPECT_THAT(tHost.run(tRequest), AllOf(HasBody("abc"), IsWhole())); });
}

TEST(Host, BodiesArriveAsTheScriptDividesThem) {
    std::string sReads;
    MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        sReads.clear();
        char tBuffer[4];
        for (int nEnds = 0; nEnds < 2;) {
            const std::size_t n = rStream.ReadBinary(tBuffer, sizeof tBuffer);
            sReads.append(tBuffer, n) += '|';
            nEnds += n == 0;
        }
        return HttpApplication::kOK;
    });
    MemoryRequest tRequest = MemoryRequest::post("/", "text/plain", "abcdefg");
    const std::pair<MemoryRequest, const char*> tCases[] = {
        {tRequest, "abcd|efg|||"},
        {MemoryRequest(tRequest).divide(3), "abc|def|g|||"},
        {MemoryRequest(tRequest).divide(0), "a|b|c|d|e|f|g|||"},
        {MemoryRequest{.sMethod = "POST", .tHeaders = tRequest.tHeaders, .tBody = {"a", "", "b", "", "c"}}
             .vanishAfter(2),
         "a||b|"},
        {MemoryRequest(tRequest).divide(3).vanishAfter(4), "abc|d|"},
        {MemoryRequest(tRequest).vanishAfter(0), ""},
    };
    for (const auto& [rRequest, pReads] : tCases) {
        const MemoryResponse tResponse = tHost.run(rRequest);
        EXPECT_EQ(sReads, pReads);
        EXPECT_EQ(tResponse.sException, rRequest.bVanishes ? "The client has vanished." : "");
    }
}

}  // namespace
