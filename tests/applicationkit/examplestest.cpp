// The examples of the headers, line by line as they stand there.

#include "zq/applicationkit/escape.h"
#include "zq/applicationkit/htmlwriter.h"
#include "zq/applicationkit/router.h"
#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

using namespace testing;

namespace {

TEST(Example, Router) {
    const kit::Router tRouter({{kit::Router::kGet, L"/orders/{id}", [](const kit::RoutedRequest& r) {
                                    const int nId = r.number(L"id", 1, 9999);
                                    r.rStream.addText(L"Order " + std::to_wstring(nId));
                                    return HttpApplication::kOK;
                                }}});
    MemoryHost tHost([&](auto& rStream, auto& rRequest) { return tRouter.get(rStream, rRequest); });
    EXPECT_THAT(tHost.get("/orders/17"), HasBody("Order 17"));
}

TEST(Example, Escape) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        const std::wstring sName = L"<b>O'Neill & \"co\"</b>";
        rStream.addText(L"<p title=\"" + kit::escapeAttribute(sName) + L"\">" + kit::escapeHtml(sName));
        rStream.addText(L"</p>\n<a href=\"/find?name=" + kit::escapeUrl(sName) + L"\">find</a>");
        rStream.addText(L"<script>const name = '" + kit::escapeJs(sName) + L"';</script>");
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"), HasBody(AllOf(Not(HasSubstr("<b>")), HasSubstr("&lt;b&gt;"))));
}

TEST(Example, HtmlWriter) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        const std::wstring sWhat = L"fish & <chips>";
        const int nPage = 1;
        kit::HtmlWriter tHtml(rStream);
        tHtml.markup(L"<!DOCTYPE html>\n<title>Search</title>\n");
        tHtml.write(L"<p title=\"{}\">You look for {}.</p>\n", sWhat, sWhat);
        tHtml.write(L"<a href=\"/find?page={}&amp;what={}\">more</a>\n", nPage + 1, sWhat);
        tHtml.unescaped(L"<!-- the word for a reviewer to look for -->\n");
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"),
                HasBody(HasSubstr("<a href=\"/find?page=2&amp;what=fish%20%26%20%3Cchips%3E")));
}

}  // namespace
