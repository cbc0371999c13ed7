#include <gtest/gtest.h>

#include <unistd.h>
#include <chrono>

#include <set>

#include "connectionrecords.h"
#include "support/recorders.h"
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
    return bodyOf(ask(rServer, "GET / HTTP/1.1\r\nHost: h\r\n" + sFields + "\r\n"));
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

using webcontainer::EProxyProtocol;
using webcontainer::ProxyHeader;

webcontainer::ContainerOptions proxied(EProxyProtocol eSpoken,
                                       const webcontainer::Limits& rLimits = quickLimits()) {
    webcontainer::ContainerOptions tOptions = trusting("127.0.0.1 10.0.0.0/8");
    tOptions.eProxyProtocol = eSpoken;
    tOptions.tLimits = rLimits;
    return tOptions;
}

const std::string s_ksGet = "GET / HTTP/1.1\r\nHost: h\r\nX-Forwarded-For: 6.6.6.6\r\n\r\n";

TEST(Origin, AProxysHeaderSaysWhoConnected) {
    struct {
        std::string sSpoken;
        Server tServer;
    } tServers[] = {{"", {answerOrigin, proxied(EProxyProtocol::kAny)}},
                    {"v1", {answerOrigin, proxied(EProxyProtocol::kV1)}},
                    {"v2", {answerOrigin, proxied(EProxyProtocol::kV2)}}};
    for (const ConnectionRecord& r : readConnectionRecords(TEST_PROXY_HEADERS)) {
        for (const auto& [sSpoken, rServer] : tServers) {
            const bool bSpoken = r.sTitle.starts_with(sSpoken) && r.eEnd == ConnectionRecord::EEnd::kOpen;
            std::string sOrigin = bSpoken ? r.tAnswers.at(0) : "";
            if (sOrigin.ends_with("<port>"))
                sOrigin.replace(sOrigin.size() - 6, 6,
                                std::to_string(rServer.m_tContainer.getAddress().portNumber()));
            const bool bAllCuts = sSpoken.empty() && r.sBytes.size() < 300;
            for (std::size_t nCut = 0; nCut < r.sBytes.size() + 2; nCut += bAllCuts ? 1 : 200) {
                Client tClient(rServer);
                tClient.send((r.sBytes + s_ksGet).substr(0, nCut));
                tClient.send((r.sBytes + s_ksGet).substr(nCut));
                for (int n = 0; n < 2; ++n) {  // the second time without a header
                    if (n != 0) tClient.send(s_ksGet);
                    const std::string sSeen = sOrigin.empty() ? tClient.readAll() : tClient.readResponse();
                    ASSERT_EQ(bodyOf(sSeen), sOrigin) << r.sTitle << nCut;
                }
            }
        }
        for (std::size_t n = 0; n < r.sBytes.size() && r.eEnd == ConnectionRecord::EEnd::kOpen; ++n)
            ASSERT_EQ(ProxyHeader().parse(r.sBytes.substr(0, n), EProxyProtocol::kAny),
                      ProxyHeader::EParsed::kNeedMore)
                << r.sTitle;
    }
    auto& rContainer = tServers[0].tServer.m_tContainer;
    Client tHalf(tServers[0].tServer);
    tHalf.send("PROXY ");
    waitFor([&] { return rContainer.countPhases()[1] == 1; });
    const auto tStart = std::chrono::steady_clock::now();
    EXPECT_TRUE(rContainer.drain(-1));
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(2)) << "as of who sent nothing";
}

TEST(Origin, OnlyProxiesMayConnectAndTheirClientsAreCounted) {
    LogRecorder tLog(kSevWarning);
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nMaxConnectionsPerClient = 1;
    tLimits.nHeadTimeoutMs = 50;
    const Server tServer(answerOrigin, proxied(EProxyProtocol::kAny, tLimits));
    const std::string sOne = "PROXY TCP4 192.0.2.1 10.0.0.2 40000 443\r\n",
                      sOther = "PROXY TCP4 192.0.2.2 10.0.0.2 40000 443\r\n";
    {
        Client tOne(tServer), tAgain(tServer), tOther(tServer), tStranger(tServer, 0, "127.0.0.2"),
            tNext(tServer, 0, "127.0.0.2");
        for (Client* const p : {&tOne, &tOther}) {
            p->send((p == &tOne ? sOne : sOther) + s_ksGet);
            EXPECT_NE(bodyOf(p->readResponse()), "");
        }
        tAgain.send(sOne + s_ksGet);
        for (Client* const p : {&tAgain, &tStranger, &tNext})
            EXPECT_EQ(bodyOf(p->readAll()), "");
        EXPECT_EQ(tServer.m_tContainer.readStatistics().nClients, 2u);
        EXPECT_EQ(tServer.m_tContainer.readStatistics().nTooMany, 1u);
    }
    waitFor([&] { return tServer.m_tContainer.readStatistics().nClients == 0; });
    Client tAgain(tServer);
    tAgain.send(sOne + s_ksGet);
    EXPECT_NE(bodyOf(tAgain.readResponse()), "");
    for (const std::string& sPart : {std::string(), sOne.substr(0, 1), sOther}) {
        Client tSlow(tServer);
        tSlow.send(sPart.substr(0, 1));
        ::usleep(10000);
        tSlow.send(sPart.substr(std::min<std::size_t>(sPart.size(), 1)));
        EXPECT_TRUE(std::set<std::string>({"", "<reset>"}).contains(tSlow.readAll()))
            << "the deadline of a head is that of the header too";
    }
    Client tHalf(tServer);
    tHalf.send(sOne.substr(0, 9));
    ::usleep(10000);
    tHalf.finish();
    tHalf.readAll();
    ask(tServer, s_ksGet);
    const webcontainer::Statistics tAll = tServer.m_tContainer.readStatistics();
    EXPECT_EQ(tAll.nHeaderless, 2u) << "too late is not wrong, and half of it is";
    EXPECT_EQ(tAll.nStrangers, 2u);
    EXPECT_EQ(tLog.takeEntries().size(), 3u) << "one of each kind";
}

TEST(Origin, NetworksAreChecked) {
    for (const char* pBad :
         {"", "/8", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "::/129", "10.0.0/8", "unix", "[::1]"})
        EXPECT_FALSE(webcontainer::TrustedProxies().add(pBad)) << pBad;
}

}  // namespace
}  // namespace test
