#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/formdata.h"

namespace sample {

namespace {

EStatus sendForm(ZQHttpStream& rStream) {
    HtmlPage tPage(rStream, L"Download");
    tPage.write(
        L"<p>Type any name: what a file system or a header cannot take is replaced, and a name that is too "
        L"long "
        L"is shortened before its extension.</p>\n<form accept-charset=\"utf-8\"><label>File name "
        L"<input name=\"name\" value=\"{}\"></label><button>Download</button></form>\n",
        L"Grüße 😀 “2024”.txt");
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace

EStatus downloadPage(const RoutedRequest& r, State&) {
    const ZQWString sName = kit::FormData(r.rStream, r.rRequest).get(L"name");
    if (sName.empty()) return sendForm(r.rStream);
    r.rStream.SetFormat(WebContentFormat::kText);
    r.rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    r.rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, sName));
    r.rStream.addText(L"This file was asked for as: ");
    r.rStream.addText(sName);
    r.rStream.addText(L"\n");
    return HttpRequestStatus::kOK;
}

}  // namespace sample
