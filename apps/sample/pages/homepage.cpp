#include "htmlpage.h"
#include "pages/pages.h"
#include "router.h"

namespace sample {

EStatus homePage(const PageRequest& rRequest) {
    HtmlPage tPage(rRequest.rStream, L"What an application can do");
    tPage.markup(
        L"<p>Each page shows one thing that an application can do with the stream that it is given.</p>\n");
    tPage.markup(L"<ul class=\"cards\">\n");
    for (const Route& rRoute : getRoutes().subspan(1)) {
        if (rRoute.sTitle.empty()) continue;
        tPage.markup(L"<li><a href=\"").text(rRoute.sPath).markup(L"\"><strong>").text(rRoute.sTitle);
        tPage.markup(L"</strong>").text(rRoute.sAbout).markup(L"</a></li>\n");
    }
    tPage.markup(L"</ul>\n").end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
