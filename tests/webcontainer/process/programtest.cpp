#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <deque>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

#include "program.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// After its first 15 bytes, keys of its first table can stand.
constexpr char s_ksAnyPort[] =
    "[WebContainer]\nListen = \"127.0.0.1:0\"\nWorkers = 4\n[Admin]\nListen = \"127.0.0.1:0\"\n";

/// The address at the end of the program's next line.
webcontainer::SocketAddress readAddress(Program& rProgram, const std::string& sBefore) {
    const std::string sLine = rProgram.readLine();
    EXPECT_THAT(sLine, testing::MatchesRegex(sBefore + "127.0.0.1:[0-9]+/"));
    webcontainer::SocketAddress tAddress;
    webcontainer::SocketAddress::parse(sLine.substr(sBefore.size(), sLine.size() - sBefore.size() - 1),
                                       tAddress);
    return tAddress;
}

/// The program, serving.
struct RunningProgram {
    explicit RunningProgram(
        const std::string& sConfig = s_ksAnyPort, const std::function<void()>& fBeforeExec = [] {})
        : m_tProgram({"--config", m_tDirectory.write("c.toml", sConfig), "--app", TEST_APPLICATION},
                     fBeforeExec),
          m_tAddress(readAddress(m_tProgram, "webcontainer: serving http://")) {}

    TemporaryDirectory m_tDirectory;
    Program m_tProgram;
    const webcontainer::SocketAddress m_tAddress;
};

TEST(Program, ServesUntilItIsTold) {
    for (const int nSignal : {SIGTERM, SIGINT}) {
        const bool bOther = nSignal == SIGINT;  // than the defaults
        std::string sConfig = s_ksAnyPort;
        if (bOther) sConfig.insert(15, "Head = \"off\"\n");
        RunningProgram t(sConfig);
        EXPECT_THAT(ask(t.m_tAddress, "GET / HTTP/1.1\r\nHost: h\r\n\r\n"),
                    testing::EndsWith("\r\n\r\nhello"));
        EXPECT_THAT(ask(t.m_tAddress, "HEAD / HTTP/1.1\r\nHost: h\r\n\r\n"),
                    testing::AllOf(StartsWith(bOther ? "HTTP/1.1 400" : "HTTP/1.1 200"),
                                   testing::EndsWith("\r\n\r\n")));
        EXPECT_THAT(ask(t.m_tAddress, "GET /%2e%2e/ HTTP/1.1\r\nHost: h\r\n\r\n"),
                    StartsWith("HTTP/1.1 400"));
        EXPECT_THAT(ask(t.m_tAddress, "POST / HTTP/1.0\r\nContent-Length: 4\r\n\r\nbody"),
                    testing::EndsWith("body"));
        EXPECT_THAT(ask(t.m_tAddress, "POST / HTTP/1.0\r\n\r\n"), HasSubstr("Content-Length: 0"));
        EXPECT_THAT(ask(t.m_tAddress,
                        "POST / HTTP/1.0\r\nContent-Length: 10485760\r\n\r\n" + std::string(70000, 'b')),
                    testing::AllOf(StartsWith("HTTP/1.1 413"), HasSubstr("the body is too long\n")));
        const std::string sForm = "POST / HTTP/1.0\r\nContent-Type: multipart/form-data; boundary=X\r\n";
        const auto sPart = "--X\r\nContent-Disposition: x; name=a\r\n\r\n" + std::string(10 << 20, 'f');
        EXPECT_THAT(ask(t.m_tAddress, sForm + "Content-Length: 10485806\r\n\r\n" + sPart + "\r\n--X--"),
                    StartsWith("HTTP/1.1 200"));
        EXPECT_THAT(ask(t.m_tAddress, sForm + "Content-Length: 10485807\r\n\r\n" + sPart + "f\r\n--X--"),
                    StartsWith("HTTP/1.1 400"));
        t.m_tProgram.signal(nSignal);
        const std::string sErrors = t.m_tProgram.errors();
        EXPECT_EQ(t.m_tProgram.wait(), 0) << sErrors;
        EXPECT_THAT(sErrors, testing::Not(HasSubstr("serving"))) << "standard output has it";
    }
}

TEST(Program, AnswersEverywhereThoughFewDescriptorsAreAllowed) {
    RunningProgram t(s_ksAnyPort, [] {
        const rlimit tFew{64, 64};
        ::setrlimit(RLIMIT_NOFILE, &tFew);
    });
    const webcontainer::SocketAddress tAdmin = readAddress(t.m_tProgram, "webcontainer: status at http://");
    std::deque<Client> tIdle;
    for (int n = 0; n < 50; ++n) {
        tIdle.emplace_back(t.m_tAddress);
        tIdle.emplace_back(tAdmin).send("GET / HT");
    }
    EXPECT_THAT(ask(tAdmin, "GET /ready HTTP/1.0\r\n\r\n"), testing::EndsWith("ready"));
    EXPECT_THAT(ask(t.m_tAddress, "GET / HTTP/1.0\r\n\r\n"), testing::EndsWith("hello"));
    tIdle.clear();
    t.m_tProgram.signal(SIGTERM);
    EXPECT_EQ(t.m_tProgram.wait(), 0);
    const std::string sErrors = t.m_tProgram.errors();
    EXPECT_THAT(sErrors, HasSubstr("MaxConnections is lowered to 32: only 64 descriptors are allowed"));
    EXPECT_THAT(sErrors, testing::Not(HasSubstr("too many open files")));
}

TEST(Program, SaysInOneLineWhyItCannotStart) {
    TemporaryDirectory tDirectory;
    const std::string sLog = "[Log]\nFile = \"" + tDirectory.path("log") + "\"\n";
    const std::string sGood = tDirectory.write("good.toml", s_ksAnyPort + sLog);
    const std::string sApp = TEST_APPLICATION;
    using Arguments = std::vector<std::string>;
    auto config = [&, n = 0](std::string_view sText) mutable {
        return tDirectory.write(std::to_string(++n) + ".toml", sText);
    };
    const auto check = [&](std::string_view s) { return Arguments{"--check", "--config", config(s)}; };
    const auto start = [&](std::string_view s) { return Arguments{"--config", config(s), "--app", sApp}; };
    const auto load = [&](std::string_view s) {
        return Arguments{"--config", sGood, "--app", std::string(s)};
    };
    const auto listen = [&](std::string_view s) {
        return Arguments{"--config", sGood, "--app", sApp, "--listen", std::string(s)};
    };
    const RunningProgram tOther;
    const std::string sTaken = tOther.m_tAddress.text();
    const std::string sMinutes = "; write a whole number from 0 to 71582";
    std::ifstream tFile(sApp);
    const std::string sWhole{std::istreambuf_iterator<char>(tFile), {}};
    // The good application, in which a text of the file is another one.
    auto patched = [&, n = 0](std::string_view sOld, std::string_view sNew) mutable {
        std::string s = sWhole;
        for (auto nPlace = s.find(sOld); nPlace != std::string::npos; nPlace = s.find(sOld, nPlace))
            s.replace(nPlace, sOld.size(), sNew);
        return load(tDirectory.write(std::to_string(++n) + ".so", s));
    };
    const std::tuple<Arguments, int, std::string> tCases[] = {
        {{}, 2, "--config is required; see webcontainer --help"},
        {{"--config", sGood}, 2, "--app is required; see"},
        {{"--confg", sGood, "--app", sApp}, 2, "there is no option --confg; did you mean --config?; see"},
        {{"new", "a-b"}, 1, "\"a-b\" is no name for a class; take a letter, then"},
        {{"new", "1a"}, 1, "\"1a\" is no name for a class"},
        {{"new", ""}, 1, "\"\" is no name for a class"},
        {{"new", "test"}, 1, "\"test\" means something else to CMake or to headers; choose"},
        {{"new", "exception"}, 1, "\"exception\" means something else to"},
        {{"new"}, 2, "NAME is required; see"},
        {{"--config", "/nowhere/c", "--app", sApp}, 1, "/nowhere/c: the file cannot be read: No such file"},
        {start("a = [\nb"), 1, ".toml:2:"},
        {start("[WebContainer]\nListen = \"127.0.0.1:0\"\nWokers = 1\n"), 1,
         ".toml:3: there is no key WebContainer/Wokers; did you mean Workers?"},
        {check("DefaultTimeoutMinutes = 1\n[WebContainer]\nmaxheadbytes = 1"), 1,
         ":3: there is no key WebContainer/maxheadbytes; did you mean MaxHeadBytes?"},
        {check("[Log]\nSource = 1"), 1, ":2: there is no key Log/Source; did you mean Sources?"},
        {check("[ClientSideCaching.CacheControlHttpHeader]\nNoCahce = 1"), 1,
         ":2: there is no key ClientSideCaching/CacheControlHttpHeader/NoCahce; did you mean NoCache?"},
        {check("[WebContaner]"), 1, ":1: there is no key WebContaner; did you mean WebContainer?"},
        {check("[URL.x]"), 1, ":1: there is no key URL/x; known are MaxContentDispositionFilenameLength"},
        {check("[HTTP]\nThreads = 1"), 1,
         ":2: there is no key HTTP/Threads; known are DefaultTimeoutMinutes and "
         "LongRunningHTTPResponseTimeoutMinutes"},
        {start("WebContainer.Listen = \"127.0.0.1:0 x\"\n"), 1,
         "\"WebContainer/Listen\" cannot be used: element 2, \"x\", is no address; write one or more of"},
        {start("Log.Level = \"loud\"\n"), 1, "it is no severity; write debug,"},
        {start("HTTP.LongRunningHTTPResponseTimeoutMinutes = 71583\n"), 1, sMinutes},
        {check("DefaultTimeoutMinutes = 71583\n"), 1, sMinutes},
        {check("HTTP.DefaultTimeoutMinutes = -1\n"), 1, sMinutes},
        {check("WebContainer.Workers = 10001\n"), 1,
         "\"WebContainer/Workers\" is 10001; write a whole number from 0 to 10000"},
        {check("AccessLog.Format = \"Json\"\n"), 1, "; write combined or json"},
        {check("Log.MaxFiles = 200001\n"), 1, "; write a whole number from 0 to 200000"},
        {check("Multipart.MaxParts = -1\n"), 1, "number from 1 to 2147483647"},
        {check("WebContainer.Listen = \"0.0.0.0:9180\"\n"), 1,
         "\"Admin/Listen\" cannot be used: clients connect to 0.0.0.0:9180; choose another"},
        {check("\nLog.File = \"/dev/null/log\"\n"), 1,
         ".toml:2: the value of \"Log/File\" cannot be used: The log \"/dev/null/log\" cannot be opened"},
        {check("AccessLog.File = \"/nowhere/log\"\n"), 1,
         "cannot open the access log /nowhere/log: no such file"},
        {{"--config", sGood, "--watch", "--app", "libx.so"},
         1,
         "--watch needs a path with a slash, such as --app ./"},
        {{"--config", sGood, "--watch", "--app", "/nowhere/x.so"},
         1,
         "cannot watch the folder /nowhere: no such file or directory; name the library with --app"},
        {{"--config", sGood, "--watch", "--app", TEST_APPLICATION_OLD}, 1, "with contract 1; rebuild"},
        {listen(","), 1, "--listen: there is no address; write"},
        {{"--config", sGood, "--check", "--admin", "9180"}, 1, "--admin: it is no address; write"},
        {{"--config", sGood, "--check", "--listen", sTaken, "--admin", sTaken},
         1,
         "--admin: clients connect to"},
        {listen(sTaken), 1, "cannot listen on " + sTaken + ": address already in use; choose another"},
        {check("WebContainer.ErrorPages = \"/nowhere\"\n"), 1,
         "cannot read the error pages in /nowhere: no such"},
        {check("WebContainer.ServerField = \"a\\tb\"\n"), 1,
         "it holds more than letters, digits and signs of ASCII"},
        {check("WebContainer.ServerField = \"a \"\n"), 1, "it holds more than"},
        {check("WebContainer.ProxyProtocol = \"any\"\n"), 1, "nobody could connect; name the proxies"},
        {load("/nowhere/lib.so"), 1, "No such file or directory; name its shared object with --app"},
        {load(sGood), 1, "invalid ELF header; build it as a shared library on a machine like this one"},
        {load(tDirectory.write("cut1.so", sWhole.substr(0, 5000))), 1, "so: it is cut off; build it again"},
        {load(tDirectory.write("cut2.so", sWhole.substr(0, 200))), 1, "so: it is cut off; build it again"},
        {load(tDirectory.path()), 1, "it is no file; name its shared object with --app"},
        {patched({"\3\0\x3e\0\1\0\0\0", 8}, {"\3\0\xb7\0\1\0\0\0", 8}), 1,
         "it is for another kind of processor; build it as a shared library"},
        {patched("libzqhttpextension.so", "libzqhttpextensiox.so"), 1,
         ": it needs the library libzqhttpextensiox.so"},
        {patched("_ZN15HttpApplication4soap", "_ZN15HttpApplication4soup"), 1,
         "so needs HttpApplication::soup(ZQHttpStream&, HttpApplicationRequest const&), which neither"},
        {patched("zqCreateHttp", "zqCreateHtml"), 1, "so lacks the factory zqCreateHttpApplication; build"},
        {patched({"libstdc++\0", 10}, {"libc++\0\0\0\0", 10}), 1,
         "so was built with libc++, but this program with libstdc++; rebuild it with"},
        {load(TEST_APPLICATION_OLD), 1,
         "was built against webhttpserver 0.9.1 with contract 0, but this is webhttpserver 1.0.0 with "
         "contract 1; rebuild it against webhttpserver 1.0.0"},
        {load(TEST_NO_APPLICATION), 1, "lacks the record zqHttpApplicationRecord; build"},
        {load(TEST_APPLICATION_NULL), 1, "cannot start: its factory returned nothing; "},
        {{"--check", "--config", sGood, "--app", TEST_APPLICATION_THROWS}, 1, "cannot start: no database; "},
    };
    for (const auto& [rArguments, nExitCode, sLine] : tCases) {
        Program tProgram(rArguments);
        const std::string sErrors = tProgram.errors();
        EXPECT_EQ(tProgram.wait(), nExitCode) << sErrors;
        EXPECT_THAT(sErrors, testing::AllOf(StartsWith("webcontainer: "), HasSubstr(sLine)));
        EXPECT_EQ(std::count(sErrors.begin(), sErrors.end(), '\n'), 1) << sErrors;
        EXPECT_EQ(sErrors.find("--app") != std::string::npos, sLine.find("--app") != std::string::npos);
    }
    EXPECT_THAT(tDirectory.read("log"), HasSubstr("loading the application /nowhere/lib.so"));
}

TEST(Program, BeginsAnApplicationOrLeavesNothing) {
    TemporaryDirectory tDirectory;
    const auto begin = [&](rlim_t nMostBytes) {
        Program tProgram({"new", "sayHello"}, [&] {
            const rlimit tSize{nMostBytes, nMostBytes};
            ::setrlimit(RLIMIT_FSIZE, &tSize);
            static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
            if (::chdir(tDirectory.path().c_str()) != 0) ::_exit(126);
        });
        const std::string sSaid = tProgram.output() + tProgram.errors();
        return std::to_string(tProgram.wait()) + " " + sSaid;
    };
    EXPECT_THAT(begin(500), StartsWith("1 webcontainer: cannot write sayHello/sayHello.cpp: file too large"));
    EXPECT_THAT(begin(5000), StartsWith("0 webcontainer: sayHello/README.md says how"));
    EXPECT_THAT(begin(5000),
                StartsWith("1 webcontainer: cannot make the folder sayHello: file exists; choose"));
    EXPECT_THAT(tDirectory.read("sayHello/sayHello.cpp"), HasSubstr("\nZQ_HTTP_APPLICATION(SayHello)\n"));
    EXPECT_THAT(tDirectory.read("sayHello/README.md"), HasSubstr("--app build/libsayHello.so --watch\n"));
    EXPECT_EQ(::access(tDirectory.path("sayHello/pagetest.sh").c_str(), X_OK), 0);
}

TEST(Program, AnswersQuestionsAboutItself) {
    TemporaryDirectory tDirectory;
    const auto config = [&](const char* pName, const std::string& sFolder, const std::string& sMode) {
        return tDirectory.write(
            pName, "ClientSideCaching.GeneratedContentCaching = \"" + sMode + "\"\nLog.File = \"" +
                       tDirectory.path(sFolder + "log") + "\"\nAccessLog.File = \"" +
                       tDirectory.path(sFolder + "log") +
                       "\"\n[WebContainer]\nMaxConnections = 1\n[HTTP]\n"
                       "DefaultTimeoutMinutes = 71582\n[Log.Sources]\n\"a.b\" = \"info\"\n"
                       "[Features]\nx = true\n[Application.Any]\nx = 1\n");
    };
    tDirectory.write("log", "old");
    const std::tuple<std::vector<std::string>, std::string, std::string> tCases[] = {
        {{"--version"}, "webcontainer [0-9.]+ \\(commit ([0-9a-f]{12}[+]?|unknown); webhttpserver .*\\)", ""},
        {{"--help"}, "Serves an application over HTTP/1.1.", ""},
        {{"--check", "--config", TEST_SAMPLE_CONFIGURATION}, "webcontainer: .* can be used", ".*"},
        {{"--check", "--config", config("good", "new/", "NONE"), "--app", TEST_APPLICATION},
         "webcontainer: .*good can be used",
         ""},
        {{"--check", "--config", config("bad", "", "nostor")},
         "webcontainer: .* can be used",
         ".* warning webcontainer .*bad:1: \"nostor\" means nothing to "
         "ClientSideCaching/GeneratedContentCaching; did you mean nostore\\?\n"},
    };
    for (const auto& [rArguments, sLine, sError] : tCases) {
        Program tProgram(rArguments);
        EXPECT_THAT(tProgram.readLine(), testing::MatchesRegex(sLine));
        EXPECT_THAT(tProgram.errors(), testing::MatchesRegex(sError));
        EXPECT_EQ(tProgram.wait(), 0);
    }
    EXPECT_EQ(tDirectory.read("log"), "old");
    EXPECT_FALSE(std::filesystem::exists(tDirectory.path("new")));
}

TEST(Program, DocumentsEverySettingItReads) {
    std::multiset<std::string> tRead, tDocumented;
    const auto collect = [](std::istream& rLines, std::multiset<std::string>& rRows) {
        for (std::string sLine; std::getline(rLines, sLine);)
            if (sLine.starts_with("| `")) rRows.insert(sLine);
    };
    Program tProgram({"--settings"});
    std::istringstream tLines(tProgram.output());
    collect(tLines, tRead);
    EXPECT_EQ(tProgram.wait(), 0);
    std::ifstream tDocument(TEST_DOCUMENTS "/configuration.md");
    collect(tDocument, tDocumented);
    EXPECT_EQ(tRead, tDocumented);
    EXPECT_THAT(tRead, testing::Contains(StartsWith("| `URL/")));
}

TEST(Program, ReadsItsConfigurationAgain) {
    TemporaryDirectory tLogs;
    const auto config = [&](const char* pLevel) {
        return std::string(s_ksAnyPort).insert(15, "ErrorPages = \"" + tLogs.path("pages") + "\"\n") +
               ("[AccessLog]\nFile = \"" + tLogs.path("access") + "\"\n") +
               ("[Log]\nFile = \"" + tLogs.path("log") + "\"\nLevel = \"") + pLevel + "\"\n";
    };
    std::filesystem::create_directory(tLogs.path("pages"));
    RunningProgram t(config("warning"));
    const auto reload = [&](const std::string& sConfig, const char* pExpected) {
        t.m_tDirectory.write("c.toml", sConfig);
        std::filesystem::rename(tLogs.path("log"), tLogs.path("old"));
        t.m_tProgram.signal(SIGHUP);
        for (int n = 0; n < 500 && tLogs.read("log").find(pExpected) == std::string::npos; ++n)
            ::usleep(10000);
        return tLogs.read("log");
    };
    EXPECT_THAT(reload(config("debug"), "read again"),
                HasSubstr("until a restart keep their values: MultipartLimits, "
                          "kiv::KIVServerHttpStreamSettings, kiv::KIVHttpServer, and the tables"));
    std::filesystem::rename(tLogs.path("pages"), tLogs.path("gone"));
    EXPECT_THAT(reload("nonsense", "error pages"),
                testing::AllOf(HasSubstr("the configuration is kept as it was: "),
                               HasSubstr("the error pages are kept as they were: ")));
    EXPECT_THAT(ask(t.m_tAddress, "GET /old HTTP/1.0\r\n\r\n"), HasSubstr("hello"));
    std::filesystem::rename(tLogs.path("access"), tLogs.path("accessed"));
    EXPECT_THAT(reload(config("bad"), "kept"), HasSubstr("it is no severity"));
    const auto tStatus = readAddress(t.m_tProgram, "webcontainer: status at http://");
    EXPECT_THAT(ask(t.m_tAddress, "GET /new HTTP/1.0\r\n\r\n"), HasSubstr("hello"));
    EXPECT_THAT(ask(tStatus, "GET /metrics HTTP/1.0\r\n\r\n"),
                HasSubstr("\nhttpserver_completed_requests_total 2\n"));
    t.m_tProgram.signal(SIGTERM);
    EXPECT_EQ(t.m_tProgram.wait(), 0);
    EXPECT_THAT(tLogs.read("log"), HasSubstr(" ended"));
    EXPECT_THAT(tLogs.read("accessed"), HasSubstr("GET /old "));
    EXPECT_THAT(tLogs.read("access"), testing::AllOf(HasSubstr("GET /new "), testing::Not(HasSubstr("old"))));
    EXPECT_THAT(tLogs.read("log"),
                testing::AllOf(HasSubstr("Status Code: 200"), testing::Not(HasSubstr("hello"))));
}

TEST(Program, TellsWhatItDoesAndASecondSignalEndsItAtOnce) {
    TemporaryDirectory tLogs;
    RunningProgram t(s_ksAnyPort +
                     ("[AccessLog]\nFile = \"" + tLogs.path("access") + "\"\n[Log]\nFile = \"") +
                     tLogs.path("log") + "\"\n");
    ask(t.m_tAddress, "GET /before HTTP/1.0\r\n\r\n");
    const auto post = [](const char* pTarget, std::size_t nDeclared, std::size_t nSent) {
        return std::string("POST ") + pTarget +
               " HTTP/1.1\r\nHost: h\r\nContent-Length: " + std::to_string(nDeclared) + "\r\n\r\n" +
               std::string(nSent, 'b');
    };
    Client tHanging(t.m_tAddress), tSending(t.m_tAddress), tTaking(t.m_tAddress, 4096);
    tHanging.send(
        "GET /?hang HTTP/1.1\r\nHost: h\r\n"
        "traceparent: 00-0af7651916cd43dd8448eb211c80319c-b7ad6b7169203331-01\r\n\r\n");
    tSending.send(post("/sent", 100000, 90000));
    tTaking.send(post("/taken", 9000000, 9000000));
    EXPECT_THAT(tHanging.readUntil("hello"), HasSubstr("hello"));
    EXPECT_THAT(ask(t.m_tAddress, "GET / HTTP/1.0\r\n\r\n"), HasSubstr("hello"));
    const std::string sWorker = ".* warning webcontainer .* worker [0-9]+: request ";
    const std::string sId = "[0-9a-f]{32}, for [0-9]+ ms, ";
    const std::initializer_list<std::string> tExpected = {
        sWorker +
            "0af7651916cd43dd8448eb211c80319c, for [1-9][0-9]{0,3} ms, in the application: GET /.hang\n",
        sWorker + sId + "waiting for the client to send: POST /sent\n",
        sWorker + sId + "waiting for the client to take: POST /taken\n", " 1 of 4 workers run no request\n"};
    const auto isSaid = [&](const std::string& sLog) {
        return std::all_of(tExpected.begin(), tExpected.end(),
                           [&](const std::string& s) { return std::regex_search(sLog, std::regex(s)); });
    };
    for (int n = 0; n < 100 && !isSaid(tLogs.read("log")); ++n) {
        t.m_tProgram.signal(SIGQUIT);
        ::usleep(30000);
    }
    EXPECT_TRUE(isSaid(tLogs.read("log"))) << tLogs.read("log");
    EXPECT_THAT(tLogs.read("log"), HasSubstr(" serving http://"));
    t.m_tProgram.signal(SIGTERM);
    ::usleep(50000);
    std::filesystem::resize_file(tLogs.path("log"), 0);
    for (const int nSignal : {SIGHUP, SIGQUIT})
        t.m_tProgram.signal(nSignal);
    for (int n = 0; n < 500 && tLogs.read("log").find(" workers run no") == std::string::npos; ++n)
        ::usleep(10000);
    EXPECT_THAT(tLogs.read("log"),
                testing::ContainsRegex("worker [^\n]*\n[^\n]* 1 of 4 workers run no request\n$"));
    t.m_tProgram.signal(SIGINT);
    EXPECT_EQ(t.m_tProgram.wait(), 3);
    EXPECT_THAT(tLogs.read("log"),
                testing::ContainsRegex("[1-3] connections are given up [^:]*\n[^\n]* (worker|[1-3] of) "));
    EXPECT_THAT(tLogs.read("access"), HasSubstr("GET /before "));
}

/// What stands at a place that a crash report names: "MODULE 0xOFFSET".
std::string describeCode(const std::string& sPlace) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> p(
        ::popen(("addr2line -Cfie " + sPlace).c_str(), "r"), &::pclose);
    std::array<char, 1000> tText{};
    return {tText.data(), std::fread(tText.data(), 1, tText.size(), p.get())};
}

TEST(Program, SaysWhatItDiesOf) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "they report crashes themselves";
#endif
    const std::string sFault = "crash: [0-9]{4}(-[0-9]{2}){2}T[0-9:]{8}Z SIG";
    const std::string sId = "0af7651916cd43dd8448eb211c80319c";
    const std::string sRequest = "crash: request " + sId + ": GET /[?]";
    const std::string sRest = "&.x5cx{";  // of the first 48 bytes
    const std::string sExit = "the application has ended the process by exit[(][)], in GET / from 127.0.0.1:";
    const std::tuple<std::string, int, std::string, std::string> tCases[] = {
        {"null", -SIGSEGV, sFault + "SEGV at address 0x0 in thread [0-9]+\n",
         sRequest + "null" + sRest + "36}\n"},
        {"abort", -SIGABRT, sFault + "ABRT in thread [0-9]+\n", sRequest + "abort" + sRest + "35}\n"},
        {"thread", -SIGABRT, "what\\(\\):  lost\n", "crash: the thread runs no request\n"},
        {"recurse", -SIGSEGV, sFault + "SEGV at address 0x[0-9a-f]{6,}",
         sRequest + "recurse" + sRest + "33}\n"},
        {"exit", 4, sExit, "[(]request " + sId + "[)]\n"},
        {"quick_exit", 4, sExit, ""},
    };
    for (const auto& [sHow, nExitCode, sReason, sWork] : tCases) {
        TemporaryDirectory tLogs;
        const std::string sAccess = "[AccessLog]\nFile = \"" + tLogs.path("access") + "\"\n";
        RunningProgram t((nExitCode > 0 ? sAccess : "") + s_ksAnyPort + "[Log]\nFile = \"" +
                         tLogs.path("log") + "\"\n");
        ask(t.m_tAddress, "GET /before HTTP/1.0\r\n\r\n");
        const std::string sAnswer =
            ask(t.m_tAddress, "GET /?" + sHow + "&\\" + std::string(100, 'x') +
                                  " HTTP/1.0\r\ntraceparent: 00-" + sId + "-b7ad6b7169203331-01\r\n\r\n");
        const std::string sErrors = t.m_tProgram.errors();
        const std::string sSaid = sErrors + tLogs.read("log");
        EXPECT_EQ(t.m_tProgram.wait(), nExitCode) << sHow;
        EXPECT_THAT(sAnswer, testing::AnyOf("", "<reset>"));
        for (const std::string& s : {sReason, sWork})
            EXPECT_TRUE(std::regex_search(sSaid, std::regex(s))) << s << " is not in\n" << sSaid;
        if (nExitCode > 0) {
            EXPECT_THAT(tLogs.read("access"), HasSubstr("GET /before "));
            continue;
        }
        std::smatch tPlaces;
        EXPECT_TRUE(std::regex_search(
            sErrors, tPlaces,
            std::regex("crash: application " TEST_APPLICATION " at 0x[0-9a-f]+000\nwebcontainer: crash: in " +
                       std::string(nExitCode == -SIGSEGV ? "" : ".*/libc.so.6 [^]*crash: in ") +
                       "(" TEST_APPLICATION " 0x[0-9a-f]+)\n")))
            << sErrors;
        EXPECT_THAT(describeCode(tPlaces[1]), HasSubstr("testapplication.cpp")) << sErrors;
        EXPECT_THAT(tLogs.read("log"),
                    testing::EndsWith(sErrors.substr(sErrors.find("webcontainer: crash"))));
    }
    Program tCheck({"--check", "--config", TEST_SAMPLE_CONFIGURATION, "--app", TEST_APPLICATION},
                   [] { ::setenv("TEST_EXIT", "", 1); });
    EXPECT_THAT(tCheck.errors(), HasSubstr("the application has ended the process by exit(), in no request"));
    EXPECT_EQ(tCheck.wait(), 4);
}

}  // namespace
}  // namespace test
