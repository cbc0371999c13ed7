#include <algorithm>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/formdata.h"

namespace sample {

namespace {

EStatus sendForm(ZQHttpStream& rStream) {
    HtmlPage tPage(rStream, L"Redirect");
    tPage.markup(
        L"<p>The answer is <code>302 Found</code> and names the page to go to.</p>\n<form><label>Go to "
        L"<select name=\"to\">\n");
    for (const Entry& rEntry : getEntries())
        if (!rEntry.sTitle.empty())
            tPage.write(L"<option value=\"{}\">{}</option>\n", rEntry.sPattern, rEntry.sTitle);
    tPage.markup(L"</select></label><button>Go</button></form>\n");
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace

EStatus redirectPage(const RoutedRequest& r, State&) {
    const kit::FormData tQuery(r.rStream, r.rRequest);
    const ZQWString* pTo = tQuery.find(L"to");
    if (!pTo) return sendForm(r.rStream);
    // Only to pages of this application: whoever sends visitors anywhere lends phishers its name.
    if (std::ranges::none_of(getEntries(), [pTo](const Entry& rEntry) { return *pTo == rEntry.sPattern; }))
        throw kit::RequestError(400, L"Redirects lead to pages of this application only.");
    r.rStream.SendRedirect(HREFString(*pTo));
    return HttpRequestStatus::kOK;
}

}  // namespace sample
