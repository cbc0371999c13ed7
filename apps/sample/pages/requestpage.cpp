#include "htmlpage.h"
#include "pages/pages.h"
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
    rPage.markup(L"</table>\n");
}

void addVariables(HtmlPage& rPage, ZQHttpStream& rStream) {
    rPage.markup(L"<h2>Server variables</h2>\n<table>\n");
    for (const char* pName : s_ksVariables) {
        ZQWString sValue;
        if (rStream.GetServerVariable(pName, sValue)) rPage.row(fromUtf8(pName), sValue);
    }
    rPage.markup(L"</table>\n");
}

void addQuery(HtmlPage& rPage, const PageRequest& rRequest) {
    rPage.markup(L"<h2>Query string</h2>\n<pre>")
        .text(fromUtf8(rRequest.rRequest.sQueryString.view()))
        .markup(L"</pre>\n");
    rPage.markup(L"<form accept-charset=\"utf-8\"><label>Try another <input name=\"text\" value=\"");
    rPage.text(rRequest.rQuery.get(L"text", L"<b>5 > 4 & \"3\"</b> 𝄞 '"));
    rPage.markup(L"\"></label><button>Send</button></form>\n<table>\n");
    for (const QueryParameters::Parameter& rParameter : rRequest.rQuery)
        rPage.row(rParameter.sName, rParameter.sValue);
    rPage.markup(L"</table>\n");
}

}  // namespace

EStatus requestPage(const PageRequest& rRequest) {
    rRequest.rStream.setExpireSeconds(0);
    HtmlPage tPage(rRequest.rStream, L"Your request");
    tPage.markup(L"<p>It came as a <code>").text(decodeHeader(rRequest.rStream.getRequestMethod()));
    tPage.markup(L"</code>.</p>\n");
    addQuery(tPage, rRequest);
    addHeaders(tPage, rRequest.rStream);
    addVariables(tPage, rRequest.rStream);
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
