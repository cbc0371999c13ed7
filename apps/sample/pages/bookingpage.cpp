#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/formdata.h"

namespace sample {

EStatus bookingPage(const RoutedRequest& r, State&) {
    kit::FormData tForm(r.rStream, r.rRequest);
    const bool bSent = !tForm.getFields().empty();
    const ZQWString sName = tForm.required(L"name", L"Name");
    const int nGuests = tForm.number(L"guests", 1, 12, L"Guests");
    if (bSent && !tForm.getProblems().empty()) r.rStream.setStatusCode(422);
    HtmlPage tPage(r.rStream, L"Checked form");
    if (bSent && tForm.getProblems().empty())
        tPage.write(L"<p>A table for {}, reserved for {}.</p>\n", nGuests, sName);
    else if (bSent)
        for (const kit::FormData::Problem& rProblem : tForm.getProblems())
            tPage.write(L"<p class=\"problem\" role=\"alert\">{}</p>\n", rProblem.sMessage);
    tPage.write(
        L"<form method=\"post\" accept-charset=\"utf-8\"><label>Name <input name=\"name\" "
        L"value=\"{}\"></label>\n"
        L"<label>Guests <input name=\"guests\" value=\"{}\"></label><button>Book</button></form>\n",
        tForm.get(L"name"), tForm.get(L"guests", L"13"));
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
