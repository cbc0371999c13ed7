#pragma once

#include <ctime>
#include <span>

#include "exchange/filestore.h"
#include "shutdownsignal.h"
#include "zq/applicationkit/router.h"
#include "zq/applicationkit/staticfiles.h"

namespace sample {

using EStatus = HttpRequestStatus::EStatus;
using kit::RoutedRequest;

/// What the pages share; as old as the application.
struct State {
    const FileStore tFiles;
    const kit::StaticFiles tStatic{SAMPLE_STATIC};
    ShutdownSignal tShutdown;
    const std::time_t nStarted = std::time(nullptr);  ///< seconds since 1970-01-01 UTC
};

/// Answers one request. A kit::RequestError becomes its answer; whatever else it throws ends the request.
using Page = EStatus (*)(const RoutedRequest& rRequest, State& rState);

/// A pattern of paths, and the pages that answer it.
struct Entry {
    std::wstring_view sPattern;
    std::wstring_view sTitle;  ///< empty: not to be linked to
    std::wstring_view sAbout;  ///< a sentence for the home page
    Page pGet;
    Page pPost = nullptr;
    Page pSoap = nullptr;
};

/// All there are, the home page first.
std::span<const Entry> getEntries() noexcept;

/// Links to all pages.
EStatus homePage(const RoutedRequest& r, State& rState);
/// Text in many scripts.
EStatus textPage(const RoutedRequest& r, State& rState);
/// Shows the request: headers, server variables, query string, parameters.
EStatus requestPage(const RoutedRequest& r, State& rState);
/// ?label=LABEL: the sample texts in that character set. Without it: a choice.
EStatus charsetPage(const RoutedRequest& r, State& rState);
/// ?name=NAME: a text file to be saved as NAME. Without it: a form.
EStatus downloadPage(const RoutedRequest& r, State& rState);
/// ?gib=N: N times 2^30 bytes, in chunks. Without it: a form.
EStatus exportPage(const RoutedRequest& r, State& rState);
/// The files of the store, and a form to add to them; ?get=ID: one of them. And what its forms send: files
/// (multipart), all or none of them, or delete=ID.
EStatus filesPage(const RoutedRequest& r, State& rState);
EStatus filesPost(const RoutedRequest& r, State& rState);
/// A form, and what the last one held: of a GET its query, of a POST its body.
EStatus formPage(const RoutedRequest& r, State& rState);
/// A form that says what is wrong with it.
EStatus bookingPage(const RoutedRequest& r, State& rState);
/// Links to products of two numbers; and one of them, whose path has the numbers.
EStatus productsPage(const RoutedRequest& r, State& rState);
EStatus productPage(const RoutedRequest& r, State& rState);
/// Counts the visits of a browser in a cookie.
EStatus visitsPage(const RoutedRequest& r, State& rState);
/// How to send an order; and the answer to one: an XML or JSON document in, another one out.
EStatus orderPage(const RoutedRequest& r, State& rState);
EStatus orderPost(const RoutedRequest& r, State& rState);
/// ?wsdl: the description of the SOAP service (WSDL 1.1). Without it: a page about it. And a call of it.
EStatus calculatorPage(const RoutedRequest& r, State& rState);
EStatus calculatorCall(const RoutedRequest& r, State& rState);
/// Ten steps of half a second, each sent when it is done.
EStatus slowPage(const RoutedRequest& r, State& rState);
/// Unchanged since the application started: 304 to those who have it (RFC 9110 section 13.1.3).
EStatus conditionalPage(const RoutedRequest& r, State& rState);
/// ?to=PATH: redirects to that page of this application. Without it: a choice.
EStatus redirectPage(const RoutedRequest& r, State& rState);
/// Nothing.
EStatus missingPage(const RoutedRequest& r, State& rState);
/// Style, scripts and pictures, from the folder static/.
EStatus staticFile(const RoutedRequest& r, State& rState);

}  // namespace sample
