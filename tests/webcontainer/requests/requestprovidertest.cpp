#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testserver.h"

namespace test {
namespace {

std::string seenBy(const std::function<std::string(Request&)>& f, const std::string& sRequest) {
    Server tServer([&](Request& r, Response& rResponse) { answer(rResponse, f(r)); });
    return bodyOf(ask(tServer, sRequest));
}

TEST(RequestProvider, ServerVariablesFollowTheirNames) {
    const std::string sRequest =
        "POST http://example.org:81/a%20b?q=1&r HTTP/1.1\r\nHost: other\r\nContent-Type: text/x\r\n"
        "X-A: 1\r\nx-a: 2\r\nX_A: forged\r\nCookie: a=b\r\nCookie: c=d\r\nContent-Length: 2\r\n\r\nhi";
    const std::pair<const char*, const char*> tCases[] = {
        {"URL", "/a%20b"},
        {"REQUEST_METHOD", "POST"},
        {"QUERY_STRING", "q=1&r"},
        {"SERVER_PROTOCOL", "HTTP/1.1"},
        {"SERVER_NAME", "example.org"},
        {"CONTENT_TYPE", "text/x"},
        {"CONTENT_LENGTH", "2"},
        {"REMOTE_ADDR", "127.0.0.1"},
        {"HTTPS", "off"},
        {"HTTP_X_A", "1, 2"},
        {"HTTP_COOKIE", "a=b; c=d"},
        {"HTTP_MISSING", "<none>"},
        {"http_x_a", "<none>"},
        {"", "<none>"},
    };
    for (const auto& [pName, pValue] : tCases)
        EXPECT_EQ(seenBy([p = pName](Request& r) { return variable(r, p); }, sRequest), pValue) << pName;
}

TEST(RequestProvider, SizesAreNegotiatedWithoutCopyingTooMuch) {
    const auto fTrace = [](Request& r) {
        std::string sTrace;
        char tName[300];
        char tValue[300];
        const auto step = [&](bool bFirst, std::size_t nName, std::size_t nValue, std::uint32_t& rCursor) {
            std::fill(std::begin(tName), std::end(tName), '-');
            std::fill(std::begin(tValue), std::end(tValue), '-');
            const int nResult = bFirst ? r.getFirstHeader(rCursor, tName, nName, tValue, nValue)
                                       : r.getNextHeader(rCursor, tName, nName, tValue, nValue);
            sTrace += std::to_string(nResult) + " " + std::to_string(nName) + " " + std::to_string(nValue) +
                      " " + std::string(tName, 5) + " " + std::string(tValue, 3) + "|";
        };
        std::uint32_t nCursor = 77;
        step(true, 3, 300, nCursor);
        step(true, 4, 0, nCursor);
        step(true, 4, 1, nCursor);
        step(false, 300, 299, nCursor);
        step(false, 300, 300, nCursor);
        step(false, 300, 300, nCursor);
        step(false, 300, 300, nCursor);
        r.closeHeaderEnum(nCursor);
        std::size_t nSize = 4;
        const int nResult = r.getServerVariable("URL", tValue, nSize);
        sTrace += std::to_string(nResult) + " " + std::to_string(nSize);
        return sTrace;
    };
    const std::string sLong(300, 'v');
    EXPECT_EQ(seenBy(fTrace, "GET /1234 HTTP/1.1\r\nHoSt: h\r\nB: " + sLong + "\r\nEmpt:\r\n\r\n"),
              "0 4 1 ----- ---|0 4 1 ----- ---|1 4 1 HoSt- h--|0 1 300 ----- ---|1 1 300 B---- vvv|"
              "1 4 0 Empt- ---|-1 300 300 ----- ---|0 5");
}

TEST(RequestProvider, TextsAreTerminatedAndLengthsKnownAsDeclared) {
    const auto fDescribe = [](Request& r) {
        const auto tQuery = r.getQueryString();
        const auto tMethod = r.getMethod();
        std::string s = std::string(tMethod.m_p) + std::to_string(tMethod.length()) + " " + tQuery.first +
                        " " + std::to_string(tQuery.second) + " ";
        s += r.isContentLengthKnown() ? std::to_string(r.getContentLength()) : "unknown";
        std::string sCopy(3, '\0');
        return s + " " + std::to_string(r.readFromBody(sCopy.data(), 0));
    };
    const std::string sEnd = " HTTP/1.1\r\nHost: h\r\n";
    EXPECT_EQ(seenBy(fDescribe, "GET /?ab" + sEnd + "\r\n"), "GET3 ab 2 0 0");
    EXPECT_EQ(seenBy(fDescribe, "POST /" + sEnd + "\r\n"), "POST4  0 0 0");
    EXPECT_EQ(seenBy(fDescribe, "M /" + sEnd + "Content-Length: 3\r\n\r\nabc"), "M1  0 3 0");
    EXPECT_EQ(seenBy(fDescribe, "M /" + sEnd + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n"),
              "M1  0 unknown 0");
}

}  // namespace
}  // namespace test
