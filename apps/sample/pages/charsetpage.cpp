#include "htmlpage.h"
#include "pages/pages.h"
#include "sampletexts.h"

namespace sample {

namespace {

/// Labels that browsers know too. The server knows many more.
constexpr std::wstring_view s_ksLabels[] = {
    L"utf-8",      L"unicode",      L"unicodeFFFE", L"iso-8859-1", L"iso-8859-2",   L"windows-1252",
    L"iso-8859-7", L"windows-1251", L"koi8-r",      L"iso-8859-8", L"windows-1256", L"tis-620",
    L"shift_jis",  L"euc-jp",       L"gb18030",     L"big5",       L"euc-kr"};

void addForm(HtmlPage& rPage, std::wstring_view sLabel) {
    rPage.markup(
        L"<form accept-charset=\"utf-8\"><label>Label <input name=\"label\" list=\"labels\" value=\"");
    rPage.text(sLabel).markup(L"\"></label><datalist id=\"labels\">");
    for (const std::wstring_view sKnown : s_ksLabels)
        rPage.markup(L"<option value=\"").text(sKnown).markup(L"\">");
    rPage.markup(L"</datalist><button>Show</button></form>\n<p class=\"choices\">");
    for (const std::wstring_view sKnown : s_ksLabels)
        rPage.markup(L"<a href=\"?label=").text(sKnown).markup(L"\">").text(sKnown).markup(L"</a> ");
    rPage.markup(L"</p>\n");
}

EStatus refuse(ZQHttpStream& rStream, std::wstring_view sLabel) {
    HtmlPage tPage(rStream, L"Unknown character set");
    tPage.markup(L"<p>No character set is known as <code>")
        .text(sLabel)
        .markup(L"</code>. Choose another one.</p>\n");
    addForm(tPage, L"utf-8");
    tPage.end();
    return HttpRequestStatus::kBadParam;
}

}  // namespace

EStatus charsetPage(const PageRequest& rRequest) {
    const ZQWString sLabel = rRequest.rQuery.get(L"label", L"utf-8");
    try {
        rRequest.rStream.SetOutputCharset(CharacterSet::find(sLabel));
    } catch (const CharacterSet::UnknownCharset&) {
        return refuse(rRequest.rStream, sLabel);
    }
    HtmlPage tPage(rRequest.rStream, L"Character sets");
    tPage.markup(L"<p>This page is sent as <code>")
        .text(sLabel)
        .markup(L"</code>. Characters that it lacks are sent ");
    tPage.markup(L"as numeric references, so that every line reads the same.</p>\n");
    addForm(tPage, sLabel);
    addSampleTexts(tPage);
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
