#include "zq/applicationkit/router.h"

#include <algorithm>

#include "applicationkit/records.h"

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
    std::vector<Router::Route> tRoutes{route(L"/"),
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
                                       route(L"/glbvs"),
                                       route(L"/call", {}, Router::kSoap),
                                       route(L"/both", {}, Router::kPost),
                                       route(L"/both", {}, Router::kSoap)};
    for (int nOrder = 0; nOrder < 2; ++nOrder, std::ranges::reverse(tRoutes)) {
        Routed tApplication(tRoutes);
        MemoryHost tHost(tApplication);
        test::playRecords("routes.txt", tHost);
    }
}

TEST(Router, RefusesPatternsThatAreNoneOrNeverReached) {
    const std::vector<std::wstring_view> tCases[] = {{L""},
                                                     {L"orders"},
                                                     {L"/{}"},
                                                     {L"/{...}"},
                                                     {L"/{x"},
                                                     {L"/x}"},
                                                     {L"/{x}{y}"},
                                                     {L"/%20"},
                                                     {L"/{a...}/x"},
                                                     {L"/{a}/{a}"},
                                                     {L"/x", L"/x"},
                                                     {L"/{a}", L"/{b}"},
                                                     {L"/{a}/{b}/{c}/{d}/{e}/{f}/{g}/{h}/{i}"},
                                                     {L"/x/{a...}", L"/x/{b...}"}};
    for (const auto& rPatterns : tCases) {
        std::vector<Router::Route> tRoutes;
        for (const auto sPattern : rPatterns)
            tRoutes.push_back(route(sPattern));
        EXPECT_THROW(Router{tRoutes}, std::invalid_argument) << toUtf8(rPatterns[0]);
    }
    EXPECT_THROW(Router({{Router::kGet, L"/x", nullptr}}), std::invalid_argument);
}

template <class T>
Router::Route number(std::wstring_view sPattern, T nLeast, T nMost) {
    return {Router::kGet, sPattern, [=](const RoutedRequest& r) {
                r.rStream.AddHeader(L"X-Gone", L"with what the page has said");
                r.rStream.addText(std::to_wstring(r.number(L"n", nLeast, nMost)));
                return HttpApplication::kOK;
            }};
}

TEST(Router, GivesNumbersOrSaysWhatTheyShouldBe) {
    using Limits = std::numeric_limits<int>;
    Routed tApplication({number(L"/{n}", -5, 99), number(L"/int/{n}", Limits::min(), Limits::max()),
                         number(L"/id/{n}", 1LL, std::numeric_limits<long long>::max()),
                         route(L"/wrong/{n}", {L"m"})});
    MemoryHost tHost(tApplication);
    test::playRecords("numbers.txt", tHost);
    EXPECT_THAT(tHost.get("/x").getValues("X-Gone"), IsEmpty());
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
