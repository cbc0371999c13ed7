// The examples of the headers, which the build has made files of.

#include <fcntl.h>

#include "support/temporarydirectory.h"
#include "zq/applicationkit/cookies.h"
#include "zq/applicationkit/descriptor.h"
#include "zq/applicationkit/escape.h"
#include "zq/applicationkit/formdata.h"
#include "zq/applicationkit/htmlwriter.h"
#include "zq/applicationkit/jsonbody.h"
#include "zq/applicationkit/numbertext.h"
#include "zq/applicationkit/requesterror.h"
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
#include "example/router.inc"
    EXPECT_THAT(tHost.get("/orders/17"), HasBody("Order 17"));
}

TEST(Example, WhatCanBeWrong) {
    const test::TemporaryDirectory tFolder;
    const std::string sPath = tFolder.write("empty", "");
#include "example/descriptor.inc"
    EXPECT_TRUE(bEmpty);
    const std::wstring sAge = L"old";
    std::wstring sProblem;
#include "example/numbertext.inc"
    EXPECT_EQ(sProblem, L"Your age should be a whole number from 0 to 150.");
    const auto fAnswer = [&] {
#include "example/requesterror.inc"
    };
    EXPECT_THROW(fAnswer(), kit::RequestError);
}

TEST(Example, Escape) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
#include "example/escape.inc"
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"), HasBody(AllOf(Not(HasSubstr("<b>")), HasSubstr("&lt;b&gt;"))));
}

TEST(Example, HtmlWriter) {
    const std::wstring sWhat = L"fish & <chips>";
    const int nPage = 1;
    MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
#include "example/htmlwriter.inc"
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"),
                HasBody(HasSubstr("<a href=\"/find?page=2&amp;what=fish%20%26%20%3Cchips%3E")));
}

TEST(Example, FormData) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
#include "example/formdata.inc"
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.run(MemoryRequest::form("/", "name=Zo%C3%AB&guests=3")), HasBody("Zoë and 2"));
}

TEST(Example, Cookies) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
#include "example/cookies.inc"
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
#include "example/staticfiles.inc"
    EXPECT_THAT(tHost.get("/static/shop.css"),
                AllOf(HasBody("p { margin: 0 }"), HasHeader("Content-Type", "text/css; charset=utf-8")));
}

TEST(Example, Json) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
#include "example/jsonbody.inc"
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.run(MemoryRequest::post("/", "application/json", R"({"item": "tea", "pieces": 3})")),
                AllOf(HasStatus(201), HasBody(R"({"item":"tea","ordered":3})")));
}

TEST(Example, Files) {
#include "example/temporaryfolder.inc"
#include "example/uploadedfile.inc"
    MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
#include "example/sendfile.inc"
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"), AllOf(HasBody("%PDF-1.7"), HasHeader("Content-Type", "application/pdf")));
}

}  // namespace
