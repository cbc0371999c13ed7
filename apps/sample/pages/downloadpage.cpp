#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

namespace {

EStatus sendForm(ZQHttpStream& rStream) {
    HtmlPage tPage(rStream, L"Download");
    tPage.markup(
        L"<p>Type any name: what a file system or a header cannot take is replaced, and a name that is "
        L"too long is shortened before its extension.</p>\n<form accept-charset=\"utf-8\"><label>File name "
        L"<input name=\"name\" value=\"");
    tPage.text(L"Grüße 😀 “2024”.txt").markup(L"\"></label><button>Download</button></form>\n").end();
    return HttpRequestStatus::kOK;
}

}  // namespace

EStatus downloadPage(const PageRequest& rRequest) {
    ZQHttpStream& rStream = rRequest.rStream;
    const ZQWString sName = rRequest.rQuery.get(L"name");
    if (sName.empty()) return sendForm(rStream);
    rStream.SetFormat(WebContentFormat::kText);
    rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, sName));
    rStream.addText(L"This file was asked for as: ");
    rStream.addText(sName);
    rStream.addText(L"\n");
    return HttpRequestStatus::kOK;
}

}  // namespace sample
