// The file exchange.

#include <array>
#include <cstdio>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/sendfile.h"

namespace sample {

namespace {

/// Three digits and a binary unit: "1.44 MiB".
std::wstring sizeText(std::uint64_t nBytes) {
    constexpr const char* s_ksUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (nBytes < 1024) return std::to_wstring(nBytes) + (nBytes == 1 ? L" byte" : L" bytes");
    const char* const* pUnit = s_ksUnits;
    double nSize = static_cast<double>(nBytes) / 1024;
    for (; nSize >= 1023.5; ++pUnit)
        nSize /= 1024;
    std::array<char, 32> tText{};
    const int nDecimals = nSize < 9.995 ? 2 : nSize < 99.95 ? 1 : 0;
    const int nLength = std::snprintf(tText.data(), tText.size(), "%.*f %s", nDecimals, nSize, *pUnit);
    return {tText.begin(), tText.begin() + nLength};
}

std::wstring dateText(std::time_t nTime, const wchar_t* pFormat) {
    std::tm tTime{};
    gmtime_r(&nTime, &tTime);
    std::array<wchar_t, 64> tText{};
    return {tText.data(), std::wcsftime(tText.data(), tText.size(), pFormat, &tTime)};
}

void sendList(const RoutedRequest& r, const FileStore& rStore) {
    const std::vector<StoredFile> tFiles = rStore.list();
    r.rStream.setExpireSeconds(0);
    HtmlPage tPage(r.rStream, L"File exchange");
    tPage.markup(
        L"<form id=\"upload\" method=\"post\" action=\"/files\" enctype=\"multipart/form-data\">\n"
        L"<label>Choose files, or drop them here <input type=\"file\" name=\"files\" multiple required>"
        L"</label><button>Upload</button></form>\n"
        L"<div id=\"transfer\" hidden><progress max=\"1\" value=\"0\" aria-label=\"Upload\"></progress>"
        L"<button type=\"button\" class=\"quiet\">Cancel</button></div>\n<p id=\"message\" "
        L"role=\"status\"></p>\n<h2>Files</h2>\n");
    if (tFiles.empty())
        tPage.markup(L"<p class=\"empty\">Nothing here yet. What you upload is there for everybody.</p>\n");
    else
        tPage.markup(
            L"<table class=\"files\">\n<thead><tr><th scope=\"col\">Name</th><th scope=\"col\">Size</th>"
            L"<th scope=\"col\">Uploaded</th><td></td></tr></thead>\n<tbody>\n");
    for (const StoredFile& rFile : tFiles) {
        const ZQWString sId = fromUtf8(rFile.sId);
        tPage.write(
            L"<tr><td><a href=\"/files?get={}\"><bdi>{}</bdi></a></td><td>{}</td>"
            L"<td><time datetime=\"{}\">{}</time></td><td><form method=\"post\" action=\"/files\">"
            L"<button class=\"quiet\" name=\"delete\" value=\"{}\" aria-label=\"Delete {}\">Delete</button>"
            L"</form></td></tr>\n",
            sId, rFile.sName, sizeText(rFile.nSize), dateText(rFile.tTime.tv_sec, L"%Y-%m-%dT%H:%M:%SZ"),
            dateText(rFile.tTime.tv_sec, L"%e %b %Y, %H:%M UTC"), sId, rFile.sName);
    }
    if (!tFiles.empty()) tPage.markup(L"</tbody></table>\n");
    tPage.markup(L"<script src=\"/static/upload.js\"></script>\n");
    tPage.end();
}

[[noreturn]] void refuseId() {
    throw kit::RequestError(404, L"There is no such file. It has been deleted, or was never there.");
}

/// Whether a browser says that a page of another site makes this request: such a page can send forms here,
/// files among them, without anybody's consent, to a server that only this machine can reach as well. The
/// origin must be the host that the request is for (RFC 6454 section 7); programs that send none of these
/// headers are not meant.
bool isCrossSite(ZQHttpStream& rStream) {
    ZQWString sSite, sOrigin, sHost;
    rStream.GetRequestHeader(L"Sec-Fetch-Site", sSite);
    if (sSite == L"cross-site") return true;
    if (!rStream.getRequestHeader(L"Origin", sOrigin)) return false;
    rStream.GetRequestHeader(L"Host", sHost);
    // "null" stands for an origin that is not to be known. Browsers write hosts in lower case.
    const std::size_t nScheme = sOrigin.view().find(L"://");
    return nScheme == std::wstring_view::npos || sOrigin.view().substr(nScheme + 3) != sHost.view();
}

}  // namespace

void filesPage(const RoutedRequest& r, State& rState) {
    const kit::FormData tQuery(r.rStream, r.rRequest);
    const ZQWString* pId = tQuery.find(L"get");
    if (!pId) return sendList(r, rState.tFiles);
    StoredFile tFile;
    if (!rState.tFiles.open(*pId, tFile)) refuseId();
    // Whatever a visitor left here, no browser shows it as a page of this server.
    r.rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, tFile.sName));
    kit::sendFile(r.rStream, tFile.tContent,
                  {.nFreshSeconds = 0, .fCancelled = [&] { return rState.tShutdown.isRaised(); }});
}

void filesPost(const RoutedRequest& r, State& rState) {
    if (isCrossSite(r.rStream))
        throw kit::RequestError(
            403, L"Files are only taken and deleted for this server's own page. Nothing was changed.");
    constexpr std::uint64_t knMostBytes = std::uint64_t{1} << 40;
    kit::FormData tForm(r.rStream, r.rRequest,
                        {.nMostFileBytes = knMostBytes, .sFolder = rState.tFiles.getFolder()});
    if (const ZQWString* pId = tForm.find(L"delete")) {
        if (!rState.tFiles.remove(*pId)) refuseId();
    } else {
        if (tForm.getFiles().empty()) throw kit::RequestError(400, L"No file was chosen.");
        ZQWString sRequestId;
        r.rStream.GetServerVariable(ServerVariable::kRequestId, sRequestId);
        rState.tFiles.add(tForm.getFiles(), toUtf8(sRequestId));
    }
    r.rStream.SendRedirect(HREFString(L"/files"));
}

}  // namespace sample
