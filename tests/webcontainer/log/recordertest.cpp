#include "log/recorder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "base/starterror.h"
#include "program.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using webcontainer::Recorder;
using webcontainer::RecorderSettings;

/// A folder of recordings, in the order in which they were written.
struct Folder : TemporaryDirectory {
    std::vector<std::string> files() const {
        std::vector<std::string> tFiles;
        for (const auto& r : std::filesystem::directory_iterator(path()))
            tFiles.push_back(r.path());
        std::ranges::sort(tFiles);
        return tFiles;
    }
    std::vector<Recording> recordings() const {
        std::vector<Recording> tRecordings;
        for (const std::string& s : files())
            tRecordings.push_back(Recording::read(read(s)));
        return tRecordings;
    }
    RecorderSettings settings() const { return {.sFolder = path()}; }
};

TEST(Recorder, KeepsSecretsToItself) {
    Recording t = Recording::read(R"(webcontainer recording 1
request GET / HTTP/1.1
header cookie: a
header Cookies: b
variable HTTP_PROXY_AUTHORIZATION: c
variable PROXY_AUTHORIZATION: d
+1 add COOKIE: e
+1 write 6 ok
| Cookie
+1 exception Cookie
+1 sent 200 whole
crc any
)");
    const std::vector<std::string> tNames{"Proxy-Authorization", "Cookie"};
    webcontainer::redact(t, tNames);
    EXPECT_THAT(t.write(),
                AllOf(HasSubstr("header cookie: (redacted)\nheader Cookies: b\n"
                                "variable HTTP_PROXY_AUTHORIZATION: (redacted)\n"
                                "variable PROXY_AUTHORIZATION: d\nlength 0\n+1 add COOKIE: (redacted)\n"),
                      HasSubstr("| Cookie\n+1 exception Cookie\n")));
    for (const auto& [sRaw, sKept] : std::initializer_list<std::pair<std::string, std::string>>{
             {"GET / HTTP/1.1\r\ncookie :a\tb\x01\xff\r\n \tc\r\nHost: h\r\n d\r\n",
              "GET / HTTP/1.1\r\ncookie :x\tx\x01x\r\n \tx\r\nHost: h\r\n d\r\n"},
             {"\r\nPROXY-AUTHORIZATION:\r\n d", "\r\nPROXY-AUTHORIZATION:\r\n x"},
             {"Cookie: a", "Cookie: x"},
             {"X: a\r\n Cook\x01ie:b\rcookie: c\r\rd", "X: a\r\n Cook\x01ie:x\rcookie: x\r\rd"},
             {"Cookie", "Cookie"},
             {"Cookie a:b c\r\r\n d\r\nCookie\r\ne", "Cookie xxx x\r\r\n x\r\nCookie\r\ne"},
             {":Cookie: a\n", ":Cookie: a\n"}}) {
        t.sRaw = sRaw;
        webcontainer::redact(t, tNames);
        EXPECT_EQ(t.sRaw, sKept);
    }
}

TEST(Recorder, WritesWhatTheDocumentShows) {
    std::ifstream tDocument(TEST_DOCUMENTS "/recording.md");
    std::vector<std::string> tExamples;
    bool bInside = false;
    for (std::string sLine; std::getline(tDocument, sLine);) {
        if (sLine == "webcontainer recording 1") tExamples.emplace_back(), bInside = true;
        bInside = bInside && sLine != "```";
        if (bInside) tExamples.back() += sLine + "\n";
    }
    ASSERT_EQ(tExamples.size(), 2u);
    for (const std::string& s : tExamples)
        EXPECT_EQ(Recording::read(s).write(), s);
}

TEST(Recorder, QueuesAsMuchAsItsBoundAllows) {
    webcontainer::RecordQueue tQueue;
    const auto fPush = [&](std::size_t nBytes) {
        auto p = std::make_unique<webcontainer::RecordingDraft>();
        const std::string sPart(nBytes / 3, 'p');
        p->tRecording.sRaw = p->tRecording.sTarget = sPart;
        p->addHeader("X", sPart);
        return tQueue.push(std::move(p));
    };
    constexpr std::size_t nMost = webcontainer::RecordQueue::s_knMostBytes;
    EXPECT_TRUE(fPush(nMost)) << "one has room in any case";
    EXPECT_FALSE(fPush(0));
    std::stop_source tStopped;
    tStopped.request_stop();
    EXPECT_TRUE(tQueue.pop(tStopped.get_token()));
    EXPECT_TRUE(fPush(nMost / 2) && fPush(nMost / 4));
    EXPECT_FALSE(fPush(nMost / 2));
    EXPECT_TRUE(tQueue.pop(tStopped.get_token()) && fPush(nMost / 2)) << "what is taken out makes room";
    EXPECT_TRUE(tQueue.pop(tStopped.get_token()) && tQueue.pop(tStopped.get_token()));
    EXPECT_FALSE(tQueue.pop(tStopped.get_token()));
}

TEST(Recorder, StopsWhenTheDiskIsFullAndLosesWhatTheFolderHasNoRoomFor) {
    const Folder tFolder;
    RecorderSettings tSettings = tFolder.settings();
    tSettings.nMaxFolderBytes = 10000;
    Recorder tRecorder(tSettings);
    const auto fTake = [&](std::size_t nBytes) {
        auto p = std::make_unique<webcontainer::RecordingDraft>();
        p->tRecording.tRefusal = {400, std::string(nBytes, 'r')};
        tRecorder.take(std::move(p));
        tRecorder.flush();
        return std::tuple(tRecorder.getWritten(), tRecorder.getLost(), tFolder.files().size());
    };
    using Counts = std::tuple<std::uint64_t, std::uint64_t, std::size_t>;
    EXPECT_EQ(fTake(100), Counts(1, 0, 1));
    rlimit tBefore{};
    ::getrlimit(RLIMIT_FSIZE, &tBefore);
    const auto pBefore = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit tFull{1000, tBefore.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &tFull);
    EXPECT_EQ(fTake(2000), Counts(1, 1, 1));
    ::setrlimit(RLIMIT_FSIZE, &tBefore);
    std::signal(SIGXFSZ, pBefore);
    EXPECT_EQ(fTake(100), Counts(1, 2, 1)) << "until it is told to go on";
    std::filesystem::remove_all(tFolder.path());
    std::filesystem::create_directory(tFolder.path());
    tRecorder.goOn();
    EXPECT_EQ(fTake(9200), Counts(2, 2, 1)) << "into the folder of now";
    EXPECT_EQ(fTake(700), Counts(2, 3, 1)) << "the folder is full";
    EXPECT_EQ(fTake(100), Counts(3, 3, 2));
    EXPECT_EQ(std::filesystem::status(tFolder.files()[0]).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    tSettings.sFolder = tFolder.path("none");
    EXPECT_THROW(Recorder{tSettings}, webcontainer::StartError);
}

/// Answers as the path says.
void answerByPath(Request& rRequest, Response& rResponse) {
    const std::string sPath = variable(rRequest, "URL");
    if (char* const p = rRequest.getQueryString().first; *p) *p = 'z';  // as who decodes it in place
    if (sPath == "/throw") throw std::runtime_error("no luck");
    if (sPath == "/read") readBody(rRequest), rResponse.addHeader("A", 1, sPath.c_str(), sPath.size());
    if (sPath == "/late") {
        answer(rResponse, "");
        throw std::runtime_error("too late");
    }
    if (sPath == "/head") {
        rResponse.setStatusCode(200);
        rResponse.commitHeaders();
        rResponse.writeToBody("b", 1);
        return;
    }
    if (sPath == "/large" || sPath == "/pieces") {
        rResponse.setStatusCode(200);
        rResponse.commitHeaders();
        for (int n = 0; n < 3000; ++n)
            rResponse.writeToBody(std::string(1000, 'b').data(), sPath == "/large" ? 1000 : 1);
        rResponse.endResponse("e", 1);
        return;
    }
    for (int n = 0; sPath == "/calls" && n < 2000; ++n)
        rResponse.clearHeaders();
    variable(rRequest, "HTTP_X");
    answer(rResponse, variable(rRequest, "HTTP_X"), sPath == "/500" ? 500 : 200);
}

TEST(Recorder, RecordsWhatItIsAskedFor) {
    const std::string tRequests[] = {"GET /200",          "GET /500",  "GET /throw",
                                     "GET /late",         "GET /head", "HEAD /head",
                                     "GET /bad HTTP/3.0", "OPTIONS *", "POST /read"};
    const auto fRecord = [&](RecorderSettings tSettings) {
        const Folder tFolder;
        tSettings.sFolder = tFolder.path();
        Recorder tRecorder(tSettings);
        {
            Server tServer(answerByPath, localOptions(quickLimits(), 1), nullptr, &tRecorder);
            for (const std::string& s : tRequests) {
                const std::string sVersion = s.ends_with("3.0") ? "" : " HTTP/1.0";
                const std::string sLength = s.starts_with("POST") ? "Content-Length: 70000\r\n" : "";
                ask(tServer, s + sVersion + "\r\nHost: h\r\nX: x\r\n" + sLength + "\r\n" +
                                 (sLength.empty() ? "" : std::string(69999, 'p')));
            }
        }
        tRecorder.flush();
        std::vector<std::string> tSaid;
        for (const Recording& r : tFolder.recordings())
            tSaid.push_back(r.tRefusal ? std::to_string(r.tRefusal->nStatus) + " refused"
                                       : std::to_string(r.nStatus) + (r.bWhole ? " " : " cut ") + r.sTarget);
        return tSaid;
    };
    EXPECT_THAT(fRecord({}), ElementsAre("500 /500", "500 /throw", "200 /late", "200 cut /head",
                                         "505 refused", "400 /read"));
    EXPECT_THAT(fRecord({.bFailedOnly = false}), testing::SizeIs(std::size(tRequests)));
    EXPECT_THAT(fRecord({.bFailedOnly = false, .nOneIn = 1000000}), testing::IsEmpty());
    const Folder tFolder;
    const RecorderSettings tSettings{.sFolder = tFolder.path(), .nOneIn = 4};
    Recorder tRecorder(tSettings);
    webcontainer::RecordShare tShare(&tRecorder);
    int tWatched[2] = {};
    for (int n = 0; n < 80000; ++n)
        tWatched[n % 2] += tShare.isNext();
    EXPECT_THAT(tWatched, testing::Each(AllOf(testing::Gt(9500), testing::Lt(10500))));
}

TEST(Recorder, KeepsNoMoreOfARequestThanItsBound) {
    const Folder tFolder;
    RecorderSettings tSettings = tFolder.settings();
    tSettings.bFailedOnly = false;
    tSettings.nMaxRequestBytes = 2048;
    Recorder tRecorder(tSettings);
    Server tServer(answerByPath, localOptions(), nullptr, &tRecorder);
    ask(tServer, "GET /large HTTP/1.0\r\n\r\n");
    ask(tServer, "GET /?q HTTP/1.1\r\nHost: h\r\nX: " + std::string(900, 'x') + "\r\n\r\n");
    ask(tServer, "GET / HTTP/1.7\r\nX: " + std::string(2100, 'x') + "\r\n\r\n");
    ask(tServer, "GET /calls HTTP/1.0\r\n\r\n");
    ask(tServer, "GET /pieces HTTP/1.0\r\n\r\n");
    ask(tServer, "POST /read HTTP/1.0\r\nContent-Length: 2044\r\n\r\n" + std::string(2044, 'p'));
    tRecorder.flush();
    const std::vector<Recording> tRecordings = tFolder.recordings();
    ASSERT_EQ(tRecordings.size(), 4u);
    EXPECT_EQ(tRecorder.getLost(), 2u) << "of a refused one, all or nothing; and calls without end";
    const std::string sLarge = tRecordings[0].write();
    EXPECT_THAT(sLarge, AllOf(HasSubstr(" commit ok\n"), HasSubstr(" write 2998000 ok omitted 2998\n"),
                              HasSubstr(" end 1 ok\n| e\n")));
    EXPECT_THAT(tRecordings[1].write(), HasSubstr("\nvariable QUERY_STRING: q\n"));
    EXPECT_THAT(tRecordings[1].tVariables.back(), testing::Pair("HTTP_X", std::string(900, 'x')));
    EXPECT_EQ(std::ranges::count(tRecordings[1].tVariables, "HTTP_X", [](const auto& r) { return r.first; }),
              1);
    EXPECT_THAT(tRecordings[2].write(), HasSubstr(" end 1 ok omitted\n")) << "as there are too many calls";
    EXPECT_THAT(tRecordings[1].write() + tRecordings[3].write(),
                AllOf(HasSubstr("end 900 ok\n"), HasSubstr(" add A: /read\n")));
}

/// Runs it to its end; what it says on both ways, and its exit code.
std::string replay(
    const std::vector<std::string>& rArguments, const std::function<void()>& fBeforeExec = [] {}) {
    Program tProgram(rArguments, fBeforeExec, TEST_REPLAY);
    std::string sSaid = tProgram.output();
    sSaid += tProgram.errors();
    return sSaid + "exit " + std::to_string(tProgram.wait());
}

TEST(Recorder, IsReplayedAsOftenAsIsWantedAndAtAnyTime) {
    const std::string sRecording = R"(webcontainer recording 1
time 2026-01-01T00:00:00.000000Z
request GET /?count HTTP/1.1
variable URL: /
variable QUERY_STRING: count
length none
+1 status 200
+1 announce 6
+1 add Last-Modified: Thu, 01 Jan 2026 00:00:00 GMT
+1 add Content-Type: text/plain; charset=utf-8
+1 add Expires: Thu, 01 Jan 2026 00:16:40 GMT
+1 add Cache-Control: private
+1 commit ok
+1 end 6 ok
| 1hello
+1 sent 200 whole
crc any
)";
    const Folder tFolder;
    const std::string sConfig = tFolder.write("c.toml", "[Features]\nLong = true\n");
    const struct {
        const char *pWhat, *pBy;
        std::vector<std::string> tMore;
        const char* pSays;
    } tRows[] = {
        {"", "", {}, " 1 are the same, 0 differ"},
        {"", "", {"--repeat", "2"}, "  then: 1hello\n  now:  2hello\n"},
        {"", "", {"--threads", "2"}, "  then: 1hello\n  now:  2hello\n"},
        {"00:16:40", "00:33:20", {"--config", sConfig}, " 1 are the same, 0 differ"},
        {"?count", "?count&late", {}, " 1 are the same, 0 differ"},
        {"00:16:40", "00:15:40", {}, "header field Expires differs"},
        {"Modified: Thu, 01", "Modified: Fri, 02", {}, "header field Last-Modified differs"},
        {"Modified: Thu, 01", "Modified: Fri, 02", {"--mask", "last-modified"}, " 1 are the same, 0 differ"},
    };
    for (const auto& r : tRows) {
        std::string sText = sRecording;
        sText.replace(sText.find(r.pWhat), std::string_view(r.pWhat).size(), r.pBy);
        std::vector<std::string> tArguments{tFolder.write("a.rec", sText), "--app", TEST_APPLICATION};
        tArguments.insert(tArguments.end(), r.tMore.begin(), r.tMore.end());
        EXPECT_THAT(replay(tArguments), HasSubstr(r.pSays)) << r.pBy;
    }
    const auto fFull = [] { ::dup2(::open("/dev/full", O_WRONLY), 1); };
    EXPECT_EQ(replay({tFolder.path("a.rec"), "--app", TEST_APPLICATION}, fFull),
              "webreplay: the result cannot be written\nexit 3");
    EXPECT_EQ(replay({"--seal", Folder().path()}), "exit 2") << "there is none";
}

TEST(Recorder, RecordsWhatWebreplayReproduces) {
    const Folder tFolder, tFiles;
    const std::string sConfig = tFiles.write(
        "c.toml",
        "[WebContainer]\nListen = \"127.0.0.1:0\"\nMaxRequestLineBytes = 99\nMethodNotAllowed = \"on\"\n"
        "[Admin]\nListen = \"127.0.0.1:0\"\n[Recording]\nWhich = \"all\"\nFolder = \"" +
            tFolder.path() + "\"\n");
    Program tServer({"--config", sConfig, "--app", TEST_SAMPLE});
    const auto fAddress = [&] {
        const std::string sLine = tServer.readLine();
        webcontainer::SocketAddress tAddress;
        const std::size_t nBegin = sLine.find("127.");
        webcontainer::SocketAddress::parse(sLine.substr(nBegin, sLine.find('/', nBegin) - nBegin), tAddress);
        return tAddress;
    };
    const webcontainer::SocketAddress tAddress = fAddress(), tAdmin = fAddress();
    const std::string sUpload = "--X\r\nContent-Disposition: form-data; name=\"f\"; filename=\"" +
                                std::string(200, 'n') + "\"\r\n\r\n\x01\xff binary\r\n--X--\r\n";
    const std::string sMultipart = "Content-Type: multipart/form-data; boundary=X\r\nContent-Length: ";
    const std::string sForm = "Content-Type: application/x-www-form-urlencoded\r\n";
    const std::string tRequests[] = {
        "GET /form?name=x%20y+z&%FF HTTP/1.1\r\nCookie: secret\r\n\r\n",
        "HEAD /text HTTP/1.1\r\n\r\n",
        "HEAD /slow HTTP/1.1\r\n\r\n",
        "GET http://h?a=b HTTP/1.1\r\n\r\n",
        "GET /request?a=b HTTP/1.1\r\nUser-Agent: me\r\nX: 1\r\nx: 2\r\n\r\n",
        "GET /charset?label=Shift_JIS HTTP/1.1\r\n\r\n",
        "GET /redirect?to=/text HTTP/1.1\r\n\r\n",
        "GET /missing HTTP/1.1\r\n\r\n",
        "GET /%2e%2e/ HTTP/1.1\r\n\r\n",
        "POST /form HTTP/1.1\r\n" + sForm + "Content-Length: 12\r\n\r\nname=W%C3%B6",
        "POST /form HTTP/1.1\r\n" + sForm +
            "Transfer-Encoding: chunked\r\n\r\n5\r\nname=\r\n1\r\nx\r\n0\r\n\r\n",
        "POST /files HTTP/1.1\r\nContent-Type: multipart/form-data\r\nContent-Length: 1\r\n\r\n-",
        "POST /files HTTP/1.1\r\n" + sMultipart + std::to_string(sUpload.size()) + "\r\n\r\n" + sUpload,
        "POST /files HTTP/1.1\r\n" + sMultipart + "200000\r\n\r\n" + sUpload.substr(0, sUpload.size() - 9) +
            std::string(70000, 'p'),
        // From here on, what the front end refuses.
        "GET /" + std::string(99, 'l') + " HTTP/1.1\r\n\r\n",
        "PUT / HTTP/1.1\r\n\r\n",
        "OPTIONS * HTTP/1.1\r\n\r\n",
        "GET / HTTP/1.1\r\nNo colon\r\n\r\n",
        "\r\n\r\n\r\n\r\n\r\nGET / HTTP/1.1\r\n\r\n",
        "POST /form HTTP/1.1\r\nContent-Length: 15\r\n\r\nname=",
        "POST /form HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nname=\r\nzz\r\n",
    };
    for (std::string s : tRequests) {
        s.insert(s.find(" HTTP/1.1\r\n") + 11, "Host: h\r\nConnection: close\r\n");
        ask(tAddress, s);
    }
    const std::string sCount = std::to_string(std::size(tRequests));
    // The last one may still be on its way to the disk.
    std::string sMetrics;
    for (int n = 0; n < 100 && sMetrics.find("_written_total " + sCount) == sMetrics.npos;
         ++n, ::usleep(10000))
        sMetrics = ask(tAdmin, "GET /metrics HTTP/1.0\r\n\r\n");
    EXPECT_THAT(sMetrics, AllOf(HasSubstr("\nwebcontainer_recordings_written_total " + sCount + "\n"),
                                HasSubstr("\nwebcontainer_recordings_lost_total 0\n")));
    tServer.signal(SIGTERM);
    EXPECT_EQ(tServer.wait(), 0);
    for (const std::string& s : tFolder.files())
        EXPECT_THAT(tFolder.read(s), Not(HasSubstr("secret")));

    const auto fReplay = [&](std::vector<std::string> tMore, const char* pApplication = TEST_SAMPLE) {
        tMore.insert(tMore.end(), {"--config", sConfig, "--app", pApplication});
        return replay(tMore);
    };
    const auto tIsSame = AllOf(testing::StartsWith("webreplay: of " + sCount + " recordings " + sCount +
                                                   " are the same, 0 differ, 0 cannot be used\n"),
                               testing::EndsWith("exit 0"));
    EXPECT_THAT(fReplay({tFolder.path()}), tIsSame);
    EXPECT_THAT(fReplay({tFolder.path(), "--repeat", "3", "--threads", "4"}), tIsSame);
    EXPECT_THAT(fReplay({tFolder.path()}, TEST_APPLICATION),
                AllOf(HasSubstr("-2.rec: HEAD /text\nheader field 1: Content-Security-Policy then, "),
                      HasSubstr("-8.rec: GET /missing\nstatus: 404 (as an error) then, 200 now\n"),
                      HasSubstr("exit 1"), Not(HasSubstr("refused"))));
    EXPECT_THAT(replay({tFolder.path(), "--app", TEST_SAMPLE}),
                AllOf(HasSubstr("refused: GET /lll"),
                      HasSubstr("refusal: 414 (the request line is too long) then, none now\n"),
                      HasSubstr("of 21 recordings 19 are the same, 2 differ")));

    // What was edited: by its first byte, and the request's line.
    const std::string sForms = tFolder.files()[0];
    std::string sText = tFolder.read(sForms);
    sText.replace(sText.find("<title>Form"), 11, "<title>F0rms");
    tFiles.write("edited", sText);
    EXPECT_THAT(fReplay({tFiles.path("edited")}),
                AllOf(HasSubstr("edited: line "), HasSubstr(" bytes end here"), HasSubstr("exit 2")));
    std::filesystem::permissions(tFiles.path("edited"), std::filesystem::perms::owner_all);
    EXPECT_EQ(replay({"--seal", tFiles.path("edited")}), "exit 0");
    EXPECT_EQ(std::filesystem::status(tFiles.path("edited")).permissions(),
              std::filesystem::perms::owner_all);
    EXPECT_THAT(fReplay({tFiles.path("edited")}),
                AllOf(HasSubstr("edited: GET /form?name=x%20y+z&%FF\nbody differs from byte 46 on, of "),
                      HasSubstr("\n  then: YPE html>\\n<html lang=\"en\"><head><title>F0rms</title>"),
                      HasSubstr("\n  now:  YPE html>\\n<html lang=\"en\"><head><title>Form</title>"),
                      HasSubstr("\n" + std::string(49, ' ') + "^\n"), HasSubstr("exit 1")));
    EXPECT_THAT(fReplay({tFiles.path("edited"), "--mask-regex", "F[0o]rms?"}), HasSubstr("exit 0"));
    sText.replace(sText.find("F0rms"), 5, std::string(300000, 'F') + "orm");
    sText.replace(sText.find("\ncrc"), std::string::npos, "\ncrc any\n");
    tFiles.write("edited", sText);
    EXPECT_THAT(fReplay({tFiles.path("edited"), "--mask-regex", "(F|x)+"}), HasSubstr("exit 0"));
    const struct {
        std::size_t nFile;
        const char *pWhat, *pBy, *pSays;
    } tEdits[] = {
        {0, "Options: no", "Options: yes", "header field X-Content-Type-Options differs from byte 0"},
        {0, "Options: nosniff", "Options: (redacted)", "exit 0"},
        {0, " announce ", " announce 9", "\nannounced length: 9"},
        {0, " end ", " write ", "response: left open then, ended now"},
        {6, " end 0 ok", " end 5 ok omitted", "length of the body: 5 then, 0 now"},
        {9, " body 12\n|", " body 12 omitted\n#", "bytes of the request's body were omitted"},
        {10, "length none", "length none", "exit 0"},
        {0, " end ", " exception x\n+9 end ", "exception: \"x\" then, none now"},
        {15, "refused 405 ", "refused 503 ", "exit 0"},
    };
    for (const auto& r : tEdits) {
        sText = tFolder.read(tFolder.files()[r.nFile]);
        ASSERT_THAT(sText, HasSubstr(r.pWhat)) << r.nFile;
        sText.replace(sText.find(r.pWhat), std::string_view(r.pWhat).size(), r.pBy);
        sText.replace(sText.find("\ncrc"), std::string::npos, "\ncrc any\n");
        EXPECT_THAT(fReplay({tFiles.write("edited", sText)}), HasSubstr(r.pSays)) << r.pBy;
    }
    EXPECT_THAT(fReplay({tFiles.path("none"), tFolder.path()}),
                AllOf(HasSubstr("21 are the same"), HasSubstr("exit 2")));
    EXPECT_THAT(fReplay({"--sanitize", tFolder.path()}, TEST_SAMPLE),
                HasSubstr(*TEST_SANITIZERS ? "exit 0" : "exit 3"));
    EXPECT_THAT(fReplay({tFolder.path()}, TEST_NO_APPLICATION),
                AllOf(HasSubstr("is no application"), HasSubstr("exit 3")));
}

}  // namespace
}  // namespace test
