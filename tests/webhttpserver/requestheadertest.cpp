#include <gmock/gmock.h>

#include "serverfixture.h"
#include "support/recorders.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Texts = tl::vector<ZQWString>;

TEST(RequestHeaders, NamesMatchInAnyCaseAndKeepEveryValue) {
    StreamFixture t;
    t.tRequest.tHeaders = {{"X-A", "1"}, {"accept", "b"}, {"x-a", "2"}, {"Accept", "c"}, {"Accept", "d"}};
    ZQWString sValue(L"before");
    EXPECT_TRUE(t.tStream.getRequestHeader(L"x-A", sValue));
    EXPECT_EQ(sValue, L"1");
    Texts tValues{ZQWString(L"there")};
    EXPECT_TRUE(t.tStream.getRequestHeaders(L"X-a", tValues));
    EXPECT_TRUE(tValues == (Texts{L"there", L"1", L"2"}));
    Texts tNames;
    t.tStream.getRequestHeaderNames(tNames);
    EXPECT_TRUE(tNames == (Texts{L"accept", L"Accept", L"X-A", L"x-a"}));
    Texts tMore{ZQWString(L"accept")};
    t.tStream.getRequestHeaderNames(tMore);
    EXPECT_TRUE(tMore == (Texts{L"accept", L"Accept", L"X-A", L"x-a"}));
    EXPECT_EQ(t.tLog.size(), 6u) << "the headers are enumerated once";
}

TEST(RequestHeaders, AbsentOnesTouchNothing) {
    StreamFixture t;
    ZQWString sValue(L"before");
    Texts tValues{ZQWString(L"there")};
    EXPECT_FALSE(t.tStream.getRequestHeader(L"X", sValue));
    EXPECT_FALSE(t.tStream.getRequestHeaders(L"X", tValues));
    EXPECT_EQ(sValue, L"before");
    EXPECT_EQ(tValues.size(), 1u);
    EXPECT_FALSE(t.tStream.GetRequestHeader(L"X", sValue));
    EXPECT_TRUE(sValue.empty());
    EXPECT_THAT(t.tLog, ElementsAre("getFirstHeader 256 256"));
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

TEST(RequestHeaders, FailureInTheMiddleEndsTheEnumerationForGood) {
    StreamFixture t;
    t.tRequest.tHeaders = {{"A", "1"}, {"B", "2"}, {"C", "3"}};
    t.tRequest.nFailingHeader = 1;
    Texts tNames;
    t.tStream.getRequestHeaderNames(tNames);
    t.tRequest.nFailingHeader = static_cast<std::size_t>(-1);
    ZQWString sValue;
    EXPECT_FALSE(t.tStream.getRequestHeader(L"C", sValue));
    EXPECT_TRUE(tNames == (Texts{L"A"}));
}

TEST(RequestHeaders, BytesAreWidenedWithTheirSign) {
    StreamFixture t;
    t.tRequest.tHeaders = {{"A", "\xE9\x7F\x80"}};
    t.tRequest.sMethod = "G\xC9T";
    ZQWString sValue;
    t.tStream.getRequestHeader(L"A", sValue);
    EXPECT_THAT(std::vector<int>(sValue.begin(), sValue.end()), ElementsAre(-23, 127, -128));
    EXPECT_EQ(t.tStream.getRequestMethod()[1], -55);
}

TEST(ServerVariables, AreUtf8AndFetchedAnewEveryTime) {
    StreamFixture t;
    const std::string sLong(3000, 'u');
    t.tRequest.tVariables = {{"E", "\xC3\xA9"}, {"LONG", sLong}, {"EMPTY", ""}};
    ZQWString sValue(L"before");
    EXPECT_FALSE(t.tStream.GetServerVariable("NONE", sValue));
    EXPECT_EQ(sValue, L"before");
    EXPECT_TRUE(t.tStream.GetServerVariable("LONG", sValue));
    EXPECT_EQ(sValue.length(), sLong.size());
    EXPECT_TRUE(t.tStream.GetServerVariable("E", sValue));
    EXPECT_EQ(sValue, L"\u00e9");
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
