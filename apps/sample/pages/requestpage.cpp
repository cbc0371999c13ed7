#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/formdata.h"
#include "zq/httpstream/servervariables.h"

namespace sample {

namespace {

/// The variables that a host may know; it says itself which ones it does.
constexpr const char* s_ksVariables[] = {ServerVariable::kUrl,
                                         ServerVariable::kRequestMethod,
                                         ServerVariable::kQueryString,
                                         ServerVariable::kServerProtocol,
                                         ServerVariable::kServerName,
                                         ServerVariable::kServerPort,
                                         ServerVariable::kRemoteAddress,
                                         ServerVariable::kRemotePort,
                                         "HTTP_HOST",
                                         ServerVariable::kContentType,
                                         ServerVariable::kContentLength,
                                         ServerVariable::kHttps,
                                         ServerVariable::kRequestId};

/// Header text is one byte in each character; what is not ASCII in it is UTF-8 today, if it is anything.
ZQWString decodeHeader(const ZQWString& sHeader) {
    NarrowStringBuffer tBytes;
    for (const wchar_t c : sHeader.view())
        tBytes.append(static_cast<char>(c));
    return fromUtf8(tBytes.view());
}

void addHeaders(HtmlPage& rPage, ZQHttpStream& rStream) {
    tl::vector<ZQWString> tNames;
    rStream.getRequestHeaderNames(tNames);
    rPage.markup(L"<h2>Headers</h2>\n<table>\n");
    for (const ZQWString& sName : tNames) {
        tl::vector<ZQWString> tValues;
        rStream.getRequestHeaders(sName, tValues);
        for (const ZQWString& sValue : tValues)
            rPage.row(decodeHeader(sName), decodeHeader(sValue));
    }
    rPage.markup(L"</table>\n<h2>Server variables</h2>\n<table>\n");
    for (const char* pName : s_ksVariables) {
        ZQWString sValue;
        if (rStream.GetServerVariable(pName, sValue)) rPage.row(fromUtf8(pName), sValue);
    }
    rPage.markup(L"</table>\n");
}

}  // namespace

EStatus requestPage(const RoutedRequest& r, State&) {
    const kit::FormData tQuery(r.rStream, r.rRequest);
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Your request");
    tPage.write(
        L"<p>It came as a <code>{}</code>.</p>\n<h2>Query string</h2>\n<pre>{}</pre>\n"
        L"<form accept-charset=\"utf-8\"><label>Try another <input name=\"text\" value=\"{}\"></label>"
        L"<button>Send</button></form>\n<table>\n",
        decodeHeader(r.rStream.getRequestMethod()), fromUtf8(r.rRequest.sQueryString.view()),
        tQuery.get(L"text", L"<b>5 > 4 & \"3\"</b> 𝄞 '"));
    for (const kit::FormData::Field& rField : tQuery.getFields())
        tPage.row(rField.sName, rField.sValue);
    tPage.markup(L"</table>\n");
    addHeaders(tPage, r.rStream);
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
