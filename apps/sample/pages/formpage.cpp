#include <algorithm>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/formdata.h"

namespace sample {

namespace {

void addForm(HtmlPage& rPage, const kit::FormData& rForm, std::wstring_view sMethod,
             std::wstring_view sType) {
    rPage.write(
        L"<form method=\"{}\" enctype=\"{}\" accept-charset=\"utf-8\">\n"
        L"<label>Name <input name=\"name\" value=\"{}\"></label>\n"
        L"<label>Message <input name=\"message\" value=\"{}\"></label>\n"
        L"<label>Size <select name=\"size\" multiple>",
        sMethod, sType, rForm.get(L"name", L"Zoë 🌍"), rForm.get(L"message", L"1 + 1 = 2 & <more>"));
    const tl::vector<ZQWString> tChosen = rForm.getAll(L"size");
    for (const std::wstring_view sSize : {L"small", L"medium", L"large"}) {
        const bool bFirst = rForm.getFields().empty() && sSize != L"large";
        const bool bChosen = bFirst || std::ranges::find(tChosen, sSize) != tChosen.end();
        rPage.markup(bChosen ? kit::Markup(L"<option selected>") : kit::Markup(L"<option>")).text(sSize);
    }
    rPage.write(L"</select></label>\n<button>Send by {}</button></form>\n", sMethod);
}

}  // namespace

EStatus formPage(const RoutedRequest& r, State&) {
    kit::FormData tForm(r.rStream, r.rRequest);
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"Form");
    addForm(tPage, tForm, L"post", L"application/x-www-form-urlencoded");
    addForm(tPage, tForm, L"post", L"multipart/form-data");
    addForm(tPage, tForm, L"get", L"");
    tPage.markup(L"<h2>Received</h2>\n<table>\n");
    for (const kit::FormData::Field& rField : tForm.getFields())
        tPage.row(rField.sName, rField.sValue);
    for (const kit::UploadedFile& rFile : tForm.getFiles())
        tPage.row(rFile.sField,
                  std::wstring(rFile.sName) + L", " + std::to_wstring(rFile.tContent.getSize()) + L" bytes");
    tPage.write(L"</table>\n<p>{} bytes of body read at once</p>\n", r.rRequest.sBody.length());
    tPage.end();
    return HttpRequestStatus::kOK;
}

}  // namespace sample
