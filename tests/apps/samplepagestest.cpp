#include <thread>

#include "samplefixture.h"

using namespace testing;

namespace {

class SamplePages : public Test, protected SampleFixture {};

TEST_F(SamplePages, EveryLinkOfTheHomePageLeadsToAWholePage) {
    pApplication->startShutdown();  // so that the slow page need not be waited for
    get("/");
    expectStatus(s_ksGood);
    std::vector<std::string> tLinks = findAll("href=\"");
    std::erase_if(tLinks, [](const auto& s) { return !s.starts_with("/") || s == "/"; });
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
    tHeaders = {{"X-Evil", sEvil}, {"X-Utf8", "é😀"}, {"X-Bytes", "a\351b\001"}};
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

TEST_F(SamplePages, FormsKeepWhatWasChosen) {
    for (const auto& [pQuery, pOptions] :
         {std::pair{"", "<option selected>small<option selected>medium<option>large</select>"},
          {"?size=large&size=%22%3E&size=small",
           "<option selected>small<option>medium<option selected>large</select>"},
          {"?name=x", "<option>small<option>medium<option>large</select>"}}) {
        get(std::string("/form") + pQuery);
        EXPECT_THAT(sBody, HasSubstr(pOptions)) << pQuery;
    }
}

TEST_F(SamplePages, AddressesAreThoseThatTheyWereReachedAt) {
    const struct {
        const char *pHttps, *pName, *pPort, *pHost, *pAddress;
    } tCases[] = {
        {"off", "h", "8080", "h", "http://h/"},
        {"off", "h", "8080", "h:81", "http://h:81/"},
        {"on", "[::1]", "443", "[::1]:444", "https://[::1]:444/"},
        {"on", "shop.example", "443", "shop.example.internal:8080", "https://shop.example/"},
        {"off", "shop.example", "443", "10.0.0.1", "http://shop.example:443/"},
        {"off", "shop.example", "80", "10.0.0.1", "http://shop.example/"},
        {"off", "$(reboot)", "8080", "$(reboot)", "http://localhost:8080/"},
        {"off", "", "0", "", "http://localhost/"},
    };
    for (const auto& r : tCases) {
        tVariables = {
            {"HTTPS", r.pHttps}, {"SERVER_NAME", r.pName}, {"SERVER_PORT", r.pPort}, {"HTTP_HOST", r.pHost}};
        get("/order");
        EXPECT_THAT(sBody, HasSubstr(std::string(" @- ") + r.pAddress + "order"));
        get("/calculator?wsdl");
        EXPECT_THAT(sBody, HasSubstr(std::string("location=\"") + r.pAddress + "calculator?soap\""));
    }
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
        std::string sLabel, sCall;
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
    EXPECT_THAT(tLog, AllOf(Contains("addHeader Location: /text"), Contains(s_ksMoved)));
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
    const std::string sPrefix = "addHeader Last-Modified: ", sUnchanged = "setStatusCode 304";
    const auto it = std::ranges::find_if(tLog, [&](const auto& s) { return s.starts_with(sPrefix); });
    ASSERT_NE(it, tLog.end());
    const std::string sChanged = it->substr(sPrefix.size());
    const struct {
        decltype(tHeaders) tSent;
        std::string sStatus;
    } tCases[] = {
        {{{"if-modified-since", sChanged}}, sUnchanged},
        {{{"If-Modified-Since", "Fri Dec 31 23:59:59 9999"}}, sUnchanged},
        {{{"If-Modified-Since", "Sun, 06 Nov 1994 08:49:37 GMT"}}, s_ksGood},
        {{{"If-Modified-Since", "yesterday"}}, s_ksGood},
        {{{"If-Modified-Since", sChanged}, {"If-None-Match", "\"x\""}}, s_ksGood},
    };
    for (const auto& rCase : tCases) {
        SCOPED_TRACE(rCase.tSent[0].second);
        tHeaders = rCase.tSent;
        get("/conditional");
        expectStatus(rCase.sStatus);
        EXPECT_EQ(sBody.empty(), rCase.sStatus == sUnchanged);
    }
}

TEST_F(SamplePages, SlowPageSendsItsProgressAndEndsWithTheServer) {
    std::jthread tStopper([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        pApplication->startShutdown();
    });
    get("/slow");
    EXPECT_THAT(tLog, Contains(StartsWith("writeToBody")).Times(2));
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
