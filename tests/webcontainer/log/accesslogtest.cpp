#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>

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
    r.tTimes = {28, 100, 667, 20};
    r.bCut = true;
    return r;
}

std::string format(EAccessFormat eFormat, const webcontainer::AccessRecord& r) {
    NarrowStringBuffer tBuffer;
    webcontainer::AccessLine().append(tBuffer, eFormat, r);
    return std::string(tBuffer.view());
}

/// The same line by the library for JSON.
std::string expectedJson(const webcontainer::AccessRecord& r) {
    const auto orNull = [](const auto& rValue) {
        return rValue == std::remove_cvref_t<decltype(rValue)>() ? nlohmann::ordered_json()
                                                                 : nlohmann::ordered_json(rValue);
    };
    return nlohmann::ordered_json{{"time", "2031-10-30T01:54:56.007Z"},
                                  {"client", orNull(r.sClient)},
                                  {"method", orNull(r.sMethod)},
                                  {"target", orNull(r.sTarget)},
                                  {"protocol", orNull(r.sProtocol)},
                                  {"status", orNull(r.nStatus)},
                                  {"received", r.nReceivedBytes},
                                  {"sent", r.nSentBytes},
                                  {"duration_us", 815},
                                  {"waiting_us", 28},
                                  {"receiving_us", 100},
                                  {"running_us", 667},
                                  {"sending_us", 20},
                                  {"referer", orNull(r.sReferer)},
                                  {"user_agent", orNull(r.sUserAgent)},
                                  {"request_id", r.sRequestId},
                                  {"cut", r.bCut}}
               .dump(-1, ' ', true, Json::error_handler_t::replace) +
           "\n";
}

TEST(AccessLine, NoClientByteForgesALine) {
    const std::string sBytes = allBytes();
    const std::string sCombined = format(EAccessFormat::kCombined, recordOf(sBytes));
    const auto isPrintable = [](char c) { return c >= ' ' && c < '\x7f'; };
    EXPECT_EQ(std::ranges::find_if_not(sCombined, isPrintable), sCombined.end() - 1);
    EXPECT_THAT(parseCombined(sCombined.substr(0, sCombined.size() - 1)),
                ElementsAre("127.0.0.1", "-", "-", "30/Oct/2031:01:54:56 +0000",
                            "PO\"T " + sBytes + " HTTP/1.1", "-", "0", sBytes, sBytes, "815", "0",
                            "0af7651916cd43dd8448eb211c80319c", "cut", "28", "100", "667", "20"));
    EXPECT_EQ(format(EAccessFormat::kJson, recordOf(sBytes)), expectedJson(recordOf(sBytes)));
    EXPECT_EQ(format(EAccessFormat::kJson, recordOf("")), expectedJson(recordOf("")));
    // The bounds of what is UTF-8, and bytes that need no escape in all positions between others.
    const std::string_view sPool(
        "\0\x1F "
        "\"\\/az~\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF4\xF5\xFF\n\r\t\b\f",
        33);
    std::minstd_rand tRandom(1);
    for (int nText = 0; nText < 20000; ++nText) {
        std::string sText;
        for (std::size_t n = tRandom() % 40; n-- > 0;)
            sText.append(tRandom() % 8 == 0 ? tRandom() % 20 : 1, sPool[tRandom() % sPool.size()]);
        auto tRecord = recordOf(sText);
        tRecord.nStatus = 200;
        tRecord.bCut = false;
        tRecord.sReferer = tRecord.sMethod = "";
        ASSERT_EQ(format(EAccessFormat::kJson, tRecord), expectedJson(tRecord));
    }
    for (const std::string sText :
         {"é€\xE2\x80\xA8🌍", "\xEF\xBB\xBF", "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"})
        EXPECT_EQ(Json::parse(format(EAccessFormat::kJson, recordOf(sText)))["target"], sText);
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
        if (t["target"] != "/?\"\\") continue;
        EXPECT_EQ(t["referer"], "\"r\"");
        EXPECT_EQ(t["user_agent"], "é");
    }
    using Row = std::vector<Json>;
    EXPECT_THAT(tSeen, testing::UnorderedElementsAre(
                           Row{"GET", "/?\"\\", 200, 0, false}, Row{"POST", "/1", 200, 5, false},
                           Row{"POST", "/2", 200, 2, false}, Row{"POST", "/cut", 200, 3, true},
                           Row{"GET", "/no-host", 400, 0, false}, Row{nullptr, nullptr, 400, 0, false},
                           Row{"GET", "/slow", 408, 0, false}, Row{"GET", "/traced", 200, 0, false}));
    EXPECT_EQ(sSeenId, "0af7651916cd43dd8448eb211c80319c");
}

TEST(AccessLog, GoesOnAfterAMoveAndCountsWhatIsLost) {
    TemporaryDirectory tDirectory;
    const auto add = [](webcontainer::AccessBlock& rBlock, std::string_view sTarget) {
        auto tRecord = recordOf("");
        tRecord.sTarget = sTarget;
        rBlock.add(tRecord);
    };
    const auto targetsOf = [&](const char* pName) {
        std::string s;
        for (const std::string& sLine : linesOf(tDirectory.read(pName)))
            s += parseCombined(sLine).at(4);
        return s;
    };
    {
        AccessLog tLog({tDirectory.path("log"), EAccessFormat::kCombined});
        webcontainer::AccessBlock tBlock(&tLog);
        add(tBlock, "1");
        std::filesystem::rename(tDirectory.path("log"), tDirectory.path("old"));
        add(tBlock, "2");
        tLog.reopen();
        EXPECT_EQ(targetsOf("old"), "PO\"T 1 HTTP/1.1PO\"T 2 HTTP/1.1");
        add(tBlock, std::string(32768, '3'));
        EXPECT_GT(tDirectory.read("log").size(), 32768u);  // a full block does not wait
        EXPECT_EQ(tLog.getLost(), 0u);
    }
    AccessLog tFull({"/dev/full", EAccessFormat::kCombined});
    {
        webcontainer::AccessBlock tBlock(&tFull);
        for (int n = 0; n < 3; ++n)
            add(tBlock, "x");
    }
    EXPECT_EQ(tFull.getLost(), 3u);

    // A line that was cut off costs no other line.
    const std::string sPipe = tDirectory.path("pipe");
    ASSERT_EQ(::mkfifo(sPipe.c_str(), 0600), 0);
    const webcontainer::FileDescriptor tReader(::open(sPipe.c_str(), O_RDONLY | O_NONBLOCK));
    ASSERT_EQ(::fcntl(tReader.get(), F_SETPIPE_SZ, 4096), 4096);
    AccessLog tLog({sPipe, EAccessFormat::kCombined});
    char tRead[8192];
    tLog.write(std::string(4000, '1') + "\n" + std::string(500, '2') + "\n3\n4\n");
    ASSERT_EQ(::read(tReader.get(), tRead, sizeof tRead), 4096);
    EXPECT_EQ(tLog.getLost(), 3u);
    tLog.write("5\n6\n");
    ASSERT_EQ(::read(tReader.get(), tRead, sizeof tRead), 5);
    EXPECT_EQ(std::string_view(tRead, 5), "\n5\n6\n");
}

TEST(AccessLog, ShowsALineSoonWhateverItsWorkerDoes) {
    TemporaryDirectory tDirectory;
    AccessLog tLog({tDirectory.path("log"), EAccessFormat::kCombined});
    const auto isThere = [&](const char* pTarget) {
        for (int n = 0; n < 100 && tDirectory.read("log").find(pTarget) == std::string::npos; ++n)
            ::usleep(10000);
        return tDirectory.read("log").find(pTarget) != std::string::npos;
    };
    Server tServer(
        [&](Request& r, Response& rResponse) {
            answer(rResponse, variable(r, "URL") == "/1" || isThere("/1") ? "yes" : "no");
        },
        quickLimits(), 1, &tLog);
    ask(tServer, "GET /1 HTTP/1.0\r\n\r\n");
    EXPECT_THAT(ask(tServer, "GET /2 HTTP/1.0\r\n\r\n"), testing::EndsWith("yes"));
    EXPECT_TRUE(isThere("/2"));
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
