#include "zq/applicationkit/router.h"

#include <algorithm>

#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

using namespace testing;
using kit::RoutedRequest;
using kit::Router;

namespace {

/// An application that is nothing but a router.
class Routed final : public HttpApplication {
public:
    explicit Routed(std::vector<Router::Route> tRoutes, Router::ErrorPage fErrorPage = {})
        : m_tRouter(std::move(tRoutes), std::move(fErrorPage)) {}
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return m_tRouter.get(rStream, r);
    }
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return m_tRouter.post(rStream, r);
    }
    EStatus soap(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return m_tRouter.soap(rStream, r);
    }

private:
    const Router m_tRouter;
};

/// A page that says its own name, and what its placeholders stand for.
Router::Route route(std::wstring_view sPattern, std::vector<std::wstring_view> tNames = {},
                    Router::EMethod eMethod = Router::kGet) {
    return {eMethod, sPattern, [=](const RoutedRequest& r) {
                r.rStream.addText(sPattern);
                for (const auto sName : tNames)
                    r.rStream.addText(L" [" + std::wstring(r.text(sName)) + L"]");
                return HttpApplication::kOK;
            }};
}

TEST(Router, FindsThePageOfAPathWhateverTheOrderOfTheRoutes) {
    std::vector<Router::Route> tRoutes{
        route(L"/"),
        route(L"/orders"),
        route(L"/orders/"),
        route(L"/orders/new"),
        route(L"/orders/{id}", {L"id"}),
        route(L"/orders/{id}", {}, Router::kPost),
        route(L"/orders/new/now"),
        route(L"/orders/{order}/lines/{line}", {L"line", L"order"}),
        route(L"/orders/new/{x}", {}, Router::kPost),
        route(L"/a/{x}/b", {L"x"}),
        route(L"/{y}/a/c", {L"y"}),
        route(L"/files/{path...}", {L"path"}),
        route(L"/files/one"),
        route(L"/{n}/{m}/{o}/d", {L"n", L"m", L"o"}),
        route(L"/grüße/{wort}", {L"wort"}),
        route(L"/call", {}, Router::kSoap),
        route(L"/both", {}, Router::kPost),
        route(L"/both", {}, Router::kSoap),
    };
    const struct {
        std::string sTarget, sBody;
        unsigned nStatus = 200;
        std::string sAllow = {};
        std::string sMethod = "GET";
    } tCases[] = {
        {"/", "/"},
        {"/orders", "/orders"},
        {"/orders?new", "/orders"},
        {"/orders/", "/orders/"},
        {"/orders/new", "/orders/new"},
        {"/orders/newer", "/orders/{id} [newer]"},
        {"/orders/n%65w", "/orders/new"},
        {"/orders/7%2F8", "/orders/{id} [7/8]"},
        {"/orders%2Fnew", "", 404},
        {"/orders/x%e2%82%AC%20", "/orders/{id} [x€ ]"},
        {"/orders/a+b", "/orders/{id} [a+b]"},
        {"/orders/new/now", "/orders/new/now"},
        {"/orders/new/lines/3", "/orders/{order}/lines/{line} [3] [new]"},
        {"/orders//lines/3", "", 400},  // no module lets that through
        {"/a/a/b", "/a/{x}/b [a]"},
        {"/a/a/c", "/{y}/a/c [a]"},
        {"/a/a/c/e", "", 404},
        {"/a/b/c/d", "/{n}/{m}/{o}/d [a] [b] [c]"},
        {"/files", "", 404},
        {"/files/", "/files/{path...} []"},
        {"/files/one", "/files/one"},
        {"/files/one/", "/files/{path...} [one/]"},
        {"/files/one/b%2Fc", "/files/{path...} [one/b/c]"},
        {"/Orders", "", 404},
        {"/gr%C3%BC%C3%9Fe/x", "/grüße/{wort} [x]"},
        {"/orders/x%", "", 400},
        {"/orders/x%4", "", 400},
        {"/orders/x%4g", "", 400},
        {"/orders/x%00", "", 400},
        {"/orders/x%C3", "", 400},
        {"/orders/1", "/orders/{id}", 200, "", "POST"},
        {"/orders/new", "/orders/{id}", 200, "", "POST"},
        {"/orders", "", 405, "GET, HEAD", "POST"},
        {"/orders/new/x", "", 405, "POST"},
        {"/call?soap", "/call", 200, "", "POST"},
        {"/call", "", 405, "POST", "POST"},
        {"/both?soap", "/both", 200, "", "POST"},
        {"/both", "", 405, "POST"},
    };
    for (int nOrder = 0; nOrder < 2; ++nOrder, std::ranges::reverse(tRoutes)) {
        Routed tApplication(tRoutes);
        MemoryHost tHost(tApplication);
        for (const auto& r : tCases) {
            SCOPED_TRACE(r.sMethod + ' ' + r.sTarget);
            const MemoryResponse tResponse = tHost.run({.sMethod = r.sMethod, .sTarget = r.sTarget});
            EXPECT_THAT(tResponse, AllOf(HasStatus(r.nStatus), IsWhole()));
            if (r.nStatus == 200) {
                EXPECT_THAT(tResponse, HasBody(r.sBody));
            }
            EXPECT_THAT(
                tResponse.getValues("Allow"),
                r.sAllow.empty() ? IsEmpty() : Matcher<std::vector<std::string>>(ElementsAre(r.sAllow)));
        }
    }
}

TEST(Router, RefusesPatternsThatAreNoneOrNeverReached) {
    const std::vector<std::wstring_view> tCases[] = {
        {L""},
        {L"orders"},
        {L"/{}"},
        {L"/{...}"},
        {L"/{x"},
        {L"/x}"},
        {L"/{x}{y}"},
        {L"/%20"},
        {L"/{a...}/x"},
        {L"/{a}/{a}"},
        {L"/{a}/{b}/{c}/{d}/{e}/{f}/{g}/{h}/{i}"},
        {L"/x", L"/x"},
        {L"/{a}", L"/{b}"},
        {L"/x/{a...}", L"/x/{b...}"},
    };
    for (const auto& rPatterns : tCases) {
        std::vector<Router::Route> tRoutes;
        for (const auto sPattern : rPatterns)
            tRoutes.push_back(route(sPattern));
        EXPECT_THROW(Router{tRoutes}, std::invalid_argument) << toUtf8(rPatterns[0]);
    }
    EXPECT_THROW(Router({{Router::kGet, L"/x", nullptr}}), std::invalid_argument);
}

TEST(Router, GivesNumbersOrSaysWhatTheyShouldBe) {
    MemoryResponse tResponse;
    Routed tApplication({{Router::kGet, L"/{n}",
                          [](const RoutedRequest& r) {
                              r.rStream.AddHeader(L"X-Gone", L"with what the page has said");
                              r.rStream.addText(std::to_wstring(r.number(L"n", -5, 99)));
                              return HttpApplication::kOK;
                          }},
                         {Router::kGet, L"/int/{n}",
                          [](const RoutedRequest& r) {
                              r.rStream.addText(std::to_wstring(r.number(L"n")));
                              return HttpApplication::kOK;
                          }},
                         {Router::kGet, L"/id/{n}",
                          [](const RoutedRequest& r) {
                              r.rStream.addText(std::to_wstring(r.number<long long>(L"n", 1)));
                              return HttpApplication::kOK;
                          }},
                         {Router::kGet, L"/wrong/{n}", [](const RoutedRequest& r) {
                              r.rStream.addText(r.text(L"m"));
                              return HttpApplication::kOK;
                          }}});
    MemoryHost tHost(tApplication);
    const struct {
        const char *pTarget, *pBody;
    } tCases[] = {
        {"/99", "99"},
        {"/007", "7"},
        {"/0%30", "0"},
        {"/int/2147483647", "2147483647"},
        {"/int/2147483648", nullptr},
        {"/id/9223372036854775807", "9223372036854775807"},
        {"/id/9223372036854775808", nullptr},
        {"/id/99999999999999999999", nullptr},
        {"/id/0", nullptr},
        {"/100", nullptr},
        {"/-6", nullptr},
        {"/1%2D", nullptr},
        {"/1e1", nullptr},
        {"/1%2B", nullptr},
        {"/1%D9%A1", nullptr},
        {"/1%20", nullptr},
    };
    for (const auto& r : tCases) {
        SCOPED_TRACE(r.pTarget);
        tResponse = tHost.get(r.pTarget);
        EXPECT_THAT(tResponse, HasStatus(r.pBody ? 200u : 400u));
        if (r.pBody) {
            EXPECT_THAT(tResponse, HasBody(r.pBody));
        } else {
            EXPECT_THAT(tResponse.getValues("X-Gone"), IsEmpty());
        }
    }
    EXPECT_THAT(tHost.get("/x"),
                HasBody("In this address, \"x\" should be a whole number from -5 to 99 (n).\n"));
    EXPECT_THAT(tHost.get("/id/x"), HasBody(HasSubstr("should be a whole number of at least 1 (n)")));
    EXPECT_THAT(tHost.get("/int/x"), HasBody(HasSubstr("should be a whole number (n)")));
    EXPECT_THAT(tHost.get("/wrong/x"), IsAborted(_));
}

TEST(Router, AnswersWithTheErrorPageUnlessTheResponseIsUnderWay) {
    const auto fThrow = [](bool bFlush) {
        return [bFlush](const RoutedRequest& r) -> HttpApplication::EStatus {
            r.rStream.addText(L"begun");
            if (bFlush) r.rStream.Flush();
            throw kit::RequestError(409, L"Somebody <else> was first.");
        };
    };
    Routed tApplication({{Router::kGet, L"/early", fThrow(false)}, {Router::kGet, L"/late", fThrow(true)}},
                        [](ZQHttpStream& rStream, const kit::RequestError& rError) {
                            rStream.addText(std::to_wstring(rError.getStatus()) + L": ");
                            rStream.addText(rError.getMessageText());
                        });
    MemoryHost tHost(tApplication);
    EXPECT_THAT(tHost.get("/early"), AllOf(HasStatus(409), HasBody("409: Somebody <else> was first.")));
    EXPECT_THAT(tHost.get("/late"), AllOf(HasBody("begun"), IsAborted("Somebody <else> was first.")));
    EXPECT_THAT(tHost.get("/none"), HasBody("404: There is nothing at this address."));
}

}  // namespace
