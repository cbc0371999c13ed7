#include <chrono>

#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

namespace {

constexpr std::size_t knSteps = 10;
constexpr std::chrono::milliseconds knStep(500);

}  // namespace

EStatus slowPage(const PageRequest& rRequest) {
    rRequest.rStream.setExpireSeconds(0);
    HtmlPage tPage(rRequest.rStream, L"Slow response");
    tPage.markup(L"<p>Each step takes half a second and is sent when it is done.</p>\n<ul>\n");
    rRequest.rStream.Flush();
    for (std::size_t n = 1; n <= knSteps; ++n) {
        if (rRequest.rShutdown.waitFor(knStep)) {
            tPage.markup(L"</ul>\n<p>The server stops; the other steps are left out.</p>\n").end();
            return HttpRequestStatus::kOK;
        }
        tPage.markup(L"<li>Step ").number(n).markup(L" of ").number(knSteps).markup(L" is done.</li>\n");
        rRequest.rStream.Flush();
    }
    tPage.markup(L"</ul>\n<p><strong>Finished.</strong></p>\n").end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
