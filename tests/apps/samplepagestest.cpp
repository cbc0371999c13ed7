#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>

#include "samplefixture.h"

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Matcher;
using testing::Not;
using testing::StartsWith;

namespace {

/// One request to the sample application and what came of it.
class SamplePages : public testing::Test, protected SampleFixture {
protected:
    /// sTarget: path and query.
    void get(const std::string& sTarget) {
        const std::size_t nQuery = sTarget.find('?');
        FakeRequestProvider tRequest;
        tRequest.tVariables["URL"] = sTarget.substr(0, nQuery);
        if (nQuery != sTarget.npos) tRequest.sQuery = sTarget.substr(nQuery + 1);
        tRequest.tHeaders = tHeaders;
        tLog.clear();
        FakeResponseProvider tResponse(&tLog);
        tServer.processRequest(tRequest, tResponse);
        sBody = tResponse.sBody;
    }
    void expectStatus(const std::string& sCall) const { EXPECT_THAT(tLog, Contains(sCall)); }

    std::vector<std::pair<std::string, std::string>> tHeaders;
    CallLog tLog;
    std::string sBody;
};

const std::string s_ksGood = "setStatusCode 200";
const std::string s_ksBad = "setErrorStatusCode 400";
const std::string s_ksMissing = "setErrorStatusCode 404";

/// The targets of the links to other pages.
std::vector<std::string> getLinks(const std::string& sPage) {
    const std::string sStart = "href=\"";
    std::vector<std::string> tLinks;
    for (std::size_t n = sPage.find(sStart); n != sPage.npos; n = sPage.find(sStart, n)) {
        n += sStart.size();
        tLinks.push_back(sPage.substr(n, sPage.find('"', n) - n));
    }
    std::erase_if(tLinks, [](const auto& s) { return !s.starts_with("/") || s == "/"; });
    return tLinks;
}

TEST_F(SamplePages, EveryLinkOfTheHomePageLeadsToAWholePage) {
    pApplication->startShutdown();  // so that the slow page need not be waited for
    get("/");
    expectStatus(s_ksGood);
    const std::vector<std::string> tLinks = getLinks(sBody);
    EXPECT_GE(tLinks.size(), 9u);
    for (const std::string& sPath : tLinks) {
        SCOPED_TRACE(sPath);
        get(sPath);
        expectStatus(sPath == "/missing" ? s_ksMissing : s_ksGood);
        EXPECT_THAT(sBody, AllOf(StartsWith("<!DOCTYPE html>"), HasSubstr("</html>")));
    }
}

TEST_F(SamplePages, WhatTheVisitorSendsIsShownAndNeverRun) {
    const std::string sEvil = "\"'><script>alert(1)</script>";
    tHeaders = {{"X-Evil", sEvil},
                {"X-Utf8", "\xC3\xA9\xF0\x9F\x98\x80"},
                {"X-Bytes",
                 "a\xE9"
                 "b\x01"}};
    for (const std::string sTarget :
         {"/request?text=", "/request?raw", "/nothing", "/charset?label=", "/redirect?to="}) {
        SCOPED_TRACE(sTarget);
        get(sTarget + sEvil);
        EXPECT_THAT(sBody, Not(HasSubstr("<script")));
    }
    get("/request?text=%3Cscript%3E&<b>" + sEvil);
    EXPECT_THAT(sBody,
                AllOf(Not(HasSubstr("<script")), Not(HasSubstr("<b>")), HasSubstr("value=\"&lt;script&gt;\""),
                      HasSubstr("<td>&quot;&#39;&gt;&lt;script&gt;alert(1)&lt;/script&gt;</td>"),
                      HasSubstr("<td>é😀</td>"), HasSubstr("<td>a\uFFFDb\u2401</td>")));
}

TEST_F(SamplePages, UnknownPathsAreNamedInA404) {
    for (const std::string sPath : {"/nothing", "/text/", "/Text", "/request/x"}) {
        get(sPath);
        expectStatus(s_ksMissing);
        EXPECT_THAT(sBody, HasSubstr("<code>" + sPath + "</code>"));
    }
}

TEST_F(SamplePages, TextBeyondTheBasicPlaneIsSentAsUtf8) {
    get("/text");
    EXPECT_THAT(tLog, Contains("addHeader Content-Type: text/html; charset=utf-8"));
    EXPECT_THAT(sBody,
                AllOf(HasSubstr("𝄞"), HasSubstr("𠜎"), HasSubstr("dir=\"rtl\""), HasSubstr("&lt;more&gt;")));
}

TEST_F(SamplePages, CharacterSets) {
    const struct {
        std::string sLabel;
        std::string sCall;
        Matcher<const std::string&> tBody;
    } tCases[] = {
        {"unicode", s_ksGood,
         AllOf(StartsWith(std::string("\xFF\xFE<\0", 4)), HasSubstr("\x34\xD8\x1E\xDD"))},
        {"unicodeFFFE", s_ksGood,
         AllOf(StartsWith(std::string("\xFE\xFF\0<", 4)), HasSubstr("\xD8\x34\xDD\x1E"))},
        {"koi8-r", s_ksGood,
         AllOf(HasSubstr("\xF2\xD5\xD3\xD3\xCB\xC9\xCA"), HasSubstr("&#128105;&#8205;&#128640;"))},
        {"Shift_JIS", s_ksGood, HasSubstr("\x93\xFA\x96\x7B\x8C\xEA")},
        {"no%20such", s_ksBad, HasSubstr("<code>no such</code>")},
        {"utf-8%0D%0ASet-Cookie:x", s_ksBad, HasSubstr("Unknown")},
        {"", s_ksBad, HasSubstr("Unknown")},
    };
    for (const auto& rCase : tCases) {
        SCOPED_TRACE(rCase.sLabel);
        get("/charset?label=" + rCase.sLabel);
        expectStatus(rCase.sCall);
        EXPECT_THAT(sBody, rCase.tBody);
    }
}

TEST_F(SamplePages, DownloadsAreNamedByTheVisitor) {
    get("/download?name=a%20b.txt");
    EXPECT_THAT(tLog, Contains("addHeader Content-Disposition: attachment; filename=\"a b.txt\""));
    EXPECT_THAT(sBody, HasSubstr("a b.txt"));
    get("/download?name=x%0D%0ASet-Cookie:%20a%22;b=.txt");
    EXPECT_THAT(tLog,
                Contains("addHeader Content-Disposition: attachment; filename=\"x__Set-Cookie_ a__b=.txt\""));
}

TEST_F(SamplePages, RedirectsStayWithinTheApplication) {
    get("/redirect?to=%2Ftext");
    EXPECT_THAT(tLog, AllOf(Contains("addHeader Location: /text"), Contains("setStatusCode 302")));
    for (const std::string sTo :
         {"//example.org", "https://example.org/", "/nothing", "/text%0D%0AX:%20y", ""}) {
        SCOPED_TRACE(sTo);
        get("/redirect?to=" + sTo);
        expectStatus(s_ksBad);
        EXPECT_THAT(tLog, Not(Contains(StartsWith("addHeader Location"))));
    }
}

TEST_F(SamplePages, ConditionalPageIsSentOnce) {
    get("/conditional");
    expectStatus(s_ksGood);
    const std::string sPrefix = "addHeader Last-Modified: ";
    const auto it =
        std::find_if(tLog.begin(), tLog.end(), [&](const auto& s) { return s.starts_with(sPrefix); });
    ASSERT_NE(it, tLog.end());
    const std::string sChanged = it->substr(sPrefix.size());

    tHeaders = {{"if-modified-since", sChanged}};
    get("/conditional");
    expectStatus("setStatusCode 304");
    EXPECT_EQ(sBody, "");
    tHeaders = {{"If-Modified-Since", "Fri Dec 31 23:59:59 9999"}};
    get("/conditional");
    expectStatus("setStatusCode 304");

    for (const char* pDate : {"Sun, 06 Nov 1994 08:49:37 GMT", "yesterday", ""}) {
        tHeaders = {{"If-Modified-Since", pDate}};
        get("/conditional");
        expectStatus(s_ksGood);
    }
    tHeaders = {{"If-Modified-Since", sChanged}, {"If-None-Match", "\"x\""}};
    get("/conditional");
    expectStatus(s_ksGood);
}

TEST_F(SamplePages, SlowPageSendsItsProgressAndEndsWithTheServer) {
    std::jthread tStopper([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        pApplication->startShutdown();
    });
    get("/slow");
    EXPECT_EQ(
        std::count_if(tLog.begin(), tLog.end(), [](const auto& s) { return s.starts_with("writeToBody"); }),
        2);
    EXPECT_THAT(sBody,
                AllOf(HasSubstr("Step 1 of"), Not(HasSubstr("Step 2 of")), HasSubstr("The server stops")));
}

TEST_F(SamplePages, TooManyParametersAreRefused) {
    std::string sQuery = "/request?";
    for (int n = 0; n <= 1000; ++n)
        sQuery += "a&";
    get(sQuery);
    expectStatus(s_ksBad);
}

}  // namespace
