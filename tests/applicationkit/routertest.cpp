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

/// A page that says its own pattern, and what its placeholders stand for. sRoute may begin with a method.
Router::Route route(std::wstring_view sRoute) {
    const auto eMethod = sRoute.starts_with(L"POST")   ? Router::kPost
                         : sRoute.starts_with(L"SOAP") ? Router::kSoap
                                                       : Router::kGet;
    const std::wstring_view sPattern = eMethod == Router::kGet ? sRoute : sRoute.substr(5);
    return {eMethod, sPattern, [sPattern](const RoutedRequest& r) {
                r.rStream.addText(sPattern);
                for (std::size_t n = 0; (n = sPattern.find(L'{', n)) != sPattern.npos; ++n) {
                    const std::wstring_view sName =
                        sPattern.substr(n + 1, sPattern.find_first_of(L".}", n) - n - 1);
                    r.rStream.addText(L" [" + std::wstring(r.text(sName)) + L"]");
                }
                return HttpApplication::kOK;
            }};
}

TEST(Router, FindsThePageOfAPathWhateverTheOrderOfTheRoutes) {
    std::vector<Router::Route> tRoutes;
    for (const wchar_t* pRoute :
         {L"/", L"/orders", L"/orders/", L"/orders/new", L"/orders/{id}", L"POST /orders/{id}",
          L"/orders/new/now", L"/orders/{order}/lines/{line}", L"POST /orders/new/{x}", L"/a/{x}/b",
          L"/{y}/a/c", L"/files/{path...}", L"/files/one", L"/{n}/{m}/{o}/d", L"/grüße/{wort}", L"/glbvs",
          L"SOAP /call", L"POST /both", L"SOAP /both"})
        tRoutes.push_back(route(pRoute));
    for (int nOrder = 0; nOrder < 2; ++nOrder, std::ranges::reverse(tRoutes)) {
        Routed tApplication(tRoutes);
        MemoryHost tHost(tApplication);
        test::playRecords("routes.txt", tHost);
    }
}

TEST(Router, RefusesPatternsThatAreNoneOrNeverReached) {
    for (const std::wstring_view sPatterns :
         {L"", L"orders", L"/{}", L"/{...}", L"/{x", L"/x}", L"/{x}{y}", L"/%20", L"/{a...}/x", L"/{a}/{a}",
          L"/x /x", L"/{a} /{b}", L"/{a}/{b}/{c}/{d}/{e}/{f}/{g}/{h}/{i}", L"/x/{a...} /x/{b...}"}) {
        std::vector<Router::Route> tRoutes{route(sPatterns.substr(0, sPatterns.find(L' ')))};
        if (const std::size_t n = sPatterns.find(L' '); n != sPatterns.npos)
            tRoutes.push_back(route(sPatterns.substr(n + 1)));
        EXPECT_THROW(Router{tRoutes}, std::invalid_argument) << toUtf8(sPatterns);
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
    Routed tApplication({number(L"/{n}", -5, 99),
                         number(L"/int/{n}", Limits::min(), Limits::max()),
                         number(L"/id/{n}", 1LL, std::numeric_limits<long long>::max()),
                         {Router::kGet, L"/wrong/{n}", [](const RoutedRequest& r) {
                              r.rStream.addText(r.text(L"m"));
                              return HttpApplication::kOK;
                          }}});
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
