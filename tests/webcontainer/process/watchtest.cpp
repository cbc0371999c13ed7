#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <thread>

#include "program.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using testing::HasSubstr;

/// A text as it stands in the data of a program.
std::string widen(const std::string& s) {
    const std::wstring sWide(s.begin(), s.end());
    return {reinterpret_cast<const char*>(sWide.data()), sWide.size() * sizeof(wchar_t)};
}

/// An application whose library is built again and again, and the program that serves and watches it.
struct Watched {
    Watched()
        : m_tProgram({"--config",
                      m_tDirectory.write(
                          "c", "WebContainer.Listen = \"127.0.0.1:0\"\nAdmin.Listen = \"127.0.0.1:0\""),
                      "--app", lead(build("One..")), "--watch"},
                     [this] {
                         const std::string sErrors = m_tDirectory.path("errors");
                         ::dup2(::open(sErrors.c_str(), O_CREAT | O_APPEND | O_WRONLY, 0600), 2);
                     }) {}

    /// Puts another library in place at once, as linkers do: one that says sText instead of "hello".
    std::string build(const std::string& sText, const char* pFile = "lib.so") const {
        std::ifstream tFile(TEST_APPLICATION);
        std::string s{std::istreambuf_iterator<char>(tFile), {}};
        return replace(s.replace(s.find(widen("hello")), widen(sText).size(), widen(sText)), pFile);
    }
    std::string replace(const std::string& sContents, const char* pFile = "lib.so") const {
        std::filesystem::rename(m_tDirectory.write("new", sContents), m_tDirectory.path(pFile));
        return m_tDirectory.path(pFile);
    }
    /// The link to a library that --app names.
    std::string lead(const std::string& sTo) const {
        std::filesystem::remove(m_tDirectory.path("link"));
        std::filesystem::create_symlink(sTo, m_tDirectory.path("link"));
        return m_tDirectory.path("link");
    }
    /// The address at the end of the next line.
    webcontainer::SocketAddress readAddress() {
        const std::string sLine = m_tProgram.readLine();
        const std::size_t nPlace = sLine.find("//") + 2;
        webcontainer::SocketAddress tAddress;
        EXPECT_TRUE(
            webcontainer::SocketAddress::parse(sLine.substr(nPlace, sLine.size() - nPlace - 1), tAddress))
            << sLine;
        return tAddress;
    }
    /// Waits until an instance has taken over.
    void waitUntilServed() {
        for (std::string s = "-"; !s.empty() && s.find("watching ") == std::string::npos;)
            s = m_tProgram.readLine();
    }
    bool hasComplained(const char* pOf) const {
        return m_tDirectory.read("errors").find(pOf) != std::string::npos;
    }

    TemporaryDirectory m_tDirectory;
    Program m_tProgram;
};

template <class Condition>
bool comesTrue(const Condition& fCondition) {
    for (int n = 0; n < 500; ++n)
        if (fCondition())
            return true;
        else
            ::usleep(20000);
    return false;
}

TEST(Watch, ServesEachNewLibraryAndLosesNoRequest) {
    Watched t;
    const auto tAddress = t.readAddress(), tStatus = t.readAddress();
    t.waitUntilServed();
    const auto get = [&](const char* pTarget = "/") {
        return ask(tAddress, std::string("GET ") + pTarget + " HTTP/1.0\r\n\r\n");
    };
    const auto says = [&](const char* pText) { return get().ends_with(pText); };
    std::atomic<bool> bEnough = false;
    std::string sLost;
    std::thread tAsking([&] {
        while (!bEnough)
            if (const std::string s = get(); !s.starts_with("HTTP/1.1 200")) sLost += s + "|";
    });
    EXPECT_TRUE(says("One.."));
    Client tSlow(tAddress);
    tSlow.send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 4\r\n\r\nbo");
    t.build("Two..");
    t.waitUntilServed();
    tSlow.send("dy");
    EXPECT_THAT(tSlow.readUntil("body"), testing::EndsWith("\r\n\r\nbody"));
    EXPECT_TRUE(comesTrue([&] { return says("Two.."); }));
    t.replace("broken");
    EXPECT_TRUE(comesTrue(
        [&] { return t.hasComplained("webcontainer: the application that was there before goes on"); }));
    EXPECT_TRUE(t.hasComplained("link: file too short; build it"));
    EXPECT_TRUE(says("Two.."));
    t.lead(t.build("Four.", "new.so"));
    t.waitUntilServed();
    t.build("Three", "new.so");
    t.waitUntilServed();
    EXPECT_TRUE(comesTrue([&] { return says("Three"); }));
    bEnough = true;
    tAsking.join();
    EXPECT_EQ(sLost, "");
    EXPECT_THAT(ask(tStatus, "GET /live HTTP/1.0\r\n\r\n"), testing::EndsWith("\nlive"));

    EXPECT_TRUE(comesTrue([&] {  // the one before may still take a connection
        get("/?exit");
        ::usleep(200000);
        return t.hasComplained("the application has ended the server, which is started again");
    }));
    EXPECT_TRUE(comesTrue([&] { return says("Three"); }));
    t.m_tProgram.signal(SIGTERM);
    EXPECT_EQ(t.m_tProgram.wait(), 0);
    EXPECT_ANY_THROW(get());
}

}  // namespace
}  // namespace test
