#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "log/accesslog.h"
#include "requests/requestid.h"
#include "support/recorders.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using testing::ElementsAre;
using webcontainer::AccessLog;
using webcontainer::EAccessFormat;
using Json = nlohmann::json;

std::vector<std::string> linesOf(const std::string& sLog) {
    std::vector<std::string> tLines;
    std::istringstream tStream(sLog);
    for (std::string s; std::getline(tStream, s);)
        tLines.push_back(s);
    return tLines;
}

/// What a reader of the combined format makes of a line: texts in quotes are unescaped.
std::vector<std::string> parseCombined(const std::string& sLine) {
    std::vector<std::string> tFields(1);
    char cEnd = ' ';
    for (std::size_t n = 0; n < sLine.size(); ++n) {
        if (sLine[n] == cEnd && cEnd != ' ')
            cEnd = ' ';
        else if (sLine[n] == ' ' && cEnd == ' ')
            tFields.emplace_back();
        else if (tFields.back().empty() && cEnd == ' ' && (sLine[n] == '"' || sLine[n] == '['))
            cEnd = sLine[n] == '"' ? '"' : ']';
        else if (sLine.compare(n, 2, "\\x") == 0)
            tFields.back() +=
                static_cast<char>(std::stoi(sLine.substr(std::exchange(n, n + 3) + 2, 2), nullptr, 16));
        else
            tFields.back() += sLine[n];
    }
    return tFields;
}

std::string allBytes() {
    std::string s = "a";
    for (int n = 0; n < 256; ++n)
        s += static_cast<char>(n);
    return s + "\" 200 1 \"-\" \"-\"\n127.0.0.1 - - \\x41 \\";
}

webcontainer::AccessRecord recordOf(const std::string& sHostile) {
    webcontainer::AccessRecord r;
    r.nTimeMs = 1951091696007;
    r.sClient = "127.0.0.1";
    r.sMethod = "PO\"T";
    r.sTarget = r.sReferer = r.sUserAgent = sHostile;
    r.sProtocol = "HTTP/1.1";
    r.sRequestId = "0af7651916cd43dd8448eb211c80319c";
    r.nDurationUs = 815;
    r.bCut = true;
    return r;
}

TEST(AccessLine, NoClientByteForgesALine) {
    webcontainer::AccessLine tLine;
    const std::string sBytes = allBytes();
    const std::string sCombined(tLine.format(EAccessFormat::kCombined, recordOf(sBytes)));
    const auto isPrintable = [](char c) { return c >= ' ' && c < '\x7f'; };
    EXPECT_EQ(std::ranges::find_if_not(sCombined, isPrintable), sCombined.end() - 1);
    EXPECT_THAT(
        parseCombined(sCombined.substr(0, sCombined.size() - 1)),
        ElementsAre("127.0.0.1", "-", "-", "30/Oct/2031:01:54:56 +0000", "PO\"T " + sBytes + " HTTP/1.1", "-",
                    "0", sBytes, sBytes, "815", "0", "0af7651916cd43dd8448eb211c80319c", "cut"));
    const std::string sUtf8 = std::string(1, '\0') + "\"\\\n\r\t\x7F</é€\xE2\x80\xA8🌍";
    for (const std::string& sText : {sUtf8, sBytes}) {
        const std::string sJson(webcontainer::AccessLine().format(EAccessFormat::kJson, recordOf(sText)));
        EXPECT_EQ(sJson.find('\n'), sJson.size() - 1);
        const Json t = Json::parse(sJson);
        EXPECT_EQ(t["time"], "2031-10-30T01:54:56.007Z");
        EXPECT_EQ(t["status"], nullptr);
        EXPECT_EQ(t["target"] == sText, sText == sUtf8) << sJson;
        EXPECT_EQ(t["target"], t["user_agent"]);
    }
}

TEST(AccessLog, HasOneLineForEveryRequest) {
    TemporaryDirectory tDirectory;
    AccessLog tLog({tDirectory.path("log"), EAccessFormat::kJson});
    auto tLimits = quickLimits();
    tLimits.nHeadTimeoutMs = 50;
    std::string sSeenId;
    LogRecorder tFailures(kSevInfo);
    {
        Server tServer(
            [&](Request& r, Response& rResponse) {
                sSeenId = variable(r, "REQUEST_ID");
                const std::string sBody = readBody(r);
                if (sBody != "cut") return answer(rResponse, sBody);
                rResponse.setContentLength(10);
                rResponse.commitHeaders();
                rResponse.writeToBody("half", 4);
                throw std::runtime_error("half");
            },
            tLimits, 2, &tLog);
        ask(tServer, "GET /?\"\\ HTTP/1.0\r\nReferer: \"r\"\r\nUser-Agent: \xC3\xA9\r\n\r\n");
        ask(tServer,
            "POST /1 HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n3\r\none\r\n2\r\n, "
            "\r\n0\r\n\r\n"
            "POST /2 HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\nhi");
        ask(tServer, "POST /cut HTTP/1.0\r\nContent-Length: 3\r\n\r\ncut");
        const std::string sTrace =
            "Traceparent: 00-0af7651916cd43dd8448eb211c80319c-b7ad6b7169203331-00\r\n\r\n";
        ask(tServer, "GET /no-host HTTP/1.1\r\n" + sTrace);
        EXPECT_THAT(tFailures.takeEntries(),
                    testing::Contains(testing::HasSubstr("(request 0af7651916cd43dd8448eb211c80319c): 400")));
        ask(tServer, "\"\\x22\" nonsense\r\n\r\n");
        Client tSlow(tServer);
        tSlow.send("GET /slow HTTP/1.1\r\n");
        tSlow.readAll();
        ask(tServer, "GET /traced HTTP/1.0\r\n" + sTrace);
    }
    std::vector<std::vector<Json>> tSeen;
    for (const std::string& sLine : linesOf(tDirectory.read("log"))) {
        const Json t = Json::parse(sLine);
        tSeen.push_back({t["method"], t["target"], t["status"], t["received"], t["cut"]});
        EXPECT_EQ(t["client"], "127.0.0.1");
        EXPECT_EQ(t["request_id"].get<std::string>().size(), 32u);
        EXPECT_EQ(t["sent"] == 0, t["status"] == nullptr);
        EXPECT_LT(t["duration_us"], 5000000);
    }
    using Row = std::vector<Json>;
    EXPECT_THAT(tSeen,
                ElementsAre(Row{"GET", "/?\"\\", 200, 0, false}, Row{"POST", "/1", 200, 5, false},
                            Row{"POST", "/2", 200, 2, false}, Row{"POST", "/cut", 200, 3, true},
                            Row{"GET", "/no-host", 400, 0, false}, Row{nullptr, nullptr, 400, 0, false},
                            Row{"GET", "/slow", 408, 0, false}, Row{"GET", "/traced", 200, 0, false}));
    const Json tFirst = Json::parse(linesOf(tDirectory.read("log")).front());
    EXPECT_EQ(tFirst["referer"], "\"r\"");
    EXPECT_EQ(tFirst["user_agent"], "é");
    EXPECT_EQ(sSeenId, "0af7651916cd43dd8448eb211c80319c");
}

TEST(AccessLog, GoesOnAfterAMoveAndCountsWhatIsLost) {
    TemporaryDirectory tDirectory;
    AccessLog tLog({tDirectory.path("log"), EAccessFormat::kCombined});
    tLog.write("1\n");
    std::filesystem::rename(tDirectory.path("log"), tDirectory.path("old"));
    tLog.write("2\n");
    tLog.reopen();
    tLog.write("3\n");
    EXPECT_EQ(tDirectory.read("old"), "1\n2\n");
    EXPECT_EQ(tDirectory.read("log"), "3\n");
    EXPECT_EQ(tLog.getLost(), 0u);

    AccessLog tFull({"/dev/full", EAccessFormat::kCombined});
    Server tServer([](Request&, Response& rResponse) { answer(rResponse, "x"); }, quickLimits(), 2, &tFull);
    for (int n = 0; n < 3; ++n)
        EXPECT_THAT(ask(tServer, "GET / HTTP/1.0\r\n\r\n"), testing::EndsWith("\r\n\r\nx"));
    tServer.m_tContainer.drain(-1);
    EXPECT_EQ(tFull.getLost(), 3u);
}

TEST(RequestId, IsTheTraceIdOfAValidField) {
    const std::string sTrace = "0af7651916cd43dd8448eb211c80319c";
    const std::string sRest = "-b7ad6b7169203331-01";
    const std::string sZeros(32, '0');
    for (const std::string& sGood :
         {"00-" + sTrace + sRest, "cc-" + sTrace + sRest, "01-" + sTrace + sRest + "-x"})
        EXPECT_EQ(webcontainer::findTraceId(sGood), sTrace) << sGood;
    for (const std::string& sBad :
         {std::string(), "00-" + sTrace, "ff-" + sTrace + sRest, "00-" + sZeros + sRest,
          "00-" + sTrace + "-0000000000000000-01", "00-" + sTrace + sRest + "-x",
          "01-" + sTrace + sRest + "x", "00-0AF7651916cd43dd8448eb211c80319c" + sRest,
          "00-" + sTrace.substr(1) + "g" + sRest, "0g-" + sTrace + sRest,
          "00-" + sTrace + "-b7ad6b7169203331-0", "00_" + sTrace + sRest})
        EXPECT_EQ(webcontainer::findTraceId(sBad), "") << sBad;

    Server tServer([](Request& r, Response& rResponse) { answer(rResponse, variable(r, "REQUEST_ID")); });
    const auto idOf = [&](const std::string& sFields) {
        const std::string sResponse = ask(tServer, "GET / HTTP/1.0\r\n" + sFields + "\r\n");
        return sResponse.substr(sResponse.size() - 32);
    };
    const std::string sField = "traceparent: 00-" + sTrace + sRest + "\r\n";
    const std::set<std::string> tIds{idOf(sField), idOf(""), idOf(""), idOf(sField + sField), sZeros};
    EXPECT_EQ(tIds.size(), 5u);
    EXPECT_EQ(tIds.count(sTrace), 1u);
    for (const std::string& s : tIds)
        EXPECT_EQ(s.find_first_not_of("0123456789abcdef"), std::string::npos) << s;
}

}  // namespace
}  // namespace test
