#include "router.h"

#include <algorithm>

#include "pages/pages.h"

namespace sample {

namespace {

constexpr Route s_tRoutes[] = {
    {L"/", L"Start page", L"Links to all pages.", homePage},
    {L"/text", L"Text of many scripts", L"Unicode text sent as UTF-8, beyond the basic plane too.", textPage},
    {L"/request", L"Your request", L"Headers, server variables and query string, safely escaped.",
     requestPage},
    {L"/charset", L"Character sets", L"The same text in a character set of your choice.", charsetPage},
    {L"/download", L"Download", L"A file to save under the name that you type.", downloadPage},
    {L"/export", L"Big export", L"As many gibibytes as you like, in constant memory.", exportPage},
    {L"/files", L"File exchange", L"Upload files, with progress; download and delete them.", filesPage,
     filesPost},
    {L"/upload.js", L"", L"", uploadScript},
    {L"/form", L"Form", L"A form that shows what was received of it.", formPage, formPage},
    {L"/order", L"XML order", L"Takes an order in XML and answers with its total, in XML.", orderPage,
     orderPost},
    {L"/calculator", L"SOAP calculator", L"A SOAP service, with the description that clients read.",
     calculatorPage, nullptr, calculatorCall},
    {L"/slow", L"Slow response", L"Five seconds of progress, seen as it is made.", slowPage},
    {L"/conditional", L"Conditional request", L"Sent once, then answered with 304 Not Modified.",
     conditionalPage},
    {L"/redirect", L"Redirect", L"Sends you on to another page.", redirectPage},
    {L"/missing", L"Not found", L"A page that is not there, answered with 404.", missingPage},
};

}  // namespace

std::span<const Route> getRoutes() noexcept {
    return s_tRoutes;
}

const Route* findRoute(std::wstring_view sPath) noexcept {
    const auto it = std::find_if(std::begin(s_tRoutes), std::end(s_tRoutes),
                                 [sPath](const Route& r) { return r.sPath == sPath; });
    return it == std::end(s_tRoutes) ? nullptr : it;
}

}  // namespace sample
