#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/httpstream/httpdateutils.h"

namespace sample {

namespace {

ZQWString toDateText(std::time_t nTime) {
    StringBuffer tText;
    HttpDateUtils::formatHttpDate(tText, nTime);
    return tText.toString();
}

/// Whether the client has the page as it is. Dates that are none do not count, and none does beside an
/// If-None-Match (RFC 9110 section 13.1.3).
bool isFresh(ZQHttpStream& rStream, std::time_t nChanged) {
    ZQWString sValue;
    std::time_t nSince = 0;
    return !rStream.getRequestHeader(L"If-None-Match", sValue) &&
           rStream.getRequestHeader(L"If-Modified-Since", sValue) &&
           HttpDateUtils::parseHttpDate(sValue, nSince) && nSince >= nChanged;
}

}  // namespace

EStatus conditionalPage(const PageRequest& rRequest) {
    ZQHttpStream& rStream = rRequest.rStream;
    if (isFresh(rStream, rRequest.nStarted)) {
        rStream.SendNotModified();
        return HttpRequestStatus::kOK;
    }
    rStream.SetLastModified(rRequest.nStarted);
    HtmlPage tPage(rStream, L"Conditional request");
    tPage.markup(L"<p>Reload this page: your browser asks whether it has changed, and is told with ");
    tPage.markup(
        L"<code>304 Not Modified</code> that it has not, so that the copy below stays the one it "
        L"has.</p>\n<table>");
    tPage.row(L"Last changed", toDateText(rRequest.nStarted))
        .row(L"This copy made", toDateText(time(nullptr)));
    tPage.markup(L"</table>\n").end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
