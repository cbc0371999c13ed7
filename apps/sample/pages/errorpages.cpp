#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

EStatus missingPage(const PageRequest& rRequest) {
    rRequest.rStream.SendNotFound();
    HtmlPage tPage(rRequest.rStream, L"There is no such page");
    tPage.markup(L"<p>Nothing is served at <code>").text(rRequest.sPath);
    tPage.markup(L"</code>. The <a href=\"/\">start page</a> lists what there is.</p>\n").end();
    return HttpRequestStatus::kOK;
}

EStatus badRequestPage(ZQHttpStream& rStream, std::wstring_view sReason) {
    HtmlPage tPage(rStream, L"That cannot be served");
    tPage.markup(L"<p>")
        .text(sReason)
        .markup(L"</p>\n<p><a href=\"/\">Back to the start page</a></p>\n")
        .end();
    return HttpRequestStatus::kBadRequest;
}

}  // namespace sample
