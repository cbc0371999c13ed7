#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testserver.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

void addHeader(Response& r, std::string_view sName, std::string_view sValue) {
    r.addHeader(sName.data(), sName.size(), sValue.data(), sValue.size());
}

void write(Response& r, std::string_view s) {
    r.writeToBody(s.data(), s.size());
}

void end(Response& r, std::string_view s = {}) {
    r.endResponse(s.empty() ? nullptr : s.data(), s.size());
}

/// What a handler does with a path, so that one server serves all cases.
void respond(Request& rRequest, Response& r) {
    EXPECT_STREQ(rRequest.getMethod().m_p, "GET");
    const std::string sUrl = variable(rRequest, "URL");
    const auto is = [&](std::string_view s) { return sUrl == s; };
    if (is("/known")) return answer(r, "hello");
    if (is("/empty")) return answer(r, "");
    if (is("/204")) return answer(r, "dropped", 204);
    if (is("/205")) return answer(r, "", 205);
    if (is("/304")) return answer(r, "", 304);
    if (is("/299")) return answer(r, "x", 299);
    if (is("/99")) return answer(r, "x", 99);
    if (is("/thrown")) throw std::runtime_error("no luck");
    r.setStatusCode(200);
    if (is("/framed")) {
        for (const char* pName :
             {"Content-Length", "transfer-encoding", "Connection", "Keep-Alive", "Upgrade", "Fine"})
            addHeader(r, pName, "1");
    } else if (is("/split")) {
        addHeader(r, "A", "b\r\nSet-Cookie: evil");
        addHeader(r, "B\r\nC: d", "e");
        addHeader(r, "F", {"g\0h\n\x01\t\x1F\x20\x7F\x80", 10});
        addHeader(r, "G", "\x1F\t vectors of 16 bytes");
        addHeader(r, "H", "and what is behind\x7F");
        addHeader(r, "I", "a line feed\nin the midst");
        for (const char* pName : {"", "@t-the-start", "at-the-end:", "inthe\xADmiddle", "in the middle"})
            addHeader(r, pName, "i");
        addHeader(r, "n0t_usual~", "j");
        addHeader(r, "date", "today");
        addHeader(r, "SERVER", "own");
    } else if (is("/cleared")) {
        addHeader(r, "A", "b");
        addHeader(r, "Date", "today");
        addHeader(r, "Server", "own");
        r.clearHeaders();
        addHeader(r, "C", "d");
    }
    r.commitHeaders();
    if (is("/streamed")) {
        write(r, "hello ");
        write(r, "0123456789");
        return end(r, "!");
    }
    if (is("/flushed")) {
        write(r, "x");
        return end(r);
    }
    end(r, "late");
}

struct Case {
    const char* pRequest;
    const char* pResponse;
};

constexpr char s_ksOk[] = "HTTP/1.1 200 OK\r\n";

const Case s_tCases[] = {
    {"GET /known HTTP/1.1\r\nHost: h\r\n\r\n", "Content-Length: 5\r\n\r\nhello"},
    {"GET /known HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\n\r\nabc", "Content-Length: 5\r\n\r\nhello"},
    {"GET /empty HTTP/1.1\r\nHost: h\r\n\r\n", "Content-Length: 0\r\n\r\n"},
    {"GET /known HTTP/1.0\r\n\r\n", "Content-Length: 5\r\nConnection: close\r\n\r\nhello"},
    {"GET /known HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n",
     "Content-Length: 5\r\nConnection: keep-alive\r\n\r\nhello"},
    {"GET /known HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n",
     "Content-Length: 5\r\nConnection: close\r\n\r\nhello"},
    {"GET /streamed HTTP/1.1\r\nHost: h\r\n\r\n",
     "Transfer-Encoding: chunked\r\n\r\n6\r\nhello \r\na\r\n0123456789\r\n1\r\n!\r\n0\r\n\r\n"},
    {"GET /flushed HTTP/1.1\r\nHost: h\r\n\r\n", "Transfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n\r\n"},
    {"GET /streamed HTTP/1.0\r\nConnection: keep-alive\r\n\r\n",
     "Connection: close\r\n\r\nhello 0123456789!"},
    {"GET /late HTTP/1.1\r\nHost: h\r\n\r\n", "Content-Length: 4\r\n\r\nlate"},
    {"GET /framed HTTP/1.1\r\nHost: h\r\n\r\n", "Content-Length: 4\r\nFine: 1\r\n\r\nlate"},
    {"GET /split HTTP/1.1\r\nHost: h\r\n\r\n",
     "Content-Length: 4\r\nA: b  Set-Cookie: evil\r\nF: g h  \t   \x80\r\nG:  \t vectors of 16 bytes\r\nH: "
     "and what is behind \r\n"
     "I: a line feed in the midst\r\n"
     "n0t_usual~: j\r\ndate: today\r\nSERVER: own\r\n\r\nlate"},
    {"GET /cleared HTTP/1.1\r\nHost: h\r\n\r\n", "Content-Length: 4\r\nC: d\r\n\r\nlate"},
};

TEST(Framing, EveryResponseEndsWhereItSays) {
    Server tServer(respond);
    for (const Case& r : s_tCases) {
        const std::string sGet = r.pRequest;
        const std::string sWhole = std::string(s_ksOk) + r.pResponse;
        EXPECT_EQ(withoutDates(ask(tServer, sGet)), sWhole) << sGet;
        // Of a HEAD, the same head, and as much follows it on the connection (RFC 9110 section 9.3.2).
        const std::string sHead = sWhole.substr(0, sWhole.find("\r\n\r\n") + 4);
        const bool bKept = sHead.find("Connection: close") == std::string::npos;
        EXPECT_EQ(withoutDates(ask(tServer, "HEAD" + sGet.substr(3) + sGet)), bKept ? sHead + sWhole : sHead)
            << sGet;
    }
}

TEST(Framing, StatusesWithoutABodyHaveNone) {
    Server tServer(respond);
    Client tClient(tServer);
    const Case tCases[] = {
        {"/204", "HTTP/1.1 204 No Content\r\n\r\n"},
        {"/205", "HTTP/1.1 205 Reset Content\r\nContent-Length: 0\r\n\r\n"},
        {"/304", "HTTP/1.1 304 Not Modified\r\n\r\n"},
        {"/299", "HTTP/1.1 299 Success\r\nContent-Length: 1\r\n\r\nx"},
        {"/99", "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 1\r\n\r\nx"},
    };
    // All over one connection: a byte too many of one would stand before the next.
    for (const Case& r : tCases) {
        tClient.send(std::string("GET ") + r.pRequest + " HTTP/1.1\r\nHost: h\r\n\r\n");
        EXPECT_EQ(withoutDates(tClient.readResponse()), r.pResponse);
    }
}

TEST(Framing, PipelinedRequestsAreAnsweredInOrder) {
    Server tServer(
        [](Request& r, Response& rResponse) { answer(rResponse, variable(r, "URL") + readBody(r)); });
    std::string sRequests;
    std::string sResponses;
    for (int n = 0; n < 2000; ++n) {
        const std::string sUrl = "/" + std::to_string(n);
        const std::string sBody = std::to_string(n) + (n % 2 ? "odd" : "");
        sRequests += "POST " + sUrl +
                     " HTTP/1.1\r\nHost: h\r\nContent-Length: " + std::to_string(sBody.size()) + "\r\n\r\n" +
                     sBody;
        sResponses += s_ksOk;
        sResponses +=
            "Content-Length: " + std::to_string(sUrl.size() + sBody.size()) + "\r\n\r\n" + sUrl + sBody;
    }
    EXPECT_EQ(withoutDates(ask(tServer, sRequests)), sResponses);
}

TEST(Framing, AFalseLengthCutsTheConnection) {
    std::atomic<int> nResult = -1;
    Server tServer([&](Request& rRequest, Response& r) {
        r.setStatusCode(200);
        r.setContentLength(5);
        r.commitHeaders();
        if (variable(rRequest, "URL") == "/long") {
            write(r, "abc");
            nResult = r.writeToBody("def", 3);
        } else {
            write(r, "abc");
            nResult = r.endResponse("d", 1);
        }
    });
    for (const char* pUrl : {"/long", "/short"}) {
        const std::string sResponse =
            ask(tServer, std::string("GET ") + pUrl + " HTTP/1.1\r\nHost: h\r\n\r\n");
        EXPECT_THAT(sResponse, HasSubstr("<reset>")) << pUrl;
        EXPECT_EQ(nResult, Response::kRCError) << pUrl;
    }
}

TEST(Framing, AnErrorWithoutABodyGetsAPage) {
    Server tServer([](Request& rRequest, Response& r) {
        const std::string sUrl = variable(rRequest, "URL");
        r.setErrorStatusCode(static_cast<unsigned>(std::stoul(sUrl.substr(1, 3))));
        addHeader(r, "Content-Type", "application/x-thing");
        addHeader(r, "X", "kept");
        const std::string sBody = sUrl.substr(4);
        r.setContentLength(sBody.size());
        r.commitHeaders();
        end(r, sBody);
    });
    const auto get = [&](const char* pUrl) {
        return ask(tServer, std::string("GET ") + pUrl + " HTTP/1.0\r\n\r\n");
    };
    EXPECT_THAT(get("/404"),
                testing::AllOf(HasSubstr("X: kept\r\nContent-Type: text/plain"), Not(HasSubstr("x-thing"))));
    EXPECT_THAT(get("/500own"), testing::EndsWith("x-thing\r\nX: kept\r\n\r\nown"));
    EXPECT_THAT(get("/304"), testing::EndsWith("kept\r\n\r\n"));
    for (const std::string& sLine : {std::string("/404 HTTP/1.0"), std::string("/ HTTP/3.0"),
                                     std::string("x"), "/" + std::string(99999, 'x')})
        EXPECT_THAT(ask(tServer, "HEAD " + sLine + "\r\n\r\n"),
                    testing::ContainsRegex("^HTTP/1.1 (404|505|400|414) ([^\r\n]+\r\n)+\r\n$"));
}

TEST(Framing, EveryResponseSaysWhenAndWhatServedIt) {
    webcontainer::ContainerOptions tOptions = localOptions();
    tOptions.tRules.tMethods.bStrict = true;
    Server tSilent(respond, tOptions);
    tOptions.tRules.sServerField = "a/1 (b)";
    Server tServer(respond, tOptions);
    for (const char* pRequest :
         {"GET /known", "HEAD /known", "GET /streamed", "GET /204", "GET /304", "GET /cleared", "GET /thrown",
          "PUT /known", "NONE /", "OPTIONS *", "GET nonsense", "GET /late HTTP/1.1\r\nX"}) {
        const std::string sResponse = ask(tServer, std::string(pRequest) + " HTTP/1.0\r\n\r\n");
        EXPECT_THAT(sResponse, testing::ContainsRegex(
                                   "^HTTP/1.1 [1-5][0-9]{2} [A-Za-z -]+\r\nDate: [A-Z][a-z]{2}, [0-9]{2} "
                                   "[A-Z][a-z]{2} [0-9]{4} .{8} GMT\r\nServer: a/1 \\(b\\)\r\n"));
        EXPECT_EQ(sResponse.find("Date:"), sResponse.rfind("Date:")) << pRequest;
        EXPECT_THAT(ask(tSilent, std::string(pRequest) + " HTTP/1.0\r\n\r\n"), Not(HasSubstr("Server:")))
            << pRequest;
    }
    EXPECT_THAT(ask(tServer, "GET /split HTTP/1.0\r\n\r\n"),
                testing::AllOf(HasSubstr("\r\ndate: today\r\nSERVER: own\r\n"), Not(HasSubstr("Date:")),
                               Not(HasSubstr("Server"))));
}

}  // namespace
}  // namespace test
