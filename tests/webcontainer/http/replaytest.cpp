#include <gtest/gtest.h>

#include <map>

#include "connectionrecords.h"
#include "inputfeeder.h"
#include "secondopinion.h"
#include "testserver.h"

namespace test {
namespace {

using EEnd = ConnectionRecord::EEnd;

/// What only a connection that is still open answers.
constexpr char s_ksProbe[] = "GET /probe HTTP/1.1\r\nHost: probe\r\nConnection: close\r\n\r\n";
constexpr char s_ksProbeAnswer[] = "200 GET /probe probe";

const std::vector<ConnectionRecord>& records() {
    static const std::vector<ConnectionRecord> s_tRecords = readConnectionRecords(TEST_CONNECTIONS);
    return s_tRecords;
}

/// The places to cut at: all, or of long bytes those around line ends.
std::vector<std::size_t> cuts(const std::string& sBytes, bool bLineEndsOnly) {
    std::vector<std::size_t> tCuts;
    for (std::size_t n = 1; n < sBytes.size(); ++n)
        if ((!bLineEndsOnly && sBytes.size() < 1000) || sBytes[n] == '\r' || sBytes[n - 1] == '\r')
            tCuts.push_back(n);
    return tCuts;
}

std::vector<std::string> expectedAnswers(const ConnectionRecord& r) {
    std::vector<std::string> tAnswers = r.tAnswers;
    if (r.eEnd == EEnd::kOpen) tAnswers.emplace_back(s_ksProbeAnswer);
    return tAnswers;
}

void checkPieces(const ConnectionRecord& r, std::size_t nFirst, std::size_t nRest) {
    InputFeeder tFeeder(webcontainer::Limits(), r.tMethods);
    tFeeder.feed(r.sBytes.substr(0, nFirst));
    for (std::size_t n = nFirst; n < r.sBytes.size(); n += nRest) {
        tFeeder.park();
        tFeeder.feed(r.sBytes.substr(n, nRest));
    }
    if (r.eEnd == EEnd::kCut) {
        EXPECT_TRUE(tFeeder.answers().empty() && !tFeeder.isClosed() && tFeeder.isWithinRequest());
        return;
    }
    tFeeder.feed(s_ksProbe);
    ASSERT_EQ(tFeeder.answers(), expectedAnswers(r)) << r.sTitle << " cut at " << nFirst;
}

TEST(Replay, ExactPiecesChangeNothing) {
    for (const ConnectionRecord& r : records()) {
        checkPieces(r, r.sBytes.size(), 1);
        checkPieces(r, 1, 1);
        for (const std::size_t n : cuts(r.sBytes, false))
            checkPieces(r, n, r.sBytes.size());
        if (HasFatalFailure()) return;
    }
}

TEST(Replay, AnotherParserReadsTheSame) {
    for (const ConnectionRecord& r : records())
        for (std::size_t n = 0; n != std::string::npos; n = r.sBytes.find('\n', n + 1))
            for (const std::size_t nPiece : {std::size_t{1}, r.sBytes.size()})
                EXPECT_TRUE(agree(std::string_view(r.sBytes).substr(n + (n != 0)), nPiece, {})) << r.sTitle;
}

/// The value of a field, or nothing.
std::string fieldOf(const std::string& sHead, const std::string& sName) {
    const std::size_t n = sHead.find("\r\n" + sName + ": ");
    return n == std::string::npos
               ? ""
               : sHead.substr(n + sName.size() + 4, sHead.find('\r', n + 2) - n - sName.size() - 4);
}

/// The answers in what a server sent: the status, and with 200 the body, or what stands in its place where
/// there is none; at the end what is none. Only a client that asked for the connection's end and goes on
/// sending may be reset.
std::vector<std::string> parseAnswers(std::string sAll) {
    std::vector<std::string> tAnswers;
    while (sAll.starts_with("HTTP/1.1 ")) {
        const std::string sStatus = sAll.substr(9, 3);
        const std::string sHead = sAll.substr(0, sAll.find("\r\n\r\n") + 4);
        const std::string sSaw = fieldOf(sHead, "Saw"), sAllow = fieldOf(sHead, "Allow");
        const std::string sLength = sSaw.empty() ? fieldOf(sHead, "Content-Length") : "";
        const std::size_t nBody = sLength.empty() ? 0 : std::stoul(sLength);
        std::string sAnswer = sStatus;
        if (!sSaw.empty() || !sAllow.empty())
            sAnswer += " " + sSaw + sAllow;
        else if (sStatus == "200")
            sAnswer += " " + sAll.substr(sHead.size(), nBody);
        if (sStatus >= "200") tAnswers.push_back(sAnswer);
        sAll.erase(0, sHead.size() + nBody);
        if (sStatus == "200" && sHead.find("Connection: close") != std::string::npos && sAll == "<reset>")
            sAll = "";
    }
    if (!sAll.empty()) tAnswers.push_back(sAll);
    return tAnswers;
}

class Player {
public:
    void play(const ConnectionRecord& r, std::size_t nFirst, std::size_t nRest) {
        Client tClient(server(r.tMethods));
        tClient.send(r.sBytes.substr(0, nFirst));
        for (std::size_t n = nFirst; n < r.sBytes.size(); n += nRest)
            tClient.send(r.sBytes.substr(n, nRest));
        if (r.eEnd == EEnd::kCut)
            tClient.finish();
        else
            tClient.send(s_ksProbe);
        ASSERT_EQ(parseAnswers(tClient.readAll()), expectedAnswers(r)) << r.sTitle << " cut at " << nFirst;
    }

private:
    static void describe(Request& r, Response& rResponse) {
        const std::string sBody = readBody(r);
        const std::string sSaw =
            describeRequest([&](const char* pName) { return variable(r, pName); }, sBody);
        if (sSaw.starts_with("HEAD ")) rResponse.addHeader("Saw", 3, sSaw.data(), sSaw.size());
        answer(rResponse, sSaw);
    }
    const Server& server(const webcontainer::MethodRules& r) {
        webcontainer::ContainerOptions tOptions = localOptions();
        tOptions.tRules.tMethods = r;
        return m_tServers.try_emplace({r.bHead, r.bStrict}, describe, tOptions).first->second;
    }

    std::map<std::pair<bool, bool>, Server> m_tServers;
};

TEST(Replay, AContainerAnswersAsRecorded) {
    Player tPlayer;
    for (const ConnectionRecord& r : records()) {
        tPlayer.play(r, r.sBytes.size(), 1);
        if (r.sBytes.size() < 1000) tPlayer.play(r, 1, 1);
        for (const std::size_t n : cuts(r.sBytes, true))
            if (!HasFatalFailure()) tPlayer.play(r, n, r.sBytes.size());
        if (HasFatalFailure()) return;
    }
    EXPECT_GE(records().size(), 120u);
}

}  // namespace
}  // namespace test
