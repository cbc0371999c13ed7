#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "program.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr char s_ksAnyPort[] =
    "[WebContainer]\nListen = \"127.0.0.1:0\"\nWorkers = 4\n[Admin]\nListen = \"127.0.0.1:0\"\n";

/// The program, serving.
class RunningProgram {
public:
    explicit RunningProgram(const std::string& sConfig = s_ksAnyPort)
        : m_sConfig(m_tDirectory.write("c.toml", sConfig)),
          m_tProgram({"--config", m_sConfig, "--app", TEST_APPLICATION}) {
        const std::string sLine = m_tProgram.readLine();
        const std::string sBefore = "webcontainer: serving http://";
        EXPECT_THAT(sLine, testing::MatchesRegex(sBefore + "127.0.0.1:[0-9]+/"));
        if (sLine.size() > sBefore.size())
            webcontainer::SocketAddress::parse(
                sLine.substr(sBefore.size(), sLine.size() - sBefore.size() - 1), m_tAddress);
    }

    TemporaryDirectory m_tDirectory;
    const std::string m_sConfig;
    Program m_tProgram;
    webcontainer::SocketAddress m_tAddress;
};

TEST(Program, ServesUntilItIsTold) {
    for (const int nSignal : {SIGTERM, SIGINT}) {
        RunningProgram t;
        EXPECT_THAT(ask(t.m_tAddress, "GET / HTTP/1.1\r\nHost: h\r\n\r\n"),
                    testing::EndsWith("\r\n\r\nhello"));
        EXPECT_THAT(ask(t.m_tAddress, "HEAD / HTTP/1.1\r\nHost: h\r\n\r\n"), StartsWith("HTTP/1.1 400"));
        EXPECT_THAT(ask(t.m_tAddress, "GET /%2e%2e/ HTTP/1.1\r\nHost: h\r\n\r\n"),
                    StartsWith("HTTP/1.1 400"));
        EXPECT_THAT(ask(t.m_tAddress, "POST / HTTP/1.0\r\nContent-Length: 4\r\n\r\nbody"),
                    testing::EndsWith("body"));
        EXPECT_THAT(ask(t.m_tAddress, "POST / HTTP/1.0\r\n\r\n"), HasSubstr("Content-Length: 0"));
        EXPECT_THAT(ask(t.m_tAddress,
                        "POST / HTTP/1.0\r\nContent-Length: 10485760\r\n\r\n" + std::string(70000, 'b')),
                    testing::AllOf(StartsWith("HTTP/1.1 413"), testing::EndsWith("the body is too long\n")));
        t.m_tProgram.signal(nSignal);
        EXPECT_EQ(t.m_tProgram.wait(), 0) << t.m_tProgram.errors();
    }
}

TEST(Program, SaysInOneLineWhyItCannotStart) {
    TemporaryDirectory tDirectory;
    const std::string sLog = "[Log]\nFile = \"" + tDirectory.path("log") + "\"\n";
    const std::string sGood = tDirectory.write("good.toml", s_ksAnyPort + sLog);
    auto config = [&, n = 0](std::string_view sText) mutable {
        return tDirectory.write(std::to_string(++n) + ".toml", sText);
    };
    RunningProgram tOther;
    const std::string sTaken = tOther.m_tAddress.text();
    const std::string sApp = TEST_APPLICATION;
    const std::string sMinutes = "; write a whole number from 0 to 71582";
    const struct {
        std::vector<std::string> tArguments;
        int nExitCode;
        std::string sLine;
    } tCases[] = {
        {{}, 2, "--config is required; see webcontainer --help"},
        {{"--config", sGood}, 2, "--app is required; see"},
        {{"--confg", sGood, "--app", sApp}, 2, "there is no option --confg; did you mean --config?; see"},
        {{"--config", "/nowhere/c.toml", "--app", sApp},
         1,
         "/nowhere/c.toml: the file cannot be read: No such file"},
        {{"--config", config("a = [\nb"), "--app", sApp}, 1, ".toml:2:"},
        {{"--config", config("[WebContainer]\nWorkers = 0\n"), "--app", sApp},
         1,
         ".toml:2: the value of \"WebContainer/Workers\" is 0; write a whole number from 1 to 10000"},
        {{"--config", config("[WebContainer]\nListen = \"127.0.0.1:0\"\nWokers = 1\n"), "--app", sApp},
         1,
         ".toml:3: there is no key WebContainer/Wokers; did you mean Workers?"},
        {{"--config", config("[WebContainer]\nListen = \"127.0.0.1:0 x\"\n"), "--app", sApp},
         1,
         "\"WebContainer/Listen\" cannot be used: element 2, \"x\", is no address; write one or more of"},
        {{"--check", "--config", config("[WebContainer]\nListen = \"0.0.0.0:9180\"\n")},
         1,
         "\"Admin/Listen\" cannot be used: clients connect to 0.0.0.0:9180; choose another"},
        {{"--config", config("[Log]\nLevel = \"loud\"\n"), "--app", sApp},
         1,
         "it is no severity; write debug,"},
        {{"--config", config("[HTTP]\nDefaultTimeoutMinutes = \"x\"\n"), "--app", sApp},
         1,
         "write a whole number"},
        {{"--config", sGood, "--app", sApp, "--listen", ","}, 1, "--listen: there is no address; write"},
        {{"--config", sGood, "--app", sApp, "--listen", sTaken},
         1,
         "cannot listen on " + sTaken + ": address already in use; choose another"},
        {{"--config", sGood, "--app", "/nowhere/lib.so"}, 1, "cannot load the application /nowhere/lib.so: "},
        {{"--config", sGood, "--app", TEST_NO_APPLICATION},
         1,
         "lacks the factory zqCreateHttpApplication; build"},
        {{"--config", sGood, "--app", TEST_APPLICATION_NULL},
         1,
         "cannot start: its factory returned nothing; "},
        {{"--config", sGood, "--app", TEST_APPLICATION_THROWS}, 1, "cannot start: no database; "},
        {{"--check", "--config", config("HTTP.DefaultTimeoutMinutes = -1\n")}, 1, sMinutes},
        {{"--check", "--config", config("DefaultTimeoutMinutes = 71583\n")}, 1, sMinutes},
        {{"--config", config("HTTP.LongRunningHTTPResponseTimeoutMinutes = 71583\n"), "--app", sApp},
         1,
         sMinutes},
        {{"--check", "--config", config("Log.MaxFiles = 200001\n")}, 1, "number from 0 to 200000"},
        {{"--check", "--config", config("Multipart.MaxParts = 0\n")}, 1, "number from 1 to 2147483647"},
        {{"--check", "--config", config("[Log]\nFile = \"/dev/null/log\"\n")},
         1,
         ".toml:2: the value of \"Log/File\" cannot be used: The log \"/dev/null/log\" cannot be opened"},
        {{"--check", "--config", config("AccessLog.File = \"/nowhere/log\"\n")},
         1,
         "cannot open the access log /nowhere/log: no such file"},
        {{"--check", "--config", sGood, "--app", TEST_APPLICATION_THROWS}, 1, "cannot start: no database; "},
    };
    for (const auto& r : tCases) {
        Program tProgram(r.tArguments);
        const std::string sErrors = tProgram.errors();
        EXPECT_EQ(tProgram.wait(), r.nExitCode) << sErrors;
        EXPECT_THAT(sErrors, testing::AllOf(StartsWith("webcontainer: "), HasSubstr(r.sLine)));
        EXPECT_EQ(std::count(sErrors.begin(), sErrors.end(), '\n'), 1) << sErrors;
    }
    EXPECT_THAT(tDirectory.read("log"), HasSubstr("loading the application /nowhere/lib.so"));
}

TEST(Program, AnswersQuestionsAboutItself) {
    TemporaryDirectory tDirectory;
    const std::string sOld = tDirectory.write("old", "old");
    const std::string sGood = tDirectory.write(
        "good.toml", "WebContainer.MaxConnections = 1\nHTTP.DefaultTimeoutMinutes = 71582\nLog.File = \"" +
                         tDirectory.path("new/log") + "\"\nAccessLog.File = \"" +
                         tDirectory.path("new/access") + "\"\n");
    const std::string sDoubtful = tDirectory.write(
        "doubtful.toml", "ClientSideCaching.GeneratedContentCaching = \"nostor\"\nLog.File = \"" + sOld +
                             "\"\nAccessLog.File = \"" + sOld + "\"\n");
    const struct {
        std::vector<std::string> tArguments;
        std::string sLine, sError;
    } tCases[] = {
        {{"--version"}, "webcontainer [0-9.]+ \\(webhttpserver .*\\)", ""},
        {{"--help"}, "Serves an application over HTTP/1.1.", ""},
        {{"--check", "--config", sGood, "--app", TEST_APPLICATION},
         "webcontainer: .*good.toml can be used",
         ""},
        {{"--check", "--config", TEST_SAMPLE_CONFIGURATION}, "webcontainer: .* can be used", ".*"},
        {{"--check", "--config", sDoubtful},
         "webcontainer: .* can be used",
         ".* warning webcontainer .*doubtful.toml:1: \"nostor\" is no mode of "
         "ClientSideCaching/GeneratedContentCaching and counts as session; did you mean nostore\\?\n"},
    };
    for (const auto& r : tCases) {
        Program tProgram(r.tArguments);
        EXPECT_THAT(tProgram.readLine(), testing::MatchesRegex(r.sLine));
        EXPECT_THAT(tProgram.errors(), testing::MatchesRegex(r.sError));
        EXPECT_EQ(tProgram.wait(), 0);
    }
    EXPECT_EQ(tDirectory.read("old"), "old");
    EXPECT_FALSE(std::filesystem::exists(tDirectory.path("new")));
}

TEST(Program, ReadsItsConfigurationAgain) {
    TemporaryDirectory tLogs;
    const auto config = [&](const char* pLevel) {
        return s_ksAnyPort + ("[AccessLog]\nFile = \"" + tLogs.path("access") + "\"\n") +
               ("[Log]\nFile = \"" + tLogs.path("log") + "\"\nLevel = \"") + pLevel + "\"\n";
    };
    RunningProgram t(config("warning"));
    const auto reload = [&](const std::string& sConfig, const char* pExpected) {
        t.m_tDirectory.write("c.toml", sConfig);
        std::filesystem::rename(tLogs.path("log"), tLogs.path("old"));
        t.m_tProgram.signal(SIGHUP);
        for (int n = 0; n < 500 && tLogs.read("log").find(pExpected) == std::string::npos; ++n)
            ::usleep(10000);
        return tLogs.read("log");
    };
    EXPECT_THAT(reload(config("info"), "read again"),
                HasSubstr("configuration read again: 1 objects took it"));
    EXPECT_THAT(reload("nonsense", "kept"), HasSubstr("the configuration is kept as it was: "));
    EXPECT_THAT(ask(t.m_tAddress, "GET /old HTTP/1.0\r\n\r\n"), HasSubstr("hello"));
    std::filesystem::rename(tLogs.path("access"), tLogs.path("accessed"));
    EXPECT_THAT(reload(config("bad"), "kept"), HasSubstr("it is no severity"));
    const std::string sStatus = t.m_tProgram.readLine();
    const std::string sBefore = "webcontainer: status at http://";
    ASSERT_THAT(sStatus, testing::MatchesRegex(sBefore + "127.0.0.1:[0-9]+/"));
    webcontainer::SocketAddress tStatus;
    webcontainer::SocketAddress::parse(sStatus.substr(sBefore.size(), sStatus.size() - sBefore.size() - 1),
                                       tStatus);
    EXPECT_THAT(ask(t.m_tAddress, "GET /new HTTP/1.0\r\n\r\n"), HasSubstr("hello"));
    EXPECT_THAT(ask(tStatus, "GET /metrics HTTP/1.0\r\n\r\n"),
                HasSubstr("\nhttpserver_completed_requests_total 2\n"));
    t.m_tProgram.signal(SIGTERM);
    EXPECT_EQ(t.m_tProgram.wait(), 0);
    EXPECT_THAT(tLogs.read("log"), HasSubstr(" ended"));
    EXPECT_THAT(tLogs.read("accessed"), HasSubstr("GET /old "));
    EXPECT_THAT(tLogs.read("access"), testing::AllOf(HasSubstr("GET /new "), testing::Not(HasSubstr("old"))));
}

TEST(Program, ASecondSignalEndsItAtOnce) {
    RunningProgram t;
    Client tHanging(t.m_tAddress);
    tHanging.send("GET /?hang HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(tHanging.readUntil("hello"), HasSubstr("hello"));
    t.m_tProgram.signal(SIGTERM);
    ::usleep(50000);
    t.m_tProgram.signal(SIGINT);
    EXPECT_EQ(t.m_tProgram.wait(), 3);
    EXPECT_THAT(t.m_tProgram.errors(), HasSubstr("1 connections are given up"));
}

}  // namespace
}  // namespace test
