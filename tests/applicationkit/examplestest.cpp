// The examples of the headers, line by line as they stand there.

#include <fcntl.h>

#include "support/temporarydirectory.h"
#include "zq/applicationkit/cookies.h"
#include "zq/applicationkit/escape.h"
#include "zq/applicationkit/formdata.h"
#include "zq/applicationkit/htmlwriter.h"
#include "zq/applicationkit/jsonbody.h"
#include "zq/applicationkit/router.h"
#include "zq/applicationkit/sendfile.h"
#include "zq/applicationkit/staticfiles.h"
#include "zq/applicationkit/temporaryfolder.h"
#include "zq/applicationkit/uploadedfile.h"
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

TEST(Example, FormData) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
        kit::FormData tForm(rStream, rRequest);
        const ZQWString sName = tForm.required(L"name", L"Your name");
        const int nGuests = tForm.number(L"guests", 1, 12, L"Guests");
        tForm.check();  // or show tForm.getProblems() beside the fields
        rStream.addText(std::wstring(sName) + L" and " + std::to_wstring(nGuests - 1));
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.run(MemoryRequest::form("/", "name=Zo%C3%AB&guests=3")), HasBody("Zoë and 2"));
}

TEST(Example, Cookies) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        const kit::Cookies tCookies(rStream);
        const std::string sTheme = tCookies.get("theme", "light");
        kit::Cookies::set(rStream, "theme", "dark", {.tMaxAge = std::chrono::hours(24)});
        kit::Cookies::remove(rStream, "old");
        rStream.addText(fromUtf8(sTheme));
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.run({.tHeaders = {{"Cookie", "theme=blue"}}}),
                AllOf(HasBody("blue"), HasHeader("Set-Cookie", StartsWith("old=; Path=/; Max-Age=0;")),
                      HasHeader("Set-Cookie", "theme=dark; Path=/; Max-Age=86400; HttpOnly; SameSite=Lax")));
}

TEST(Example, StaticFiles) {
    const test::TemporaryDirectory tFolder;
    tFolder.write("shop.css", "p { margin: 0 }");
    const std::string sFolder = tFolder.path();
    const kit::StaticFiles tFiles(sFolder);
    const kit::Router tRouter({{kit::Router::kGet, L"/static/{path...}",
                                [&](const auto& r) { return tFiles.send(r.rStream, r.text(L"path")); }}});
    MemoryHost tHost([&](auto& rStream, auto& rRequest) { return tRouter.get(rStream, rRequest); });
    EXPECT_THAT(tHost.get("/static/shop.css"),
                AllOf(HasBody("p { margin: 0 }"), HasHeader("Content-Type", "text/css; charset=utf-8")));
}

TEST(Example, Json) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
        const kit::JsonBody tOrder(rStream, rRequest);
        const auto nPieces = tOrder.get<unsigned>("pieces");
        if (nPieces > 99) throw kit::RequestError(400, L"There are 99 pieces.");
        rStream.setStatusCode(201);
        kit::sendJson(rStream, {{"ordered", nPieces}, {"item", tOrder.get<std::string>("item")}});
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.run(MemoryRequest::post("/", "application/json", R"({"item": "tea", "pieces": 3})")),
                AllOf(HasStatus(201), HasBody(R"({"item":"tea","ordered":3})")));
}

TEST(Example, Files) {
    const kit::TemporaryFolder tFolder("shop-bills-", {".pdf"});
    const std::string sPath = tFolder.getPath() + "/1.pdf";
    kit::NamelessFile tBill(tFolder.getPath());
    tBill.append("%PDF-1.7");
    tBill.keepAs(sPath);  // from now on it is there, and whole
    MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        const kit::Descriptor tFile(open(sPath.c_str(), O_RDONLY | O_CLOEXEC));
        if (!tFile) throw kit::RequestError(404, L"There is no such bill.");
        rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, L"bill.pdf"));
        kit::sendFile(rStream, tFile, {.sType = L"application/pdf"});
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"), AllOf(HasBody("%PDF-1.7"), HasHeader("Content-Type", "application/pdf")));
}

}  // namespace
