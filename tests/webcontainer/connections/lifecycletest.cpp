#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <future>
#include <optional>
#include <thread>

#include "base/starterror.h"
#include "log/containerlog.h"
#include "program.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using webcontainer::FileDescriptor;

constexpr char s_ksGet[] = "GET / HTTP/1.1\r\nHost: h\r\n\r\n";
/// Long enough for a server to notice, where nothing tells that it has.
constexpr auto s_tMoment = 50ms;

template <int (*F)(int, const sockaddr*, socklen_t)>
FileDescriptor unixSocket(const std::string& sPath, int nType = SOCK_STREAM) {
    sockaddr_un tAddress{};
    tAddress.sun_family = AF_UNIX;
    sPath.copy(tAddress.sun_path, sizeof tAddress.sun_path - 1);
    const socklen_t nSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + sPath.size());
    if (sPath[0] == '@') tAddress.sun_path[0] = '\0';
    FileDescriptor tSocket(::socket(AF_UNIX, nType | SOCK_CLOEXEC, 0));
    if (F(tSocket.get(), reinterpret_cast<const sockaddr*>(&tAddress), nSize) != 0) return {};
    return tSocket;
}

void answerDone(Request&, Response& r) {
    answer(r, "done");
}

/// What listening there is refused with; empty when it is not.
std::string refusalOf(const std::string& sListen) {
    try {
        Server tServer(answerDone, localOptions(quickLimits(), 1, sListen));
    } catch (const webcontainer::StartError& e) {
        return webcontainer::describe(e);
    }
    return {};
}

TEST(Listening, AUnixSocketIsServedWithItsModeAndRemoved) {
    TemporaryDirectory tDirectory;
    const std::string sPath = tDirectory.path("s");
    {
        Server tServer(
            [](Request& r, Response& rResponse) {
                answer(rResponse, variable(r, "REMOTE_ADDR") + "," + variable(r, "REMOTE_PORT"));
            },
            localOptions(quickLimits(), 2, "unix:" + sPath));
        struct stat tStatus {};
        ASSERT_EQ(::stat(sPath.c_str(), &tStatus), 0);
        EXPECT_EQ(tStatus.st_mode & 0777, 0660u);
        Client tClient(unixSocket<::connect>(sPath));
        tClient.send(s_ksGet);
        EXPECT_THAT(tClient.readResponse(), EndsWith("unix:,"));
        EXPECT_TRUE(tServer.m_tContainer.drain(-1));
        EXPECT_EQ(tClient.readAll(), "");
        EXPECT_FALSE(std::filesystem::exists(sPath));
    }
    const auto tNext = unixSocket<::bind>(sPath);
    EXPECT_TRUE(std::filesystem::exists(sPath));
}

TEST(Listening, OnlyADeadServersSocketIsReplaced) {
    TemporaryDirectory tDirectory;
    const std::string sPath = tDirectory.path("s");
    const std::string sListen = "unix:" + sPath;
    {
        Server tServer(answerDone, localOptions(quickLimits(), 1, sListen));
        EXPECT_THAT(refusalOf(sListen), HasSubstr("another server listens there; stop it"));
        EXPECT_EQ(refusalOf(sListen + "2"), "");
        ::unlink(sPath.c_str());
        unixSocket<::bind>(sPath);  // a dead one: nobody listens
        EXPECT_EQ(refusalOf(sListen), "");
        unixSocket<::bind>(sPath);
    }
    EXPECT_TRUE(std::filesystem::exists(sPath)) << "it was another server's by then";
    EXPECT_THAT(refusalOf("unix:" + tDirectory.write("f", "")), HasSubstr("no socket; remove it"));
    EXPECT_THAT(refusalOf("unix:" + tDirectory.path("none/s")), HasSubstr("; make its directory one"));
}

TEST(Drain, TellsClientsBeforeItRefusesThem) {
    webcontainer::Limits tLimits = quickLimits();
    tLimits.nDrainDelayMs = 300;
    Server tServer(answerDone, tLimits);
    Client tIdle(tServer);
    tIdle.send(s_ksGet);
    EXPECT_THAT(tIdle.readResponse(), testing::Not(HasSubstr("close")));
    auto tDrained = std::async(std::launch::async, [&] { return tServer.m_tContainer.drain(-1); });
    std::this_thread::sleep_for(s_tMoment);
    EXPECT_TRUE(tServer.m_tContainer.isDraining());
    Client tNew(tServer);
    for (Client* const p : {&tNew, &tIdle}) {
        p->send(s_ksGet);
        EXPECT_THAT(p->readAll(), testing::AllOf(HasSubstr("Connection: close"), EndsWith("done")));
    }
    EXPECT_TRUE(tDrained.get());
}

/// With room for one connection at a time, the others wait in the kernel when the drain begins: it is within
/// a request.
TEST(Drain, AnswersEverybodyWhoHasConnected) {
    for (const bool bUnix : {false, true}) {
        TemporaryDirectory tDirectory;
        const std::string sPath = tDirectory.path("s");
        webcontainer::Limits tLimits = quickLimits();
        tLimits.nMaxConnections = 1;
        Server tServer(answerDone, localOptions(tLimits, 1, bUnix ? "unix:" + sPath : "127.0.0.1:0"));
        std::deque<Client> tClients;
        for (int n = 0; n < 20; ++n) {
            if (bUnix)
                tClients.emplace_back(unixSocket<::connect>(sPath));
            else
                tClients.emplace_back(tServer);
            if (n == 0) tClients.front().send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\n\r\n");
            if (n == 0) std::this_thread::sleep_for(s_tMoment);
        }
        auto tDrained = std::async(std::launch::async, [&] { return tServer.m_tContainer.drain(-1); });
        std::this_thread::sleep_for(s_tMoment);
        tClients.front().send("x");
        for (; !tClients.empty(); tClients.pop_front()) {
            tClients.front().send(s_ksGet);
            EXPECT_THAT(tClients.front().readAll(), EndsWith("done")) << bUnix;
        }
        EXPECT_TRUE(tDrained.get());
    }
}

TEST(Drain, LosesNobodyWhoConnectsOrAsksOnMeanwhile) {
    Server tServer(answerDone);
    std::atomic<int> nAnswered = 0;
    const auto fConnect = [&] {
        for (;;) {
            std::optional<Client> tClient;
            try {
                tClient.emplace(tServer);
            } catch (const std::runtime_error&) {
                return;
            }
            tClient->send(s_ksGet);
            ASSERT_THAT(tClient->readResponse(), EndsWith("done"));
            ++nAnswered;
        }
    };
    const auto fAskOn = [&] {
        Client tKept(tServer);
        for (std::string s; s.find("Connection: close") == s.npos; std::this_thread::sleep_for(10ms)) {
            tKept.send(s_ksGet);
            s = tKept.readResponse();
            ASSERT_THAT(s, EndsWith("done"));
        }
    };
    std::deque<std::jthread> tThreads;
    for (int n = 0; n < 4; ++n) {
        tThreads.emplace_back(fConnect);
        tThreads.emplace_back(fAskOn);
    }
    std::this_thread::sleep_for(s_tMoment);
    EXPECT_TRUE(tServer.m_tContainer.drain(-1));
    EXPECT_GT(nAnswered, 0);
}

/// What the program tells the service manager.
class Manager {
public:
    explicit Manager(const std::string& sPath) : m_tSocket(unixSocket<::bind>(sPath, SOCK_DGRAM)) {
        const timeval tPatience{5, 0};
        ::setsockopt(m_tSocket.get(), SOL_SOCKET, SO_RCVTIMEO, &tPatience, sizeof tPatience);
    }
    std::string next() {
        char tText[1000];
        const ssize_t nLength = ::recv(m_tSocket.get(), tText, sizeof tText, 0);
        return nLength < 0 ? "<silence>" : std::string(tText, static_cast<std::size_t>(nLength));
    }
    std::string nextBut(const std::string& sUnwanted) {
        std::string s;
        while ((s = next()) == sUnwanted) {
        }
        return s;
    }

private:
    FileDescriptor m_tSocket;
};

TEST(ServiceManager, HandsASocketOverAndIsKeptInformed) {
    for (const bool bAbstract : {false, true}) {
        TemporaryDirectory tDirectory;
        const std::string sNotify = (bAbstract ? "@" : "") + tDirectory.path("notify");
        Manager tManager(sNotify);
        const std::string sPath = tDirectory.path("s");
        const FileDescriptor tListener = unixSocket<::bind>(sPath);
        ASSERT_EQ(::listen(tListener.get(), 10), 0);
        const std::string sConfig =
            tDirectory.write("c.toml", "[WebContainer]\nListen = \"systemd\"\n[Admin]\nListen = \"\"\n");
        Program tProgram({"--config", sConfig, "--app", TEST_APPLICATION}, [&] {
            ::dup2(tListener.get(), 3);
            ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
            ::setenv("LISTEN_FDS", "1", 1);
            ::setenv("NOTIFY_SOCKET", sNotify.c_str(), 1);
            ::setenv("WATCHDOG_USEC", "100000", 1);
        });
        const std::string sAlive = "WATCHDOG=1";
        const auto tReady = testing::MatchesRegex("READY=1\nMAINPID=[0-9]+\nSTATUS=serving unix:" + sPath);
        EXPECT_THAT(tManager.nextBut(sAlive), tReady);
        EXPECT_EQ(tManager.next(), sAlive);
        Client tClient(unixSocket<::connect>(sPath));
        tClient.send(s_ksGet);
        EXPECT_THAT(tClient.readResponse(), EndsWith("hello"));
        tProgram.signal(SIGHUP);
        EXPECT_THAT(tManager.nextBut(sAlive), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"));
        EXPECT_THAT(tManager.nextBut(sAlive), tReady);
        tProgram.signal(SIGTERM);
        EXPECT_THAT(tManager.nextBut(sAlive), StartsWith("STOPPING=1\n"));
        EXPECT_EQ(tProgram.wait(), 0);
        EXPECT_TRUE(unixSocket<::connect>(sPath).isOpen()) << "clients wait for the next server";
        EXPECT_THAT(tProgram.errors(), HasSubstr("sockets are used in place of WebContainer/Listen: 3"));
    }
}

}  // namespace
}  // namespace test
