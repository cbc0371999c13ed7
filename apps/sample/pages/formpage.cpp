#include <algorithm>
#include <optional>

#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

namespace {

/// What the form held; nothing when it has too many fields, or is in the stream because it is no such form.
std::optional<QueryParameters> parseForm(const PageRequest& r) {
    if (r.rRequest.sBody.empty()) return r.rQuery;
    try {
        return QueryParameters(r.rRequest.sBody, r.rRequest.hParameterCharset);
    } catch (const QueryParameters::TooManyParameters&) {
        return std::nullopt;
    }
}

void addForm(HtmlPage& rPage, const QueryParameters& rValues, std::wstring_view sMethod) {
    rPage.markup(L"<form method=\"").markup(sMethod).markup(L"\" accept-charset=\"utf-8\">\n");
    rPage.markup(L"<label>Name <input name=\"name\" value=\"").text(rValues.get(L"name", L"Zoë 🌍"));
    rPage.markup(L"\"></label>\n<label>Message <input name=\"message\" value=\"");
    rPage.text(rValues.get(L"message", L"1 + 1 = 2 & <more>"));
    rPage.markup(L"\"></label>\n<label>Size <select name=\"size\" multiple>");
    const tl::vector<ZQWString> tChosen = rValues.getAll(L"size");
    for (const std::wstring_view sSize : {L"small", L"medium", L"large"}) {
        const bool bFirst = rValues.empty() && sSize != L"large";
        const bool bChosen = bFirst || std::find(tChosen.begin(), tChosen.end(), sSize) != tChosen.end();
        rPage.markup(bChosen ? L"<option selected>" : L"<option>").text(sSize);
    }
    rPage.markup(L"</select></label>\n<button>Send by ").text(sMethod).markup(L"</button></form>\n");
}

}  // namespace

EStatus formPage(const PageRequest& rRequest) {
    if (rRequest.rRequest.bBodyInStream)
        return badRequestPage(rRequest.rStream, L"This page takes simple forms.");
    const std::optional<QueryParameters> tValues = parseForm(rRequest);
    if (!tValues) return badRequestPage(rRequest.rStream, L"The form has too many fields.");
    rRequest.rStream.setExpireSeconds(0);
    HtmlPage tPage(rRequest.rStream, L"Form");
    addForm(tPage, *tValues, L"post");
    addForm(tPage, *tValues, L"get");
    tPage.markup(L"<h2>Received</h2>\n<table>\n");
    for (const QueryParameters::Parameter& rParameter : *tValues)
        tPage.row(rParameter.sName, rParameter.sValue);
    tPage.markup(L"</table>\n<p>")
        .number(rRequest.rRequest.sBody.length())
        .markup(L" bytes of body</p>\n")
        .end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
