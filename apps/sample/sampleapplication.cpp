#include <algorithm>
#include <span>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/staticfiles.h"

namespace sample {

namespace {

/// A pattern of paths, and the pages that answer it.
struct Entry {
    std::wstring_view sPattern;
    std::wstring_view sTitle;  ///< empty: not to be linked to
    std::wstring_view sAbout;  ///< a sentence for the home page
    Page* pGet;
    Page* pPost = nullptr;
    Page* pSoap = nullptr;
};

Page homePage, redirectPage, missingPage, staticFile;

constexpr Entry s_tEntries[] = {
    {L"/", L"Start page", L"Links to all pages.", homePage},
    {L"/text", L"Text of many scripts", L"Unicode text sent as UTF-8, beyond the basic plane too.", textPage},
    {L"/request", L"Your request", L"Headers, server variables and query string, safely escaped.",
     requestPage},
    {L"/charset", L"Character sets", L"The same text in a character set of your choice.", charsetPage},
    {L"/download", L"Download", L"A file to save under the name that you type.", downloadPage},
    {L"/export", L"Big export", L"As many gibibytes as you like, in constant memory.", exportPage},
    {L"/files", L"File exchange", L"Upload files, with progress; download, resume and delete them.",
     filesPage, filesPost},
    {L"/form", L"Form", L"A form that shows what was received of it, files too.", formPage, formPage},
    {L"/booking", L"Checked form", L"A form that says what is wrong with it.", bookingPage, bookingPage},
    {L"/product", L"Numbers in the path", L"Parts of the address as numbers, or a clear error.",
     productsPage},
    {L"/product/{a}/{b}", L"", L"", productPage},
    {L"/visits", L"Cookie", L"Counts how often you were here, for a day.", visitsPage},
    {L"/order", L"XML and JSON order", L"Takes an order in XML or JSON and answers with its total.",
     orderPage, orderPost},
    {L"/calculator", L"SOAP calculator", L"A SOAP service, with the description that clients read.",
     calculatorPage, nullptr, calculatorCall},
    {L"/slow", L"Slow response", L"Five seconds of progress, seen as it is made.", slowPage},
    {L"/conditional", L"Conditional request", L"Sent once, then answered with 304 Not Modified.",
     conditionalPage},
    {L"/redirect", L"Redirect", L"Sends you on to another page.", redirectPage},
    {L"/missing", L"Not found", L"A page that is not there, answered with 404.", missingPage},
    {L"/static/{path...}", L"", L"", staticFile},
};

void homePage(const RoutedRequest& r, State&) {
    HtmlPage tPage(r.rStream, L"What an application can do");
    tPage.markup(
        L"<p>Each page shows one thing that an application can do with the stream that it is given.</p>\n"
        L"<ul class=\"cards\">\n");
    for (const Entry& rEntry : std::span(s_tEntries).subspan(1))
        if (!rEntry.sTitle.empty())
            tPage.write(L"<li><a href=\"{}\"><strong>{}</strong>{}</a></li>\n", rEntry.sPattern,
                        rEntry.sTitle, rEntry.sAbout);
    tPage.markup(L"</ul>\n");
    tPage.end();
}

/// ?to=PATH: redirects to that page of this application. Without it: a choice.
void redirectPage(const RoutedRequest& r, State&) {
    const kit::FormData tQuery(r.rStream, r.rRequest);
    if (const ZQWString* pTo = tQuery.find(L"to")) {
        // Only to pages of this application: whoever sends visitors anywhere lends phishers its name.
        if (std::ranges::find(s_tEntries, *pTo, &Entry::sPattern) == std::end(s_tEntries))
            throw kit::RequestError(400, L"Redirects lead to pages of this application only.");
        return r.rStream.SendRedirect(HREFString(*pTo));
    }
    HtmlPage tPage(r.rStream, L"Redirect");
    tPage.markup(
        L"<p>The answer is <code>302 Found</code> and names the page to go to.</p>\n<form><label>Go to "
        L"<select name=\"to\">\n");
    for (const Entry& rEntry : s_tEntries)
        if (!rEntry.sTitle.empty())
            tPage.write(L"<option value=\"{}\">{}</option>\n", rEntry.sPattern, rEntry.sTitle);
    tPage.markup(L"</select></label><button>Go</button></form>\n");
    tPage.end();
}

void missingPage(const RoutedRequest&, State&) {
    throw kit::RequestError(404, L"There is nothing at this address.");
}

/// Style and scripts, from the folder static/.
void staticFile(const RoutedRequest& r, State&) {
    static const kit::StaticFiles s_tFiles(SAMPLE_STATIC);
    if (s_tFiles.send(r.rStream, r.text(L"path")) != HttpRequestStatus::kOK)
        throw kit::RequestError(404, L"There is no such file.");
}

void errorPage(ZQHttpStream& rStream, const kit::RequestError& rError) {
    ZQWString sPath;
    rStream.GetServerVariable(ServerVariable::kUrl, sPath);
    const bool bMissing = rError.getStatus() == 404;
    HtmlPage tPage(rStream, bMissing ? L"There is no such page" : L"That cannot be served");
    tPage.write(L"<p>{}</p>\n", rError.getMessageText());
    if (bMissing) tPage.write(L"<p>Asked for was <code>{}</code>.</p>\n", sPath);
    tPage.markup(L"<p><a href=\"/\">Back to the start page</a></p>\n");
    tPage.end();
}

}  // namespace

/// Finds the page of the request's path and lets it answer.
class SampleApplication final : public HttpApplication {
public:
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return m_tRouter.get(rStream, rRequest);
    }
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return m_tRouter.post(rStream, rRequest);
    }
    EStatus soap(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return m_tRouter.soap(rStream, rRequest);
    }
    void startShutdown() override { m_tState.tShutdown.raise(); }

private:
    std::vector<kit::Router::Route> makeRoutes() {
        std::vector<kit::Router::Route> tRoutes;
        const auto fAdd = [&](kit::Router::EMethod eMethod, const Entry& rEntry, Page* pPage) {
            if (!pPage) return;
            tRoutes.push_back({eMethod, rEntry.sPattern, [this, pPage](const RoutedRequest& r) {
                                   pPage(r, m_tState);
                                   return kOK;
                               }});
        };
        for (const Entry& rEntry : s_tEntries) {
            fAdd(kit::Router::kGet, rEntry, rEntry.pGet);
            fAdd(kit::Router::kPost, rEntry, rEntry.pPost);
            fAdd(kit::Router::kSoap, rEntry, rEntry.pSoap);
        }
        return tRoutes;
    }

    State m_tState;
    const kit::Router m_tRouter{makeRoutes(), errorPage};
};

}  // namespace sample

ZQ_HTTP_APPLICATION(sample::SampleApplication)
