#include "htmlpage.h"

namespace sample {

namespace {

constexpr const wchar_t* s_ksPolicy =
    L"default-src 'none'; style-src 'self'; script-src 'self'; connect-src 'self'; img-src data:; "
    L"form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

}  // namespace

HtmlPage::HtmlPage(ZQHttpStream& rStream, std::wstring_view sTitle) : HtmlWriter(rStream) {
    rStream.SetFormat(WebContentFormat::kHTML);
    rStream.AddHeader(L"Content-Security-Policy", s_ksPolicy);
    rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    write(
        L"<!DOCTYPE html>\n<html lang=\"en\"><head><title>{}</title>\n"
        L"<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        L"<link rel=\"icon\" href=\"data:,\"><link rel=\"stylesheet\" href=\"/static/sample.css\"></head>\n"
        L"<body><header><a href=\"/\">Sample application</a></header>\n<main><h1>{}</h1>\n",
        sTitle, sTitle);
}

HtmlPage& HtmlPage::row(std::wstring_view sName, std::wstring_view sValue) {
    write(L"<tr><th scope=\"row\">{}</th><td>{}</td></tr>\n", sName, sValue);
    return *this;
}

void HtmlPage::end() {
    markup(
        L"</main>\n<footer>Every page is made by <code>apps/sample</code>.</footer>"
        L"</body></html>\n");
}

}  // namespace sample
