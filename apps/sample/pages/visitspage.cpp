#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/cookies.h"

namespace sample {

EStatus visitsPage(const RoutedRequest& r, State&) {
    long long nVisits = 0;  // also when the browser sends what is no number
    kit::parseNumber(fromUtf8(kit::Cookies(r.rStream).get("visits")), 0, 999'999, nVisits);
    kit::Cookies::set(r.rStream, "visits", std::to_string(++nVisits), {.tMaxAge = std::chrono::hours(24)});
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Cookie");
    tPage.write(L"<p>This is your visit number {}. No script can see the cookie, nor any other site.</p>\n",
                nVisits);
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
