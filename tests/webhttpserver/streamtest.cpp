#include <gmock/gmock.h>

#include "serverfixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Texts = tl::vector<ZQWString>;

TEST(Stream, IsSilentUntilItIsFlushedAndWhenItEnds) {
    const MemoryRequest tRequest;
    MemoryResponse tResponse;
    {
        MemoryExchange tExchange(tRequest, tResponse);
        kiv::KIVServerHttpStream tStream(tExchange.getRequest(), tExchange.getResponse(), {});
        EXPECT_FALSE(tStream.IsCommitted());
        EXPECT_EQ(tStream.getStatusCode(), 200u);
        tStream.addText(L"never sent");
        tStream.writeBinary("x", 1);
    }
    EXPECT_THAT(tResponse.tCalls, IsEmpty());
}

TEST(Stream, ResetTakesBackWhatItsFlagsName) {
    struct Case {
        ZQHttpStream::EResetFlag eFlag;
        const char* pBody;
        bool bHeadersCleared;
        std::size_t nOnLoad;
        unsigned int nStatus;
    };
    for (const Case& c : {Case{ZQHttpStream::kClearBuffer, "", false, 1, 202},
                          {ZQHttpStream::kClearHeader, "text", true, 1, 202},
                          {ZQHttpStream::kClearOnLoadFunc, "text", false, 0, 202},
                          {ZQHttpStream::kClearStatusCode, "text", false, 1, 200},
                          {ZQHttpStream::kClearResourceRefs, "text", false, 1, 202},
                          {ZQHttpStream::kClearAll, "", true, 0, 200}}) {
        SCOPED_TRACE(c.eFlag);
        StreamFixture t;
        AssertionRecorder tAssertions;
        t.tStream.addText(L"text");
        t.tStream.AddHeader(L"X", L"1");
        t.tStream.WindowOnLoadFunctions().push_back(L"f");
        t.tStream.SetContentType(L"text/html");
        t.tStream.setStatusCode(202);
        t.tStream.Reset(c.eFlag);
        EXPECT_EQ(t.tStream.WindowOnLoadFunctions().size(), c.nOnLoad);
        EXPECT_EQ(t.tStream.getStatusCode(), c.nStatus);
        EXPECT_EQ(t.tStream.GetContentType().empty(), c.bHeadersCleared);
        EXPECT_EQ(t.tLog.back() == "clearHeaders", c.bHeadersCleared);
        t.tStream.Flush();
        EXPECT_EQ(t.tResponse.sBody, c.pBody);
        EXPECT_THAT(tAssertions.takeTexts(), IsEmpty());
        t.tStream.Reset(c.eFlag);
        const std::vector<std::string> tReported(c.eFlag != ZQHttpStream::kClearBuffer,
                                                 "!m_bFlushed || eResetFlag == kClearBuffer");
        EXPECT_EQ(tAssertions.takeTexts(), tReported);
        EXPECT_EQ(t.tLog.back() == "clearHeaders", c.bHeadersCleared) << "carried out all the same";
        t.tStream.AddHeader(L"X", L"1");
        EXPECT_THAT(tAssertions.takeTexts(), ElementsAre("!m_bFlushed"));
        EXPECT_EQ(t.tLog.back(), "addHeader X: 1") << "sent all the same";
        auto tBreaches = std::exchange(t.tResponse.tBreaches, {});
        EXPECT_EQ(tBreaches.size(), c.bHeadersCleared ? 2u : 1u);
        EXPECT_EQ(tBreaches.back(), "addHeader: X follows the first flush");
    }
}

TEST(RequestHeaders, NamesMatchInAnyCaseAndKeepEveryValue) {
    StreamFixture t;
    t.tRequest.tHeaders = {{"X-A", "1"}, {"accept", "b"}, {"x-a", "2"}, {"Accept", "c"}, {"Accept", "d"}};
    ZQWString sValue(L"before");
    Texts tValues{ZQWString(L"there")}, tNames, tMore{ZQWString(L"accept")};
    // The third call of the provider throws: the enumeration starts over.
    t.tRequest.fOnCall = throwAt(2, std::make_exception_ptr(std::bad_alloc()));
    EXPECT_THROW(t.tStream.getRequestHeader(L"x-A", sValue), std::bad_alloc);
    EXPECT_TRUE(t.tStream.getRequestHeader(L"x-A", sValue));
    EXPECT_EQ(sValue, L"1");
    EXPECT_TRUE(t.tStream.getRequestHeaders(L"X-a", tValues));
    EXPECT_EQ(tValues, (Texts{L"there", L"1", L"2"}));
    t.tStream.getRequestHeaderNames(tNames);
    EXPECT_EQ(tNames, (Texts{L"accept", L"Accept", L"X-A", L"x-a"}));
    t.tStream.getRequestHeaderNames(tMore);
    EXPECT_EQ(tMore, tNames);
    EXPECT_FALSE(t.tStream.getRequestHeader(L"X", sValue));
    EXPECT_FALSE(t.tStream.getRequestHeaders(L"X", tValues));
    EXPECT_EQ(sValue, L"1") << "an absent one touches nothing";
    EXPECT_EQ(tValues.size(), 3u);
    EXPECT_FALSE(t.tStream.GetRequestHeader(L"X", sValue));
    EXPECT_TRUE(sValue.empty());
    EXPECT_EQ(t.tLog.size(), 3u + 6u) << "the headers are enumerated once";
}

TEST(RequestHeaders, LongOnesAreAskedForAgainWithTheRoomTheyNeed) {
    StreamFixture t;
    const std::string sLong(300, 'v'), sLonger(5000, 'w');
    t.tRequest.tHeaders = {{"A", sLong}, {std::string(600, 'n'), "x"}, {"B", sLonger}};
    ZQWString sValue;
    EXPECT_TRUE(t.tStream.getRequestHeader(L"b", sValue));
    EXPECT_EQ(sValue.length(), sLonger.size());
    EXPECT_TRUE(t.tStream.getRequestHeader(L"A", sValue));
    EXPECT_EQ(sValue.length(), sLong.size());
    EXPECT_THAT(t.tLog, ElementsAre("getFirstHeader 256 256", "getFirstHeader 256 300",
                                    "getNextHeader 256 256", "getNextHeader 600 256", "getNextHeader 256 256",
                                    "getNextHeader 256 5000", "getNextHeader 256 256"));
}

TEST(RequestHeaders, FailureEndsTheEnumerationForGood) {
    for (const std::size_t nFailing : {0u, 1u}) {
        StreamFixture t;
        t.tRequest.tHeaders = {{"A", "1"}, {"B", "2"}, {"C", "3"}};
        t.tRequest.nFailingHeader = nFailing;
        Texts tNames;
        t.tStream.getRequestHeaderNames(tNames);
        EXPECT_EQ(tNames.size(), nFailing);
        t.tRequest.nFailingHeader = MemoryRequest::knNever;
        t.tStream.getRequestHeaderNames(tNames);
        EXPECT_EQ(tNames.size(), nFailing);
    }
}

TEST(RequestHeaders, BytesAreWidenedWithTheirSign) {
    StreamFixture t{
        {.sMethod = std::string("G\xC9\0T", 4), .tHeaders = {{"A", std::string("\xE9\x7F\0\x80", 4)}}}};
    ZQWString sValue;
    t.tStream.getRequestHeader(L"A", sValue);
    EXPECT_THAT(std::vector<int>(sValue.begin(), sValue.end()), ElementsAre(-23, 127, 0, -128));
    sValue = t.tStream.getRequestMethod();
    EXPECT_THAT(std::vector<int>(sValue.begin(), sValue.end()), ElementsAre('G', -55, 0, 'T'));
}

TEST(ServerVariables, AreUtf8AndFetchedAnewEveryTime) {
    StreamFixture t;
    const std::string sLong(3000, 'u');
    t.tRequest.tVariables = {{"E", std::string("\xC3\xA9\0x", 4)}, {"LONG", sLong}};
    ZQWString sValue(L"before");
    EXPECT_FALSE(t.tStream.GetServerVariable("NONE", sValue));
    EXPECT_EQ(sValue, L"before");
    EXPECT_TRUE(t.tStream.GetServerVariable("LONG", sValue));
    EXPECT_EQ(sValue.length(), sLong.size());
    EXPECT_TRUE(t.tStream.GetServerVariable("E", sValue));
    EXPECT_EQ(sValue, std::wstring_view(L"\u00e9\0x", 3));
    EXPECT_THAT(t.tLog, ElementsAre("getServerVariable NONE 256", "getServerVariable LONG 256",
                                    "getServerVariable LONG 3000", "getServerVariable E 256"));
}

TEST(Body, ReadBinaryPassesTheProvidersAnswerOn) {
    StreamFixture t;
    t.tRequest.tBody = {"abc", ""};
    char tBuffer[8];
    EXPECT_EQ(t.tStream.ReadBinary(tBuffer, 2), 2u);
    EXPECT_EQ(t.tStream.ReadBinary(tBuffer, 8), 1u);
    EXPECT_EQ(t.tStream.ReadBinary(tBuffer, 8), 0u);
    EXPECT_EQ(t.tStream.ReadBinary(tBuffer, 8), 0u);
}

}  // namespace
