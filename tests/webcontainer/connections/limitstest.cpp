#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <deque>

#include "support/recorders.h"
#include "testserver.h"

namespace test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string sGet = "GET / HTTP/1.1\r\nHost: h\r\n\r\n";

void echo(Request& r, Response& rResponse) {
    answer(rResponse, readBody(r));
}

TEST(Limits, TheLastRequestOfAConnectionIsAnsweredAndSaysSo) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nMaxRequestsPerConnection = 3;
    Server tServer(echo, tLimits);
    const std::string sKept = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
    const std::string sLast = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    for (int n = 0; n < 2; ++n)  // the second time on a connection whose place has been used before
        EXPECT_EQ(withoutDates(ask(tServer, sGet + sGet + sGet + sGet)), sKept + sKept + sLast);
}

TEST(Limits, WhoeverIsRefusedWhileSendingCanReadTheAnswer) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nLingerTimeoutMs = webcontainer::Limits().nLingerTimeoutMs;
    webcontainer::ContainerOptions tOptions = localOptions(tLimits);
    tOptions.tRules.tMethods.bStrict = true;
    Server tServer([](Request&, Response&) { throw Exception(GDString(L"limit")); }, tOptions);
    tServer.m_tHandler.m_fIsBodyLimit = [](const Exception&) { return true; };
    const std::string sPost = "POST / HTTP/1.1\r\nHost: h\r\n";
    const struct {
        std::string sRequest;
        int nMore;  ///< bytes that follow it, in thousands
        const char* pStatus;
    } tCases[] = {
        {"GET /" + std::string(9000, 'x'), 200, "414 URI Too Long"},
        {sPost + "X: " + std::string(17000, 'x'), 200, "431 Request Header Fields Too Large"},
        {sPost + "Transfer-Encoding: chunked\r\n\r\nx", 200, "400 Bad Request"},
        {sPost + "Expect: x\r\nContent-Length: 200000\r\n\r\n", 200, "417 Expectation Failed"},
        {sPost + "Content-Length: 50000000\r\n\r\n" + std::string(100000, 'x'), 50000,
         "413 Content Too Large"},
        {"PUT" + sPost.substr(4) + "Content-Length: 200000\r\n\r\n" + std::string(70000, 'x'), 130,
         "405 Method Not Allowed"},
    };
    const std::string sThousand(1000, 'x');
    for (const auto& r : tCases) {
        Client tClient(tServer);
        bool bTaken = tClient.send(r.sRequest);
        EXPECT_TRUE(tClient.hasInput(5000)) << "the answer must not wait for the rest";
        for (int n = 0; n < r.nMore; ++n)
            bTaken = tClient.send(sThousand) && bTaken;
        EXPECT_TRUE(bTaken) << r.pStatus;
        EXPECT_THAT(tClient.readUntil("\r\n\r\n"),
                    testing::AllOf(StartsWith(std::string("HTTP/1.1 ") + r.pStatus),
                                   HasSubstr("\r\nConnection: close\r\n")));
        EXPECT_THAT(tClient.readAll(), EndsWith("\n"));
    }
}

TEST(Limits, DroppingWhatARefusedClientSendsIsBoundedInBytesAndTime) {
    for (const bool bBytes : {true, false}) {
        webcontainer::Limits tLimits = quickLimits();
        tLimits.nMaxConnections = 1;  // so that the next client is answered when this one's connection ends
        tLimits.nLingerTimeoutMs = bBytes ? 3600000 : 200;
        tLimits.nLingerBytes = bBytes ? 50 : 3600000;
        Server tServer(echo, tLimits);
        Client tClient(tServer);
        tClient.send("nonsense\r\n\r\n");
        EXPECT_THAT(tClient.readAll(), HasSubstr("400 Bad Request"));
        Client tNext(tServer);
        tNext.send("GET / HTTP/1.0\r\n\r\n");
        if (bBytes) tClient.send(std::string(49, 'x'));
        EXPECT_FALSE(tNext.hasInput(50));
        tClient.send("x");
        EXPECT_THAT(tNext.readAll(), StartsWith("HTTP/1.1 200"));
    }
}

TEST(Limits, AFullTableGivesUpTheOldestConnectionWithoutARequest) {
    const std::string sHalfBody = "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\nx";
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nMaxConnections = 3;
    for (const std::string& sOlder : {std::string(), std::string("GET / HT"), sGet, sHalfBody}) {
        Server tServer(echo, tLimits);
        const auto letNotice = [&](std::size_t nBodies, std::size_t nConnections) {
            waitFor([&] { return tServer.m_tContainer.countPhases()[4] == nBodies; });  // EPhase::kBody
            waitFor([&] { return tServer.m_tContainer.readStatistics().nConnections == nConnections; });
            ::usleep(20000);  // so that who comes next is younger
        };
        Client tBusy(tServer), tOlder(tServer);
        tBusy.send(sHalfBody);
        tOlder.send(sOlder);
        if (sOlder == sGet) tOlder.readResponse();
        letNotice(sOlder == sHalfBody ? 2 : 1, 2);
        Client tYounger(tServer);
        letNotice(sOlder == sHalfBody ? 2 : 1, 3);
        Client tNew(tServer);
        tNew.send(sGet);
        EXPECT_THAT(tNew.readResponse(), HasSubstr("200 OK")) << sOlder;
        Client& rGone = sOlder == sHalfBody ? tYounger : tOlder;
        Client& rKept = sOlder == sHalfBody ? tOlder : tYounger;
        EXPECT_EQ(rGone.readAll(), "") << sOlder;
        tNew.send(sHalfBody);
        if (sOlder != sHalfBody) rKept.send(sHalfBody);
        letNotice(3, 3);
        Client tLast(tServer);
        tLast.send(sGet);
        EXPECT_FALSE(tLast.hasInput(50)) << "all others have requests";
        for (Client* const p : {&tBusy, &rKept}) {
            p->send("y");
            EXPECT_THAT(p->readResponse(), EndsWith("xy")) << sOlder;
        }
        EXPECT_THAT(tLast.readResponse(), HasSubstr("200 OK")) << sOlder;
    }
}

TEST(Limits, AClientHasOnlySoManyConnections) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nMaxConnectionsPerClient = 2;
    for (const bool bTrusted : {false, true}) {
        LogRecorder tLog(kSevWarning);
        webcontainer::ContainerOptions tOptions = localOptions(tLimits);
        if (bTrusted) tOptions.tTrustedProxies.add("127.0.0.1");
        Server tServer(echo, tOptions);
        const auto now = [&] { return tServer.m_tContainer.readStatistics(); };
        const auto answered = [](Client& r) {
            r.send(sGet);
            return r.readResponse().starts_with("HTTP/1.1 200");
        };
        std::deque<Client> tClients;
        for (const bool bTaken : {true, true, bTrusted, bTrusted})
            EXPECT_EQ(answered(tClients.emplace_back(tServer)), bTaken);
        {
            Client tOther(tServer, 0, "127.0.0.2");
            EXPECT_TRUE(answered(tOther));
            EXPECT_EQ(now().nClients, bTrusted ? 1u : 2u);
        }
        tClients.pop_front();
        waitFor([&] { return now().nConnections == (bTrusted ? 3 : 1); });
        EXPECT_TRUE(answered(tClients.emplace_back(tServer)));
        EXPECT_EQ(now().nTooMany, bTrusted ? 0u : 2u);
        EXPECT_EQ(now().nClients, bTrusted ? 0u : 1u);
        EXPECT_EQ(tLog.takeEntries().size(), bTrusted ? 0u : 1u);
    }
}

TEST(Limits, AClientIsAnAddressOrANetworkOfIPv6) {
    webcontainer::ClientAccounts tAccounts(1);
    const std::pair<const char*, bool> tCases[] = {
        {"10.0.0.1", true},       {"10.0.0.2", true},        {"10.0.0.1", false},     {"2001:db8::1:0", true},
        {"2001:db8::2:0", false}, {"2001:db8:0:1::1", true}, {"2001:db9::1:0", true}, {"::1", true},
    };
    for (const auto& [pAddress, bTaken] : tCases) {
        webcontainer::SocketAddress tAddress;
        webcontainer::SocketAddress::parseHost(pAddress, tAddress);
        EXPECT_EQ(tAccounts.enter(tAddress) != nullptr, bTaken) << pAddress;
    }
}

}  // namespace
}  // namespace test
