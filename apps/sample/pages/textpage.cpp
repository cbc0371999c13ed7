#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

EStatus textPage(const RoutedRequest& r, State&) {
    HtmlPage tPage(r.rStream, L"Text of many scripts");
    tPage.markup(
        L"<p>Applications write wide text, one code point in each character; the stream sends it as UTF-8. "
        L"The "
        L"last five need characters beyond U+FFFF.</p>\n");
    tPage.sampleTexts().end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
