#include "zq/services/logfilewriter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "support/asserttext.h"
#include "support/manythreads.h"
#include "support/temporarydirectory.h"
#include "zq/services/performancecounters.h"

namespace {

using namespace testing;
using EFormat = LogFileSettings::EFormat;

void write(LogFileWriter& rWriter, std::wstring_view sText) {
    rWriter.write({kSevInfo, "test.source", sText, {L"f.cpp", 12}});
}

class LogFile : public Test {
protected:
    LogFileSettings settings(EFormat eFormat = EFormat::kText, std::size_t nMaxBytes = 0) const {
        return {m_tDirectory.path("x.log"), eFormat, nMaxBytes, 2};
    }
    std::string logged(EFormat eFormat, std::wstring_view sText) const {
        std::filesystem::remove(m_tDirectory.path("x.log"));
        LogFileWriter tWriter(settings(eFormat));
        write(tWriter, sText);
        return m_tDirectory.read("x.log");  // the writer is still open: every entry is flushed
    }

    std::vector<std::string> lines(const char* pName) const {
        std::ifstream tFile(m_tDirectory.path(pName));
        std::vector<std::string> tLines;
        for (std::string sLine; std::getline(tFile, sLine);)
            tLines.push_back(sLine);
        return tLines;
    }

    test::TemporaryDirectory m_tDirectory;
};

TEST_F(LogFile, HasOneReadableLinePerEntry) {
    EXPECT_THAT(logged(EFormat::kText, L"caf\u00E9 100%"),
                MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}Z "
                             "info test\\.source \\[[0-9]+\\] caf\xC3\xA9 100% \\(f\\.cpp:12\\)\n"));
}

TEST_F(LogFile, LetsNoTextForgeALine) {
    const std::wstring sHostile =
        L"a\nb\r\tc\\n" + std::wstring{0, 0x1B, 0x7F, 0x85, 0x9F, 0xA0, 0x2028, 0x2029, -23, 0xD800};
    EXPECT_THAT(
        logged(EFormat::kText, sHostile),
        HasSubstr(
            "] a\\nb\\r\\tc\\\\n\\x00\\x1B\\x7F\\x85\\x9F\xC2\xA0\\u2028\\u2029\xEF\xBF\xBD\xEF\xBF\xBD "
            "(f.cpp:12)\n"));
    const std::string sJson = logged(EFormat::kJson, sHostile);
    EXPECT_THAT(lines("x.log"), SizeIs(1));
    EXPECT_TRUE(std::all_of(sJson.begin(), sJson.end() - 1, [](char c) { return c >= 0x20 && c < 0x7F; }))
        << sJson;
    auto tObject = nlohmann::json::parse(sJson);
    EXPECT_THAT(tObject["time"].get<std::string>(), ContainsRegex("T.*\\.[0-9]{3}Z$"));
    EXPECT_GT(tObject["thread"].get<int>(), 0);
    EXPECT_EQ(tObject.erase("time") + tObject.erase("thread"), 2u);
    auto tExpected = nlohmann::json::parse(
        R"({"severity": "info", "source": "test.source", "file": "f.cpp", "line": 12})");
    tExpected["text"] = toUtf8(sHostile);
    EXPECT_EQ(tObject, tExpected);
}

TEST_F(LogFile, RotatesBeforeItGrowsTooLarge) {
    m_tDirectory.write("x.log", "before\n");
    {
        LogFileWriter tWriter(settings(EFormat::kText, 1000));
        for (int n = 0; n < 100; ++n)
            write(tWriter, std::to_wstring(n));
    }
    for (const char* pName : {"x.log", "x.1.log", "x.2.log"})
        EXPECT_LE(std::filesystem::file_size(m_tDirectory.path(pName)), 1000u) << pName;
    EXPECT_GT(std::filesystem::file_size(m_tDirectory.path("x.1.log")), 800u);
    EXPECT_THAT(m_tDirectory.read("x.3.log"), "");
    EXPECT_THAT(lines("x.log").back(), HasSubstr("] 99 ("));
}

TEST_F(LogFile, IsReopenedUnderItsNameOnceItCanBe) {
    m_tDirectory.write("x.log", "before\n");
    LogFileWriter tWriter(settings());
    std::filesystem::rename(m_tDirectory.path("x.log"), m_tDirectory.path("old.log"));
    write(tWriter, L"one");
    std::filesystem::create_directory(m_tDirectory.path("x.log"));
    tWriter.reopen();
    write(tWriter, L"two");
    EXPECT_THAT(lines("old.log"), ElementsAre("before", HasSubstr("one"), HasSubstr(" error services.log ["),
                                              HasSubstr("two")));
    std::filesystem::remove(m_tDirectory.path("x.log"));
    tWriter.reopen();
    write(tWriter, L"three");
    EXPECT_THAT(lines("x.log"), ElementsAre(HasSubstr("three")));
}

TEST_F(LogFile, MustBeWritableAtTheStart) {
    ::mkfifo(m_tDirectory.path("pipe").c_str(), 0600);
    EXPECT_THROW(LogFileWriter({m_tDirectory.path("pipe")}), ConfigError) << "nobody reads it";
    std::filesystem::create_directory(m_tDirectory.path("x.log"));
    const auto fTextOf = [](const ConfigError& e) { return toUtf8(e.getMessageText()); };
    EXPECT_THAT([this] { LogFileWriter tWriter(settings()); },
                Throws<ConfigError>(ResultOf(
                    fTextOf, AllOf(HasSubstr(m_tDirectory.path("x.log")), HasSubstr("Is a directory")))));
}

TEST_F(LogFile, OutlivesARotationWithoutAFreeDescriptor) {
    LogFileWriter tWriter(settings(EFormat::kText, 500)), tConsole{LogFileSettings()};
    const auto tLost = performance::CounterRegistry::find("Log/LostEntries");
    const int nLostBefore = tLost.getValue(), nConsole = ::dup(2);
    ::dup2(::open("/dev/full", O_WRONLY), 2);
    write(tConsole, L"nobody gets this");
    ::dup2(nConsole, 2);
    EXPECT_EQ(tLost.getValue(), nLostBefore + 1);
    rlimit tLimit{};
    getrlimit(RLIMIT_NOFILE, &tLimit);
    const rlimit tNone{0, tLimit.rlim_max}, tSmall{100, RLIM_INFINITY}, tAll{RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_NOFILE, &tNone);
    for (int n = 0; n < 200; ++n)
        write(tWriter, L"x" + std::wstring(n % 2 ? 300 : 0, L'y'));
    setrlimit(RLIMIT_NOFILE, &tLimit);
    EXPECT_GE(tLost.getValue(), nLostBefore + 101);
    // And a full disk, which takes the beginning of a line.
    LogFileWriter tTorn({m_tDirectory.path("torn.log")});
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &tSmall);
    for (const wchar_t* p : {L"one", L"two", L"three"})
        write(tTorn, p);
    setrlimit(RLIMIT_FSIZE, &tAll);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    write(tWriter, L"back again");
    const auto tLines = lines("x.log");
    ASSERT_THAT(tLines, SizeIs(Ge(2u)));
    EXPECT_THAT(tLines[tLines.size() - 2],
                ContainsRegex("warning services.log .* 1[0-9][0-9] entries were lost"));
    EXPECT_THAT(tLines.back(), HasSubstr("back again"));
    write(tTorn, L"four");
    EXPECT_THAT(lines("torn.log"),
                ElementsAre(HasSubstr("] one ("), AllOf(HasSubstr("T"), Not(HasSubstr("were"))),
                            HasSubstr(" 2 entries were lost"), HasSubstr("] four (")));
}

TEST_F(LogFile, KeepsLinesWholeWhenManyThreadsWrite) {
    {
        LogFileWriter tWriter(settings(EFormat::kJson, 50000));
        const auto fWrite = [&tWriter] {
            for (int n = 0; n < 50; ++n)
                write(tWriter, std::wstring(200, L'x'));
        };
        test::onThreads(4, fWrite, [&tWriter] { tWriter.reopen(); });
    }
    std::vector<std::string> tLines = lines("x.1.log");
    std::ranges::copy(lines("x.log"), std::back_inserter(tLines));
    EXPECT_THAT(tLines, SizeIs(200));
    for (const std::string& sLine : tLines)
        EXPECT_EQ(nlohmann::json::parse(sLine)["text"], std::string(200, 'x'));
}

}  // namespace
