#include "htmlpage.h"
#include "pages/pages.h"
#include "sampletexts.h"

namespace sample {

EStatus textPage(const PageRequest& rRequest) {
    HtmlPage tPage(rRequest.rStream, L"Text of many scripts");
    tPage.markup(
        L"<p>Applications write wide text, one code point in each character; the stream sends it as ");
    tPage.markup(L"UTF-8. The last five need characters beyond U+FFFF.</p>\n");
    addSampleTexts(tPage);
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
