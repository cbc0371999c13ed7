#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

EStatus slowPage(const RoutedRequest& r, State& rState) {
    constexpr int knSteps = 10;
    constexpr std::chrono::milliseconds knStep(500);
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Slow response");
    tPage.markup(L"<p>Each step takes half a second and is sent when it is done.</p>\n<ul>\n");
    r.rStream.Flush();
    bool bStops = false;
    for (int n = 1; n <= knSteps && !bStops; ++n) {
        bStops = rState.tShutdown.waitFor(knStep);
        if (!bStops) tPage.write(L"<li>Step {} of {} is done.</li>\n", n, knSteps);
        if (!bStops) r.rStream.Flush();
    }
    tPage.write(L"</ul>\n<p><strong>{}</strong></p>\n",
                bStops ? L"The server stops; the other steps are left out." : L"Finished.");
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
