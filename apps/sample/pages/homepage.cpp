#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

EStatus homePage(const RoutedRequest& r, State&) {
    HtmlPage tPage(r.rStream, L"What an application can do");
    tPage.markup(
        L"<p>Each page shows one thing that an application can do with the stream that it is given.</p>\n"
        L"<ul class=\"cards\">\n");
    for (const Entry& rEntry : getEntries().subspan(1))
        if (!rEntry.sTitle.empty())
            tPage.write(L"<li><a href=\"{}\"><strong>{}</strong>{}</a></li>\n", rEntry.sPattern,
                        rEntry.sTitle, rEntry.sAbout);
    tPage.markup(L"</ul>\n");
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
