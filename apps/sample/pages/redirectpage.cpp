#include "htmlpage.h"
#include "pages/pages.h"
#include "router.h"

namespace sample {

namespace {

EStatus sendForm(ZQHttpStream& rStream) {
    HtmlPage tPage(rStream, L"Redirect");
    tPage.markup(
        L"<p>The answer is <code>302 Found</code> and names the page to go to.</p>\n<form><label>Go to ");
    tPage.markup(L"<select name=\"to\">\n");
    for (const Route& rRoute : getRoutes()) {
        if (rRoute.sTitle.empty()) continue;
        tPage.markup(L"<option value=\"").text(rRoute.sPath).markup(L"\">").text(rRoute.sTitle);
        tPage.markup(L"</option>\n");
    }
    tPage.markup(L"</select></label><button>Go</button></form>\n").end();
    return HttpRequestStatus::kOK;
}

}  // namespace

EStatus redirectPage(const PageRequest& rRequest) {
    const ZQWString* pTo = rRequest.rQuery.find(L"to");
    if (!pTo) return sendForm(rRequest.rStream);
    // Only to pages of this application: whoever sends visitors anywhere lends phishers its name.
    const Route* pRoute = findRoute(*pTo);
    if (!pRoute)
        return badRequestPage(rRequest.rStream, L"Redirects lead to pages of this application only.");
    rRequest.rStream.SendRedirect(HREFString(ZQWString(pRoute->sPath)));
    return HttpRequestStatus::kOK;
}

}  // namespace sample
