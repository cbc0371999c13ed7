#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

EStatus productsPage(const RoutedRequest& r, State&) {
    HtmlPage tPage(r.rStream, L"Numbers in the path");
    tPage.markup(L"<ul>\n");
    for (int n = 1; n <= 5; ++n)
        tPage.write(L"<li><a href=\"/product/{}/{}\">{} × {}</a></li>\n", n, n * n, n, n * n);
    tPage.markup(L"<li><a href=\"/product/6/many\">6 × many</a></li>\n</ul>\n");
    tPage.end();
    return HttpRequestStatus::kOK;
}

EStatus productPage(const RoutedRequest& r, State&) {
    const auto nA = r.number<long long>(L"a", 0, 1'000'000), nB = r.number<long long>(L"b", 0, 1'000'000);
    HtmlPage tPage(r.rStream, L"A product");
    tPage.write(L"<p>{} × {} = <strong>{}</strong></p>\n", nA, nB, nA * nB);
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
