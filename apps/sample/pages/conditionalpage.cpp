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

EStatus conditionalPage(const RoutedRequest& r, State& rState) {
    if (isFresh(r.rStream, rState.nStarted)) {
        r.rStream.SendNotModified();
        return HttpRequestStatus::kOK;
    }
    r.rStream.SetLastModified(rState.nStarted);
    HtmlPage tPage(r.rStream, L"Conditional request");
    tPage.markup(
        L"<p>Reload this page: your browser asks whether it has changed, and is told with <code>304 Not "
        L"Modified</code> that it has not, so that the copy below stays the one it has.</p>\n<table>");
    tPage.row(L"Last changed", toDateText(rState.nStarted)).row(L"This copy made", toDateText(time(nullptr)));
    tPage.markup(L"</table>\n");
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
