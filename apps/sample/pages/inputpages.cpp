// Pages that show what they were sent: headers, forms, numbers in the path, a cookie.

#include <algorithm>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/cookies.h"

namespace sample {

namespace {

/// The variables that a host may know; it says itself which ones it does.
constexpr const char* s_ksVariables[] = {
    ServerVariable::kUrl,         ServerVariable::kRequestMethod,  ServerVariable::kQueryString,
    ServerVariable::kServerName,  ServerVariable::kServerProtocol, ServerVariable::kServerPort,
    ServerVariable::kRemotePort,  ServerVariable::kRemoteAddress,  "HTTP_HOST",
    ServerVariable::kContentType, ServerVariable::kContentLength,  ServerVariable::kHttps,
    ServerVariable::kRequestId};

/// Header text is one byte in each character; what is not ASCII in it is UTF-8 today, if it is anything.
ZQWString decodeHeader(const ZQWString& sHeader) {
    std::string sBytes;
    for (const wchar_t c : sHeader.view())
        sBytes += static_cast<char>(c);
    return fromUtf8(sBytes);
}

void addFields(HtmlPage& rPage, const kit::FormData& rForm) {
    rPage.markup(L"<table>\n");
    for (const kit::FormData::Field& rField : rForm.getFields())
        rPage.row(rField.sName, rField.sValue);
}

void addForm(HtmlPage& rPage, const kit::FormData& rForm, std::wstring_view sMethod,
             std::wstring_view sType) {
    rPage.write(
        L"<form method=\"{}\" enctype=\"{}\" accept-charset=\"utf-8\">\n"
        L"<label>Name <input name=\"name\" value=\"{}\"></label>\n"
        L"<label>Message <input name=\"message\" value=\"{}\"></label>\n"
        L"<label>Size <select name=\"size\" multiple>",
        sMethod, sType, rForm.get(L"name", L"Zoë 🌍"), rForm.get(L"message", L"1 + 1 = 2 & <more>"));
    const tl::vector<ZQWString> tChosen = rForm.getAll(L"size");
    for (const std::wstring_view sSize : {L"small", L"medium", L"large"}) {
        const bool bFirst = rForm.getFields().empty() && sSize != L"large";
        const bool bChosen = bFirst || std::ranges::find(tChosen, sSize) != tChosen.end();
        rPage.markup(bChosen ? kit::Markup(L"<option selected>") : kit::Markup(L"<option>")).text(sSize);
    }
    rPage.write(L"</select></label>\n<button>Send by {}</button></form>\n", sMethod);
}

}  // namespace

void requestPage(const RoutedRequest& r, State&) {
    const kit::FormData tQuery(r.rStream, r.rRequest);
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Your request");
    tPage.write(
        L"<p>It came as a <code>{}</code>.</p>\n<h2>Query string</h2>\n<pre>{}</pre>\n"
        L"<form accept-charset=\"utf-8\"><label>Try another <input name=\"text\" value=\"{}\"></label>"
        L"<button>Send</button></form>\n",
        decodeHeader(r.rStream.getRequestMethod()), fromUtf8(r.rRequest.sQueryString.view()),
        tQuery.get(L"text", L"<b>5 > 4 & \"3\"</b> 𝄞 '"));
    addFields(tPage, tQuery);
    tPage.markup(L"</table>\n<h2>Headers</h2>\n<table>\n");
    tl::vector<ZQWString> tNames;
    r.rStream.getRequestHeaderNames(tNames);
    for (const ZQWString& sName : tNames) {
        tl::vector<ZQWString> tValues;
        r.rStream.getRequestHeaders(sName, tValues);
        for (const ZQWString& sValue : tValues)
            tPage.row(decodeHeader(sName), decodeHeader(sValue));
    }
    tPage.markup(L"</table>\n<h2>Server variables</h2>\n<table>\n");
    for (const char* pName : s_ksVariables) {
        ZQWString sValue;
        if (r.rStream.GetServerVariable(pName, sValue)) tPage.row(fromUtf8(pName), sValue);
    }
    tPage.markup(L"</table>\n");
    tPage.end();
}

/// A form, and what the last one held: of a GET its query, of a POST its body.
void formPage(const RoutedRequest& r, State&) {
    kit::FormData tForm(r.rStream, r.rRequest);
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Form");
    addForm(tPage, tForm, L"post", L"application/x-www-form-urlencoded");
    addForm(tPage, tForm, L"post", L"multipart/form-data");
    addForm(tPage, tForm, L"get", L"");
    tPage.markup(L"<h2>Received</h2>\n");
    addFields(tPage, tForm);
    for (const kit::UploadedFile& rFile : tForm.getFiles())
        tPage.write(L"<tr><th scope=\"row\">{}</th><td>{}, {} bytes</td></tr>\n", rFile.sField, rFile.sName,
                    rFile.tContent.getSize());
    tPage.write(L"</table>\n<p>{} bytes of body read at once</p>\n", r.rRequest.sBody.length());
    tPage.end();
}

void bookingPage(const RoutedRequest& r, State&) {
    kit::FormData tForm(r.rStream, r.rRequest);
    const bool bSent = !tForm.getFields().empty();
    const ZQWString sName = tForm.required(L"name", L"Name");
    const int nGuests = tForm.number(L"guests", 1, 12, L"Guests");
    const bool bGood = tForm.getProblems().empty();
    if (bSent && !bGood) r.rStream.setStatusCode(422);
    HtmlPage tPage(r.rStream, L"Checked form");
    if (bGood) tPage.write(L"<p>A table for {}, reserved for {}.</p>\n", nGuests, sName);
    if (bSent)
        for (const kit::FormData::Problem& rProblem : tForm.getProblems())
            tPage.write(L"<p class=\"problem\" role=\"alert\">{}</p>\n", rProblem.sMessage);
    tPage.write(
        L"<form method=\"post\" accept-charset=\"utf-8\"><label>Name <input name=\"name\" "
        L"value=\"{}\"></label>\n"
        L"<label>Guests <input name=\"guests\" value=\"{}\"></label><button>Book</button></form>\n",
        tForm.get(L"name"), tForm.get(L"guests", L"13"));
    tPage.end();
}

void productsPage(const RoutedRequest& r, State&) {
    HtmlPage tPage(r.rStream, L"Numbers in the path");
    tPage.markup(L"<ul>\n");
    for (int n = 1; n <= 5; ++n)
        tPage.write(L"<li><a href=\"/product/{}/{}\">{} × {}</a></li>\n", n, n * n, n, n * n);
    tPage.markup(L"<li><a href=\"/product/6/many\">6 × many</a></li>\n</ul>\n");
    tPage.end();
}

void productPage(const RoutedRequest& r, State&) {
    const auto nA = r.number<long long>(L"a", 0, 1'000'000), nB = r.number<long long>(L"b", 0, 1'000'000);
    HtmlPage tPage(r.rStream, L"A product");
    tPage.write(L"<p>{} × {} = <strong>{}</strong></p>\n", nA, nB, nA * nB);
    tPage.end();
}

void visitsPage(const RoutedRequest& r, State&) {
    long long nVisits = 0;  // also when the browser sends what is no number
    kit::parseNumber(fromUtf8(kit::Cookies(r.rStream).get("visits")), 0, 999'999, nVisits);
    kit::Cookies::set(r.rStream, "visits", std::to_string(++nVisits), {.tMaxAge = std::chrono::hours(24)});
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Cookie");
    tPage.write(L"<p>This is your visit number {}. No script can see the cookie, nor any other site.</p>\n",
                nVisits);
    tPage.end();
}

}  // namespace sample
