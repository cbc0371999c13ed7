// Pages that are large, slow, or not sent at all.

#include <cstdio>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/sendfile.h"
#include "zq/httpstream/httpdateutils.h"

namespace sample {

namespace {

ZQWString toDateText(std::time_t nTime) {
    StringBuffer tText;
    HttpDateUtils::formatHttpDate(tText, nTime);
    return tText.toString();
}

}  // namespace

/// ?gib=N: N times 2^30 bytes. Without it: a form.
void exportPage(const RoutedRequest& r, State& rState) {
    constexpr std::size_t knChunk = std::size_t{64} * 1024, knChunksPerGiB = (std::size_t{1} << 30) / knChunk;
    kit::FormData tQuery(r.rStream, r.rRequest);
    if (!tQuery.find(L"gib")) {
        HtmlPage tPage(r.rStream, L"Big export");
        tPage.markup(
            L"<p>Streamed in chunks of 64 KiB: the server holds one of them at a time.</p>\n<form><label>GiB "
            L"<input name=\"gib\" type=\"number\" min=\"1\" max=\"9999\" value=\"1\"></label>"
            L"<button>Export</button></form>\n");
        return tPage.end();
    }
    const auto nGiB = static_cast<std::size_t>(tQuery.number(L"gib", 1, 9999, L"GiB"));
    tQuery.check();
    const ZQWString sName(L"export-" + std::to_wstring(nGiB) + L"-GiB.bin");
    r.rStream.SetContentType(L"application/octet-stream");
    r.rStream.SetOutputCharset({});
    r.rStream.setExpireSeconds(0);
    r.rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, sName));
    // Lines of 64 bytes, the first one of each chunk with the chunk's number in front, so that a lost piece
    // shows.
    std::string sChunk;
    while (sChunk.size() < knChunk)
        sChunk += std::string(63, '.') + '\n';
    for (std::size_t n = 0; n < nGiB * knChunksPerGiB; ++n) {
        // Only a broken connection tells the client that what it has is not the whole.
        if (rState.tShutdown.isRaised()) throw Exception(GDString(L"Export cut short: the server stops."));
        char tDigits[21];
        (void)std::snprintf(tDigits, sizeof tDigits, "%020zu", n);
        sChunk.replace(0, 20, tDigits);
        r.rStream.writeBinary(sChunk.data(), sChunk.size());
        r.rStream.Flush();
    }
}

void slowPage(const RoutedRequest& r, State& rState) {
    constexpr int knSteps = 10;
    constexpr std::chrono::milliseconds knStep(500);
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Slow response");
    tPage.markup(L"<p>Each step takes half a second and is sent when it is done.</p>\n<ul>\n");
    r.rStream.Flush();
    int n = 0;
    while (n < knSteps && !rState.tShutdown.waitFor(knStep)) {
        tPage.write(L"<li>Step {} of {} is done.</li>\n", ++n, knSteps);
        r.rStream.Flush();
    }
    tPage.write(L"</ul>\n<p><strong>{}</strong></p>\n",
                n < knSteps ? L"The server stops; the other steps are left out." : L"Finished.");
    tPage.end();
}

/// Unchanged since the application started.
void conditionalPage(const RoutedRequest& r, State& rState) {
    if (kit::sendNotModified(r.rStream, rState.nStarted)) return;
    HtmlPage tPage(r.rStream, L"Conditional request");
    tPage.markup(
        L"<p>Reload this page: your browser asks whether it has changed, and is told with <code>304 Not "
        L"Modified</code> that it has not, so that the copy below stays the one it has.</p>\n<table>");
    tPage.row(L"Last changed", toDateText(rState.nStarted)).row(L"This copy made", toDateText(time(nullptr)));
    tPage.markup(L"</table>\n");
    tPage.end();
}

}  // namespace sample
