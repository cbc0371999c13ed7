#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/formdata.h"

namespace sample {

namespace {

/// Labels that browsers know too. The server knows many more.
constexpr std::wstring_view s_ksLabels[] = {
    L"utf-8",      L"unicode",      L"unicodeFFFE", L"iso-8859-1", L"iso-8859-2",   L"windows-1252",
    L"iso-8859-7", L"windows-1251", L"koi8-r",      L"iso-8859-8", L"windows-1256", L"tis-620",
    L"shift_jis",  L"euc-jp",       L"gb18030",     L"big5",       L"euc-kr"};

void addForm(HtmlPage& rPage, std::wstring_view sLabel) {
    rPage.write(
        L"<form accept-charset=\"utf-8\"><label>Label <input name=\"label\" list=\"labels\" "
        L"value=\"{}\"></label>"
        L"<datalist id=\"labels\">",
        sLabel);
    for (const std::wstring_view sKnown : s_ksLabels)
        rPage.write(L"<option value=\"{}\">", sKnown);
    rPage.markup(L"</datalist><button>Show</button></form>\n<p class=\"choices\">");
    for (const std::wstring_view sKnown : s_ksLabels)
        rPage.write(L"<a href=\"?label={}\">{}</a> ", sKnown, sKnown);
    rPage.markup(L"</p>\n");
}

EStatus refuse(ZQHttpStream& rStream, std::wstring_view sLabel) {
    HtmlPage tPage(rStream, L"Unknown character set");
    tPage.write(L"<p>No character set is known as <code>{}</code>. Choose another one.</p>\n", sLabel);
    addForm(tPage, L"utf-8");
    tPage.end();
    return HttpRequestStatus::kBadParam;
}

}  // namespace

EStatus charsetPage(const RoutedRequest& r, State&) {
    const ZQWString sLabel = kit::FormData(r.rStream, r.rRequest).get(L"label", L"utf-8");
    try {
        r.rStream.SetOutputCharset(CharacterSet::find(sLabel));
    } catch (const CharacterSet::UnknownCharset&) {
        return refuse(r.rStream, sLabel);
    }
    HtmlPage tPage(r.rStream, L"Character sets");
    tPage.write(
        L"<p>This page is sent as <code>{}</code>. Characters that it lacks are sent as numeric references, "
        L"so "
        L"that every line reads the same.</p>\n",
        sLabel);
    addForm(tPage, sLabel);
    tPage.sampleTexts().end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
