#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/starterror.h"
#include "log/containerlog.h"
#include "support/temporarydirectory.h"
#include "testserver.h"

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using webcontainer::ErrorPages;

constexpr char s_ksTrace[] = "traceparent: 00-0123456789abcdef0123456789abcdef-0123456789abcdef-01\r\n";
constexpr char s_ksId[] = "0123456789abcdef0123456789abcdef";

/// A server that answers with the status that the path names, and no body.
Server makeServer(const std::shared_ptr<ErrorPages>& pPages) {
    webcontainer::ContainerOptions tOptions = localOptions();
    tOptions.tRules.pErrorPages = pPages;
    return Server(
        [](Request& rRequest, Response& r) {
            r.setErrorStatusCode(static_cast<unsigned>(std::stoul(variable(rRequest, "URL").substr(1, 3))));
            r.commitHeaders();
            r.endResponse(nullptr, 0);
        },
        tOptions);
}

std::string get(const Server& rServer, const std::string& sTarget, const std::string& sAccept) {
    return ask(rServer, "GET " + sTarget + " HTTP/1.0\r\n" + s_ksTrace + sAccept + "\r\n");
}

TEST(ErrorPages, WhoAsksForHtmlGetsIt) {
    const Server tServer = makeServer(std::make_shared<ErrorPages>(""));
    const std::pair<const char*, bool> tCases[] = {
        {"", false},
        {"Accept: */*\r\n", false},
        {"Accept: text/html\r\n", true},
        {"Accept: text/htm, application/xml\r\n", false},
        {"accept: application/xhtml+xml , TEXT/HTML ; level=1;Q=0.1\r\n", true},
        {"Accept: text/html;q=0.0, text/*, */*\r\n", false},
        {"Accept: text/plain, text/*;q=0.000\r\n", false},
        {"Accept: image/png\r\nAccept: text/*;q=1\r\n", true},
    };
    // What a handler leaves empty, what is refused before it, and what has no page of its own to show.
    for (const char* pTarget : {"/404", "x", "/500"}) {
        const bool bRefused = *pTarget == 'x';
        for (const auto& [pAccept, bHtml] : tCases) {
            const std::string sAnswer = get(tServer, pTarget, pAccept);
            const std::string sBody = bodyOf(sAnswer);
            const std::string sType = bHtml ? "text/html" : "text/plain";
            EXPECT_THAT(sAnswer,
                        AllOf(HasSubstr("Content-Type: " + sType + "; charset=utf-8\r\nVary: Accept\r\n"),
                              HasSubstr("Content-Length: " + std::to_string(sBody.size()) + "\r\n")));
            EXPECT_EQ(sAnswer.find("no-store") != std::string::npos, bRefused);
            EXPECT_THAT(sBody, AllOf(HasSubstr(bRefused ? "alformed request target" : ""),
                                     testing::MatchesRegex(
                                         bHtml ? "<!DOCTYPE.*<h1>.*</h1><p>.*\\.</p>.*<code>[0-9a-f]{32}<.*"
                                               : "[45]0. .*\nrequest [0-9a-f]{32}\n")))
                << pTarget << pAccept;
        }
    }
}

TEST(ErrorPages, TheOperatorsTakeTheirPlaces) {
    TemporaryDirectory tFolder;
    tFolder.write("404.html", "%{status}|%{title}|%{reason}|%{id}|%{x}%{%|%{status");
    tFolder.write("4xx.html", "%{reason}");
    tFolder.write("logo.svg", "");
    const auto pPages = std::make_shared<ErrorPages>(tFolder.path(""));
    const Server tServer = makeServer(pPages);
    const auto body = [&](const char* pTarget) {
        return bodyOf(get(tServer, pTarget, "Accept: text/html\r\n"));
    };
    EXPECT_EQ(body("/404"), "404|Not Found|The request cannot be answered as it is.|" + std::string(s_ksId) +
                                "|%{x}%{%|%{status");
    EXPECT_EQ(body("x"), "A malformed request target.");
    EXPECT_THAT(body("/500"), HasSubstr("<h1>Internal Server Error</h1><p>The server could not"));
    tFolder.write("5xx.html", "new");
    pPages->readAgain();
    EXPECT_EQ(body("/500"), "new");
    for (const char* pName : {"40x.html", "304.html", "4040.html", "500.html", "501.html"}) {
        tFolder.write(pName, std::string(pName[2] == '0' ? 0 : pName[2] == '1' ? 65537 : 1, 'x'));
        EXPECT_THROW(pPages->readAgain(), webcontainer::StartError) << pName;
        std::filesystem::remove(tFolder.path(pName));
    }
    tFolder.write("501.html", std::string(65536, 'x'));
    pPages->readAgain();
    EXPECT_EQ(body("/501").size(), 65536u);
    EXPECT_THROW(ErrorPages("/nowhere"), webcontainer::StartError);
}

}  // namespace
}  // namespace test
