#include <thread>

#include "samplefixture.h"

using namespace testing;

namespace {

class SamplePages : public Test, protected SampleFixture {};

TEST_F(SamplePages, EveryLinkOfTheHomePageLeadsToAWholePage) {
    pApplication->startShutdown();  // so that the slow page need not be waited for
    EXPECT_EQ(get("/"), s_ksGood);
    std::vector<std::string> tLinks = findAll("href=\"");
    std::erase_if(tLinks, [](const auto& s) { return !s.starts_with("/") || s == "/"; });
    EXPECT_GE(tLinks.size(), 9u);
    for (const std::string& sPath : tLinks) {
        SCOPED_TRACE(sPath);
        EXPECT_EQ(get(sPath), sPath == "/missing" ? s_ksMissing : s_ksGood);
        if (sPath.starts_with("/static/")) continue;
        EXPECT_THAT(sBody, AllOf(StartsWith("<!DOCTYPE html>"), HasSubstr("</html>")));
    }
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

TEST_F(SamplePages, AnswerAsTheirTargetsSay) {
    std::string sTooMany;
    for (int n = 0; n <= 1000; ++n)
        sTooMany += "a&";
    const struct {
        std::string sTarget, sCall;
        Matcher<const std::string&> tBody;
    } tCases[] = {
        {"/nothing", s_ksMissing, HasSubstr("<code>/nothing</code>")},
        {"/text/", s_ksMissing, HasSubstr("<code>/text/</code>")},
        {"/Text", s_ksMissing, HasSubstr("<code>/Text</code>")},
        {"/request/x", s_ksMissing, HasSubstr("<code>/request/x</code>")},
        {"/request?" + sTooMany, s_ksBad, HasSubstr("too many parameters")},
        {"/text", "addHeader Content-Type: text/html; charset=utf-8",
         AllOf(HasSubstr("𝄞"), HasSubstr("𠜎"), HasSubstr("dir=\"rtl\""), HasSubstr("&lt;more&gt;"))},
        {"/charset?label=unicode", s_ksGood,
         AllOf(StartsWith(std::string("\xFF\xFE<\0", 4)), HasSubstr("\x34\xD8\x1E\xDD"))},
        {"/charset?label=unicodeFFFE", s_ksGood,
         AllOf(StartsWith(std::string("\xFE\xFF\0<", 4)), HasSubstr("\xD8\x34\xDD\x1E"))},
        {"/charset?label=koi8-r", s_ksGood,
         AllOf(HasSubstr("\xF2\xD5\xD3\xD3\xCB\xC9\xCA"), HasSubstr("&#128105;&#8205;&#128640;"))},
        {"/charset?label=Shift_JIS", s_ksGood, HasSubstr("\x93\xFA\x96\x7B\x8C\xEA")},
        {"/charset?label=no%20such", s_ksBad, HasSubstr("<code>no such</code>")},
        {"/charset?label=utf-8%0D%0ASet-Cookie:x", s_ksBad, HasSubstr("Unknown")},
        {"/charset?label=", s_ksBad, HasSubstr("Unknown")},
        {"/download?name=x%0D%0ASet-Cookie:%20a%22;b=.txt",
         "addHeader Content-Disposition: attachment; filename=\"x__Set-Cookie_ a__b=.txt\"",
         HasSubstr("x\r\nSet-Cookie: a\";b=.txt")},
        {"/redirect?to=%2Ftext", s_ksMoved, _},
        {"/redirect?to=%2Ftext", "addHeader Location: /text", _},
        {"/redirect?to=//example.org", s_ksBad, _},
        {"/redirect?to=https://example.org/", s_ksBad, _},
        {"/redirect?to=/nothing", s_ksBad, _},
        {"/redirect?to=/text%0D%0AX:%20y", s_ksBad, _},
        {"/redirect?to=", s_ksBad, _},
        {"/product/2/3", s_ksGood, HasSubstr("<strong>6</strong>")},
        {"/product/2/1000001", s_ksBad, HasSubstr("a whole number from 0 to 1000000")},
        {"/booking?name=Zo%C3%AB&guests=3", s_ksGood, HasSubstr("A table for 3, reserved for Zoë.")},
        {"/booking?name=%20&guests=13", "setStatusCode 422",
         AllOf(HasSubstr("Please fill in &quot;Name&quot;."), HasSubstr("number from 1 to 12"),
               HasSubstr("13\""))},
        {"/visits", "addHeader Set-Cookie: visits=1; Path=/; Max-Age=86400; HttpOnly; SameSite=Lax", _},
        {"/static/upload.js", "addHeader Content-Type: text/javascript; charset=utf-8",
         HasSubstr("use strict")},
        {"/static/nosuch", s_ksMissing, HasSubstr("no such file")},
    };
    for (const auto& rCase : tCases) {
        SCOPED_TRACE(rCase.sTarget);
        get(rCase.sTarget);
        EXPECT_THAT(tLog, Contains(rCase.sCall));
        EXPECT_THAT(sBody, rCase.tBody);
        if (rCase.sCall == s_ksBad) {
            EXPECT_THAT(tLog, Not(Contains(StartsWith("addHeader Location"))));
        }
    }
}

TEST_F(SamplePages, TakeWhatIsSentToThemAndNothingElse) {
    EXPECT_EQ(
        run(MemoryRequest::post("/order", "application/json", R"({"cents": -7, "quantity": 2147483647})")),
        s_ksGood);
    EXPECT_EQ(sBody, "{\"total\":-15032385529}");
    EXPECT_EQ(run(MemoryRequest::post("/order", "application/json", "{\n\"cents\": }")), s_ksBad);
    EXPECT_THAT(sBody, HasSubstr("Line 2, column 10"));
    EXPECT_EQ(run(MemoryRequest::upload("/form", "f", "a.txt", "123")), s_ksGood);
    EXPECT_THAT(sBody, HasSubstr("<td>a.txt, 3 bytes</td>"));
    EXPECT_EQ(run(MemoryRequest::form("/text", "a=1")), "setErrorStatusCode 405");
    EXPECT_THAT(tResponse, HasHeader("Allow", "GET, HEAD"));
    tHeaders = {{"Cookie", "visits=41"}};
    get("/visits");
    EXPECT_THAT(tResponse, HasHeader("Set-Cookie", StartsWith("visits=42;")));
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
        EXPECT_EQ(get("/conditional"), rCase.sStatus);
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

}  // namespace
