#include "zq/applicationkit/cookies.h"

#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

using namespace testing;
using kit::Cookies;

namespace {

TEST(Cookies, AreReadAsTheyCome) {
    const struct {
        std::vector<std::string> tFields;
        std::vector<std::pair<std::string, std::string>> tPairs;
    } tCases[] = {
        {{}, {}},
        {{""}, {}},
        {{"a=1"}, {{"a", "1"}}},
        {{"a=1; b=2;c=3 ; d = 4"}, {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}}},
        {{"a=1", "a=2;A=3"}, {{"a", "1"}, {"a", "2"}, {"A", "3"}}},
        {{"a=b=c;;x;=y;a="}, {{"a", "b=c"}, {"", "y"}, {"a", ""}}},
        {{"a=\"x y\"; b=\xC3\xA9;"}, {{"a", "\"x y\""}, {"b", "\xC3\xA9"}}},
    };
    for (const auto& r : tCases) {
        MemoryRequest tRequest;
        for (const std::string& s : r.tFields)
            tRequest.tHeaders.emplace_back("Cookie", s);
        MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
            const Cookies tCookies(rStream);
            EXPECT_EQ(tCookies.getAll(), r.tPairs);
            EXPECT_EQ(tCookies.get("a", "none"), r.tPairs.empty() ? "none" : r.tPairs[0].second);
            EXPECT_EQ(tCookies.find("none"), nullptr);
            return HttpApplication::kOK;
        });
        EXPECT_THAT(tHost.run(tRequest), IsWhole());
    }
}

TEST(Cookies, AreSetSafelyOrNotAtAll) {
    using enum Cookies::ESecure;
    using enum Cookies::ESameSite;
    const std::string sLong(4063, 'x');
    const struct {
        std::string sName, sValue;
        Cookies::Attributes tAttributes;
        std::string sField;  ///< what is added; empty: refused
        bool bHttps = false;
    } tCases[] = {
        {"a", "1", {}, "a=1; Path=/; HttpOnly; SameSite=Lax"},
        {"a", "1", {}, "a=1; Path=/; Secure; HttpOnly; SameSite=Lax", true},
        {"a", "", {.eSecure = kNever}, "a=; Path=/; HttpOnly; SameSite=Lax", true},
        {"a", "\"!#~\"", {.eSecure = kAlways}, "a=\"!#~\"; Path=/; Secure; HttpOnly; SameSite=Lax"},
        {"a!#$%&'*+-.^_`|~9", "1", {.bHttpOnly = false}, "a!#$%&'*+-.^_`|~9=1; Path=/; SameSite=Lax"},
        {"a",
         "1",
         {.sPath = "/x y",
          .sDomain = "example.org",
          .tMaxAge = std::chrono::minutes(2),
          .eSameSite = kStrict},
         "a=1; Path=/x y; Domain=example.org; Max-Age=120; HttpOnly; SameSite=Strict"},
        {"a",
         "1",
         {.tMaxAge = std::chrono::seconds(-1)},
         "a=1; Path=/; Max-Age=0; Expires=Thu, 01 Jan 1970 00:00:00 GMT; HttpOnly; SameSite=Lax"},
        {"a", "1", {.eSameSite = kNone}, "a=1; Path=/; Secure; HttpOnly; SameSite=None"},
        {"__Secure-a",
         "1",
         {.sDomain = "x"},
         "__Secure-a=1; Path=/; Domain=x; Secure; HttpOnly; SameSite=Lax"},
        {"__Host-a", "1", {}, "__Host-a=1; Path=/; Secure; HttpOnly; SameSite=Lax"},
        {"a", sLong.substr(1), {}, "a=" + sLong.substr(1) + "; Path=/; HttpOnly; SameSite=Lax"},
        {"a", sLong, {}, ""},
        {"__hOst-a", "1", {.sPath = "/x"}, ""},
        {"__Host-a", "1", {.sDomain = "x"}, ""},
        {"__Host-a", "1", {.eSecure = kNever}, ""},
        {"__SECURE-a", "1", {.eSecure = kNever}, ""},
        {"a", "1", {.eSecure = kNever, .eSameSite = kNone}, ""},
        {"", "1", {}, ""},
        {"a", "1", {.sPath = ""}, ""},
        {"a", "1", {.sPath = "x"}, ""},
        {"a", "1", {.sPath = "/;HttpOnly"}, ""},
        {"a", "1", {.sPath = "/\r\nX: y"}, ""},
        {"a", "1", {.sPath = "/é"}, ""},
        {"a", "1", {.sDomain = "x;y"}, ""},
        {"a", "1", {.sDomain = "x\ny"}, ""},
        {"a", "\"", {}, ""},
        {"a", "\"x", {}, ""},
    };
    for (const auto& r : tCases) {
        SCOPED_TRACE(r.sName + '=' + r.sValue.substr(0, 20));
        MemoryHost tHost([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
            Cookies::set(rStream, r.sName, r.sValue, r.tAttributes);
            return HttpApplication::kOK;
        });
        const MemoryResponse tResponse = tHost.run({.tVariables = {{"HTTPS", r.bHttps ? "on" : "off"}}});
        EXPECT_THAT(tResponse.getValues("Set-Cookie"), ElementsAreArray(&r.sField, r.sField.empty() ? 0 : 1));
        EXPECT_EQ(tResponse.pException != nullptr, r.sField.empty());
    }
}

TEST(Cookies, RefuseEveryByteThatMeansSomethingElse) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        std::string sNames, sValues;
        for (int n = 0; n < 256; ++n) {
            const char c = static_cast<char>(n);
            const auto fAdd = [&](std::string& rsTaken, std::string_view sName, std::string_view sValue) {
                try {
                    Cookies::set(rStream, sName, sValue);
                    rsTaken += c;
                } catch (const std::invalid_argument&) {
                }
            };
            fAdd(sNames, std::string("x") + c, "");
            fAdd(sValues, "x", std::string("x") + c);
        }
        EXPECT_EQ(sNames, "!#$%&'*+-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ^_`abcdefghijklmnopqrstuvwxyz|~");
        EXPECT_EQ(sValues,
                  "!#$%&'()*+-./0123456789:<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[]^_`"
                  "abcdefghijklmnopqrstuvwxyz{|}~");
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tHost.get("/"), IsWhole());
}

}  // namespace
