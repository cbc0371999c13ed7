#include <gtest/gtest.h>

#include "testserver.h"

namespace test {
namespace {

webcontainer::ContainerOptions trusting(const char* pNetworks) {
    webcontainer::ContainerOptions tOptions = localOptions();
    for (const std::string_view s : webcontainer::splitList(pNetworks))
        EXPECT_TRUE(tOptions.tTrustedProxies.add(s)) << s;
    return tOptions;
}

void answerOrigin(Request& r, Response& rResponse) {
    std::string sText;
    for (const char* pName : {"REMOTE_ADDR", "REMOTE_PORT", "HTTPS", "SERVER_NAME", "SERVER_PORT"})
        sText.append(sText.empty() ? "" : "|").append(variable(r, pName));
    answer(rResponse, sText);
}

std::string originOf(const Server& rServer, const std::string& sFields) {
    const std::string sAnswer = ask(rServer, "GET / HTTP/1.1\r\nHost: h\r\n" + sFields + "\r\n");
    return sAnswer.substr(sAnswer.find("\r\n\r\n") + 4);
}

TEST(Origin, OnlyWhatTrustedProxiesSayCounts) {
    const Server tServer(answerOrigin, trusting("127.0.0.0/8, 10.0.0.0/9 2001:db8::/33 unix:"));
    const std::string sPeer = "127.0.0.1|<port>|off|h|<server's>";
    const std::pair<std::string, std::string> tCases[] = {
        {"", sPeer},
        {"X-Forwarded-For: 192.0.2.1\r\n", "192.0.2.1||off|h|<server's>"},
        {"X-Forwarded-For: 6.6.6.6\r\nX-Forwarded-For: 192.0.2.1 , 10.127.0.1\r\nX-Forwarded-Proto: "
         "https\r\n",
         "192.0.2.1||on|h|443"},
        {"X-Forwarded-For: 10.128.0.1\r\nX-Forwarded-Proto: https, http\r\nX-Forwarded-Host: "
         "c:2,b:1,a.example:81\r\n",
         "10.128.0.1||off|a.example|81"},
        {"X-Forwarded-For: 10.0.0.2, 10.0.0.1\r\n", "10.0.0.2||off|h|<server's>"},
        {"X-Forwarded-For: 192.0.2.1:4000\r\nX-Forwarded-Host: [[[:::\r\n",
         "192.0.2.1|4000|off|h|<server's>"},
        {"X-Forwarded-For: ::ffff:192.0.2.1, 2001:db8:7fff::1\r\n", "192.0.2.1||off|h|<server's>"},
        {"X-Forwarded-For: 2001:db8:8000::1\r\n", "2001:db8:8000::1||off|h|<server's>"},
        // Nothing that is no address is passed over.
        {"X-Forwarded-For: 192.0.2.1, unknown, 10.0.0.1\r\nX-Forwarded-Proto: https\r\n", sPeer},
        {"X-Forwarded-For: 192.0.2.1,\r\n", "192.0.2.1||off|h|<server's>"},
        {"X-Forwarded-For: 192.0.2.1,,10.0.0.1\r\n", sPeer},
        {"X-Forwarded-For: 1.2.3\r\n", sPeer},
        // RFC 7239 sections 4 and 6
        {"Forwarded: for=6.6.6.6;proto=http, For=192.0.2.1;PROTO=HTTPS;host=\"b.example:444\";by=x, "
         "for=10.0.0.1\r\n",
         "192.0.2.1||on|b.example|444"},
        {"Forwarded: for=192.0.2.1;host=\"b.example:65536\";proto=https\r\n", "192.0.2.1||on|h|443"},
        {"Forwarded: for=\"[2001:db8:ffff::7]:4711\"\r\n", "2001:db8:ffff::7|4711|off|h|<server's>"},
        {"Forwarded: for=192.0.2.1\r\nX-Forwarded-For: 6.6.6.6\r\nX-Forwarded-Proto: https\r\n",
         "192.0.2.1||off|h|<server's>"},
        {"Forwarded: for=_hidden;proto=https\r\n", sPeer},
        {"Forwarded: proto=https\r\n", sPeer},
        {"Forwarded: for=2001:db8::1\r\n", sPeer},
        {"Forwarded: for=\"192.0.2.1\r\n", sPeer},
        {"Forwarded: for=6.6.6.6, for=\"192.0.2.1;, for=7.7.7.7\r\n", sPeer},
        {"Forwarded: for=192.0.2.1;for=192.0.2.2\r\n", sPeer},
    };
    const std::string sPort = std::to_string(tServer.m_tContainer.getAddress().portNumber());
    for (const auto& [sFields, sExpected] : tCases) {
        std::string sSeen = originOf(tServer, sFields);
        const std::size_t nPeerPort = sSeen.find('|') + 1;
        if (sExpected == sPeer) sSeen.replace(nPeerPort, sSeen.find('|', nPeerPort) - nPeerPort, "<port>");
        if (sSeen.ends_with("|" + sPort))
            sSeen.replace(sSeen.size() - sPort.size(), sPort.size(), "<server's>");
        EXPECT_EQ(sSeen, sExpected) << sFields;
    }
    const Server tOther(answerOrigin, trusting("128.0.0.0/8 127.0.0.2/32 ::/0 unix:"));
    EXPECT_TRUE(
        originOf(tOther, "X-Forwarded-For: 6.6.6.6\r\nForwarded: for=6.6.6.6\r\n").starts_with("127.0.0.1|"));
}

TEST(Origin, NetworksAreChecked) {
    for (const char* pBad :
         {"", "/8", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "::/129", "10.0.0/8", "unix", "[::1]"})
        EXPECT_FALSE(webcontainer::TrustedProxies().add(pBad)) << pBad;
}

}  // namespace
}  // namespace test
