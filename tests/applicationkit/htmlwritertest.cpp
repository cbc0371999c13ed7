#include "zq/applicationkit/htmlwriter.h"

#include "zq/applicationkit/escape.h"
#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

using namespace testing;

namespace {

TEST(Escape, KnowsEachPlace) {
    const struct {
        std::wstring sText, sHtml, sAttribute, sUrl, sJs;
    } tCases[] = {
        {L"", L"", L"", L"", L""},
        {L"aZ09-._~é😀", L"aZ09-._~é😀", L"aZ09-._~é😀", L"aZ09-._~%C3%A9%F0%9F%98%80", L"aZ09-._~é😀"},
        {L"<&>", L"&lt;&amp;&gt;", L"&lt;&amp;&gt;", L"%3C%26%3E", L"\\u003c\\u0026\\u003e"},
        {L"\"'", L"&quot;&#39;", L"&quot;&#39;", L"%22%27", L"\\u0022\\u0027"},
        {L"`=/\\", L"`=/\\", L"&#96;&#61;/\\", L"%60%3D%2F%5C", L"\\u0060=\\u002f\\u005c"},
        {L" \t\r\n", L" \t\r\n", L"&#32;&#9;&#13;&#10;", L"%20%09%0D%0A", L" \\u0009\\u000d\\u000a"},
        {std::wstring(1, L'\0') + L"\x1F\x7F", L"␀␟␡", L"␀␟␡", L"%00%1F%7F", L"\\u0000\\u001f\\u007f"},
        {L"\x2028\x2029?#+%", L"\x2028\x2029?#+%", L"\x2028\x2029?#+%", L"%E2%80%A8%E2%80%A9%3F%23%2B%25",
         L"\\u2028\\u2029?#+%"},
    };
    for (const auto& r : tCases) {
        EXPECT_EQ(kit::escapeHtml(r.sText), r.sHtml);
        EXPECT_EQ(kit::escapeAttribute(r.sText), r.sAttribute);
        EXPECT_EQ(kit::escapeUrl(r.sText), r.sUrl);
        EXPECT_EQ(kit::escapeJs(r.sText), r.sJs);
        std::wstring sDecoded;
        const bool bHasNul = r.sText.find(L'\0') != r.sText.npos;
        EXPECT_EQ(kit::decodeUrl(r.sUrl, sDecoded), !bHasNul);
        EXPECT_EQ(sDecoded, bHasNul ? L"" : r.sText);
    }
}

TEST(HtmlWriter, EscapesByThePlaceOfAValue) {
    const std::wstring sEvil = L"\"'><b>\x01 é";
    MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        kit::HtmlWriter tHtml(rStream);
        tHtml.markup(L"<script>if (a < b) {}</script>").text(sEvil).unescaped(L"<i>");
        tHtml.write(L"<p title=\"{}\" class='x'>{}{}</p>\n", sEvil, ZQWString(L"<"), kit::Unescaped(L"<br>"));
        tHtml.write(L"<a href=\"/x/{}?y={}\">{} {} {}</a>", sEvil, -7, 0, std::size_t{18446744073709551615u},
                    std::numeric_limits<long long>::min());
        tHtml.write(L"<style>{ }</style><img alt=\"\" SRC=\"{}\">{}", L"java", L"");
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"),
                HasBody("<script>if (a < b) {}</script>&quot;&#39;&gt;&lt;b&gt;␁ é<i>"
                        "<p title=\"&quot;&#39;&gt;&lt;b&gt;␁ é\" class='x'>&lt;<br></p>\n"
                        "<a href=\"/x/%22%27%3E%3Cb%3E%01%20%C3%A9?y=-7\">0 18446744073709551615 "
                        "-9223372036854775808</a><style>{ }</style><img alt=\"\" SRC=\"java\">"));
}

TEST(HtmlWriter, WritesNoUrlThatIsAScript) {
    const auto fWrite = [](std::wstring_view sUrl) {
        MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
            kit::HtmlWriter(rStream).write(L"<a title='{}' href='{}'></a>", sUrl, sUrl);
            return HttpApplication::kOK;
        });
        return tHost.get("/").sBody;
    };
    for (const std::wstring_view sUrl :
         {L"/a:b?c=d", L"?a:b", L"#a:b", L"", L"https://example.org/", L"HTTP://x", L"mailto:a@b", L"http"})
        EXPECT_THAT(fWrite(sUrl), EndsWith(" href='" + toUtf8(sUrl) + "'></a>"));
    for (const std::wstring_view sUrl : {L"javascript:alert(1)", L" javascript:alert(1)",
                                         L"java\nscript:alert(1)", L"data:text/html,x", L"httpx:", L":"})
        EXPECT_THAT(fWrite(sUrl), EndsWith(" href='about:invalid'></a>"));
}

// What does not compile is tried by the scanner that templates are looked at with.
TEST(HtmlWriter, KnowsWhereAValueMayStand) {
    using kit::detail::EPlace, kit::detail::MarkupScanner;
    const auto fPlace = [](std::wstring_view sMarkup) -> int {
        MarkupScanner tScanner;
        try {
            for (const wchar_t c : sMarkup)
                tScanner.take(c);
            return static_cast<int>(tScanner.place());
        } catch (const char*) {
            return -1;
        }
    };
    const std::pair<int, std::vector<std::wstring_view>> tPlaces[] = {
        {static_cast<int>(EPlace::kText),
         {L"", L"a > b", L"<p>", L"<p class=\"", L"<p class=\"'>", L"<p class=\"<script>", L"<a xhref=\"",
          L"<a href=\"/\" title=\"", L"<script></script>", L"<style></style><p>", L"<scripts>",
          L"<br/><hr />", L"<script></p></SCRIPT\t>", L"<!-- it's <b --->", L"<!-->", L"<p\rx=y class=\"",
          L"<?xml x=\"1\"?>"}},
        {static_cast<int>(EPlace::kUrl),
         {L"<a href='", L"<a title=\"\" href=\"", L"<a title=\"\"href=\"", L"<form Action=\"",
          L"<use xlink:href=\""}},
        {static_cast<int>(EPlace::kUrlPart), {L"<a href=\"/"}},
        {-1,
         {L"<", L"<p", L"<p ", L"<p class=", L"<p class=\"a\"", L"<script>", L"<p onclick=\"", L"<p STYLE='",
          L"<iframe srcdoc=\"", L"<SCRIPT src='x'>a < b", L"<script>\"<p>\"", L"<style>p > a"}},
        {-1,
         {L"<a href =\"", L"<a href= title=\"", L"<a x/href=\"", L"<script/x>", L"<p x=y\"", L"<p x==\"",
          L"<p x=y=\"", L"<p x'y", L"a < b x=\"", L"<script/>", L"<script>'</p>", L"<script></-script>",
          L"<!-- it's -- ><p>", L"<script></scripts>", L"</<a href=\"", L"<!x a=\">\">",
          L"<a href=\" JavaScript:f('"}}};
    for (const auto& [nPlace, rMarkups] : tPlaces)
        for (const std::wstring_view sMarkup : rMarkups)
            EXPECT_EQ(fPlace(sMarkup), nPlace) << toUtf8(sMarkup);
}

}  // namespace
