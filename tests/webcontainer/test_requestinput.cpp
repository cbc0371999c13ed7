#include <gtest/gtest.h>

#include <algorithm>

#include "requestinput.h"

namespace {

using webcontainer::Limits;
using webcontainer::RequestHead;
using webcontainer::RequestInput;

Limits smallLimits() {
    Limits tLimits;
    tLimits.nMaxHeadBytes = 400;
    tLimits.nMaxHeaderFields = 4;
    tLimits.nPrefetchBytes = 1000;
    return tLimits;
}

/// Bytes into an input in pieces, the requests that come of them out as text.
class Feeder {
public:
    explicit Feeder(const Limits& rLimits) : m_pInput(std::make_unique<RequestInput>(rLimits, 2000)) {}

    void feed(std::string_view s) {
        while (!s.empty() && !m_bRefused) {
            const std::span<char> tRoom = m_pInput->room();
            const std::size_t nPiece = std::min(s.size(), tRoom.size());
            std::copy_n(s.data(), nPiece, tRoom.data());
            m_pInput->commit(nPiece);
            s.remove_prefix(nPiece);
            advance();
        }
    }
    void park() {
        if (!m_bRefused) m_pInput = m_pInput->detach();
    }
    const std::string& seen() const { return m_sSeen; }

private:
    void advance() {
        for (;;) {
            const RequestInput::EStatus eStatus = m_pInput->advance();
            if (eStatus == RequestInput::EStatus::kNeedMore) return;
            if (eStatus == RequestInput::EStatus::kRefused) {
                m_bRefused = true;
                m_sSeen += "refused " + std::to_string(m_pInput->getRefusal().nStatus) + "|";
                return;
            }
            describe();
            if (!m_pInput->isBodyReceived()) return;
            m_pInput->next();
        }
    }
    std::string text(const webcontainer::Stretch& r, const char* pAbsent) const {
        return r.nFrom == RequestHead::knNowhere ? pAbsent : std::string(m_pInput->text(r));
    }
    void describe() {
        const RequestHead& r = m_pInput->getHead();
        m_sSeen += text(r.tMethod, "") + " " + text(r.tPath, "/") + " " + text(r.tQuery, "-") + " ";
        for (const auto& rField : r.tFields)
            m_sSeen += text(rField.tName, "") + "=" + text(rField.tValue, "") + " ";
        if (r.bKeepAlive) m_sSeen += "keep ";
        m_pInput->settle();
        char tBody[2000];
        m_sSeen.append(tBody, m_pInput->takeBody(tBody, sizeof tBody));
        m_sSeen += "|";
    }

    std::unique_ptr<RequestInput> m_pInput;
    std::string m_sSeen;
    bool m_bRefused = false;
};

struct Case {
    const char* pWhat;
    std::string sInput;
    std::string sSeen;
};

const std::string s_ksGet = "GET / HTTP/1.1\r\nHost: h\r\n";

const std::vector<Case>& cases() {
    static const std::vector<Case> s_tCases = {
        {"plain", "GET /a?b=c HTTP/1.1\r\nHost: h\r\n\r\n", "GET /a b=c Host=h keep |"},
        {"no query, close", s_ksGet + "Connection: close\r\n\r\n", "GET / - Host=h Connection=close |"},
        {"empty query", "GET /? HTTP/1.0\r\n\r\n", "GET /  |"},
        {"1.0 keep-alive", "GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n",
         "GET / - Connection=keep-alive keep |"},
        {"absolute form", "GET http://x:1/p?q HTTP/1.1\r\nHost: h\r\n\r\n", "GET /p q Host=h keep |"},
        {"absolute, no path", "GET HTTP://x?q HTTP/1.1\r\nHost: h\r\n\r\n", "GET / q Host=h keep |"},
        {"empty lines before", "\r\n\r\nGET / HTTP/1.0\r\n\r\n", "GET / - |"},
        {"white space", "GET / HTTP/1.1\r\nHost: \t h \t\r\nE:\r\n\r\n", "GET / - Host=h E= keep |"},
        {"declared", "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n\r\nab\r\nc",
         "POST / - Host=h Content-Length=5 keep ab\r\nc|"},
        {"expects", s_ksGet + "Content-Length: 5\r\nExpect: 100-Continue\r\n\r\n",
         "GET / - Host=h Content-Length=5 Expect=100-Continue keep |"},
        {"chunked",
         s_ksGet +
             "Transfer-Encoding: CHUNKED\r\n\r\n3;x=\"y\"\r\nabc\r\nB\r\n01234\r\n6789\r\n0\r\nT: x\r\n\r\n",
         "GET / - Host=h Transfer-Encoding=CHUNKED keep abc01234\r\n6789|"},
        {"chunked, empty", s_ksGet + "Transfer-Encoding: chunked\r\n\r\n000\r\n\r\n",
         "GET / - Host=h Transfer-Encoding=chunked keep |"},
        {"pipelined",
         "GET /1 HTTP/1.0\r\nConnection: keep-alive\r\n\r\n" + s_ksGet +
             "Transfer-Encoding: chunked\r\n\r\n1\r\nz\r\n0\r\n\r\nGET /3 HTTP/1.0\r\n\r\n",
         "GET /1 - Connection=keep-alive keep |GET / - Host=h Transfer-Encoding=chunked keep z|GET /3 - |"},
        {"options", "OPTIONS * HTTP/1.0\r\n\r\n", "OPTIONS * - |"},
    };
    return s_tCases;
}

const std::vector<Case>& refusals() {
    static const std::vector<Case> s_tCases = {
        {"no host", "GET / HTTP/1.1\r\n\r\n", "400"},
        {"two hosts", s_ksGet + "Host: h\r\n\r\n", "400"},
        {"relative target", "GET x HTTP/1.0\r\n\r\n", "400"},
        {"no host in target", "GET http:///x HTTP/1.0\r\n\r\n", "400"},
        {"version", "GET / HTTP/2.0\r\n\r\n", "400"},
        {"no version", "GET /\r\n\r\n", "400"},
        {"bare line feed", "GET / HTTP/1.0\nA: b\r\n\r\n", "400"},
        {"space before colon", "GET / HTTP/1.0\r\nA : b\r\n\r\n", "400"},
        {"NUL in value", std::string("GET / HTTP/1.0\r\nA: \0\r\n\r\n", 25), "400"},
        {"fold", "GET / HTTP/1.0\r\nA: b\r\n c\r\n\r\n", "400"},
        {"fold behind nothing", "GET / HTTP/1.0\r\nA:\r\n c\r\n\r\n", "400"},
        {"fold of nothing", "GET / HTTP/1.0\r\nA:\r\n \r\nB: c\r\n\r\n", "400"},
        {"length no number", s_ksGet + "Content-Length: 1x\r\n\r\n", "400"},
        {"negative length", s_ksGet + "Content-Length: -1\r\n\r\n", "400"},
        {"huge length", s_ksGet + "Content-Length: 18446744073709551615\r\n\r\n", "413"},
        {"length too long", s_ksGet + "Content-Length: 18446744073709551616\r\n\r\n", "400"},
        {"two lengths", s_ksGet + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n", "400"},
        {"length and chunked", s_ksGet + "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n", "400"},
        {"chunked and length", s_ksGet + "Transfer-Encoding: chunked\r\nContent-Length: 1\r\n\r\n", "400"},
        {"gzip", s_ksGet + "Transfer-Encoding: gzip, chunked\r\n\r\n", "501"},
        {"chunked not last", s_ksGet + "Transfer-Encoding: chunked, gzip\r\n\r\n", "501"},
        {"chunked in 1.0", "POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n", "400"},
        {"chunk size", s_ksGet + "Transfer-Encoding: chunked\r\n\r\nx\r\n", "400"},
        {"chunk too long", s_ksGet + "Transfer-Encoding: chunked\r\n\r\n10000000000000000\r\n", "400"},
        {"chunk end", s_ksGet + "Transfer-Encoding: chunked\r\n\r\n1\r\nabc\r\n0\r\n\r\n", "400"},
        {"chunk extension",
         s_ksGet + "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(500, 'e') + "\r\nx", "400"},
        {"trailers",
         s_ksGet + "Transfer-Encoding: chunked\r\n\r\n0\r\nA: " + std::string(500, 'e') + "\r\n\r\n", "400"},
        {"request line", "GET /" + std::string(400, 'x') + " HTTP/1.0\r\n\r\n", "414"},
        {"header", s_ksGet + "A: " + std::string(400, 'x') + "\r\n\r\n", "431"},
        {"headers", s_ksGet + "A: " + std::string(190, 'x') + "\r\nB: " + std::string(190, 'x') + "\r\n\r\n",
         "431"},
        {"fields", s_ksGet + "A: 1\r\nB: 2\r\nC: 3\r\nD: 4\r\n\r\n", "431"},
    };
    return s_tCases;
}

TEST(RequestInput, FindsTheSameHoweverTheBytesAreDivided) {
    const Limits tLimits = smallLimits();
    for (const Case& r : cases()) {
        for (std::size_t n = 0; n <= r.sInput.size(); ++n) {
            Feeder tFeeder(tLimits);
            tFeeder.feed(std::string_view(r.sInput).substr(0, n));
            tFeeder.park();
            tFeeder.feed(std::string_view(r.sInput).substr(n));
            ASSERT_EQ(tFeeder.seen(), r.sSeen) << r.pWhat << " cut at " << n;
        }
        Feeder tFeeder(tLimits);
        for (const char c : r.sInput)
            tFeeder.feed({&c, 1});
        EXPECT_EQ(tFeeder.seen(), r.sSeen) << r.pWhat << " byte by byte";
    }
}

TEST(RequestInput, RefusesHoweverTheBytesAreDivided) {
    const Limits tLimits = smallLimits();
    for (const Case& r : refusals()) {
        for (std::size_t n = 0; n <= r.sInput.size(); ++n) {
            Feeder tFeeder(tLimits);
            tFeeder.feed(std::string_view(r.sInput).substr(0, n));
            tFeeder.park();
            tFeeder.feed(std::string_view(r.sInput).substr(n));
            ASSERT_EQ(tFeeder.seen(), "refused " + r.sSeen + "|") << r.pWhat << " cut at " << n;
        }
    }
}

TEST(RequestInput, HandsOverABodyOnlyWhenItIsCompleteOrLong) {
    const Limits tLimits = smallLimits();
    Feeder tDeclared(tLimits);
    tDeclared.feed(s_ksGet + "Content-Length: 1001\r\n\r\n" + std::string(1000, 'x'));
    EXPECT_EQ(tDeclared.seen(), "");
    tDeclared.feed("x");
    EXPECT_EQ(tDeclared.seen(), "GET / - Host=h Content-Length=1001 keep " + std::string(1001, 'x') + "|");
    const std::string sChunk = "80\r\n" + std::string(128, 'x') + "\r\n";
    Feeder tFeeder(tLimits);
    tFeeder.feed(s_ksGet + "Transfer-Encoding: chunked\r\n\r\n");
    for (int n = 0; n < 7; ++n)
        tFeeder.feed(sChunk);
    EXPECT_EQ(tFeeder.seen(), "");
    tFeeder.feed(sChunk);
    EXPECT_EQ(tFeeder.seen(),
              "GET / - Host=h Transfer-Encoding=chunked keep " + std::string(1024, 'x') + "|");
}

}  // namespace
