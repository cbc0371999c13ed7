#include <array>
#include <cstdio>

#include "crosssite.h"
#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

namespace {

constexpr std::size_t knChunkSize = std::size_t{64} * 1024;

/// Three digits and a binary unit: "1.44 MiB".
std::wstring sizeText(std::uint64_t nBytes) {
    constexpr const char* s_ksUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (nBytes < 1024) return std::to_wstring(nBytes) + (nBytes == 1 ? L" byte" : L" bytes");
    const char* const* pUnit = s_ksUnits;
    double nSize = static_cast<double>(nBytes) / 1024;
    while (nSize >= 1023.5) {
        nSize /= 1024;
        ++pUnit;
    }
    std::array<char, 32> tText{};
    const int nDecimals = nSize < 9.995 ? 2 : nSize < 99.95 ? 1 : 0;
    const int nLength = std::snprintf(tText.data(), tText.size(), "%.*f %s", nDecimals, nSize, *pUnit);
    return {tText.begin(), tText.begin() + nLength};
}

std::wstring dateText(std::time_t nTime, const wchar_t* pFormat) {
    std::tm tTime{};
    gmtime_r(&nTime, &tTime);
    std::array<wchar_t, 64> tText{};
    const std::size_t nLength = std::wcsftime(tText.data(), tText.size(), pFormat, &tTime);
    return {tText.data(), nLength};
}

void addUploadForm(HtmlPage& rPage) {
    rPage.markup(
        L"<form id=\"upload\" method=\"post\" action=\"/files\" enctype=\"multipart/form-data\">\n"
        L"<label>Choose files, or drop them here <input type=\"file\" name=\"files\" multiple required>"
        L"</label><button>Upload</button></form>\n"
        L"<div id=\"transfer\" hidden><progress max=\"1\" value=\"0\" aria-label=\"Upload\"></progress>"
        L"<button type=\"button\" class=\"quiet\">Cancel</button></div>\n<p id=\"message\" "
        L"role=\"status\"></p>\n");
}

void addFile(HtmlPage& rPage, const StoredFile& rFile) {
    const std::wstring sId(rFile.sId.begin(), rFile.sId.end());
    rPage.markup(L"<tr><td><a href=\"/files?get=").markup(sId).markup(L"\"><bdi>").text(rFile.sName);
    rPage.markup(L"</bdi></a></td><td>").text(sizeText(rFile.nSize)).markup(L"</td><td><time datetime=\"");
    rPage.markup(dateText(rFile.tTime.tv_sec, L"%Y-%m-%dT%H:%M:%SZ")).markup(L"\">");
    rPage.markup(dateText(rFile.tTime.tv_sec, L"%e %b %Y, %H:%M UTC")).markup(L"</time></td><td>");
    rPage.markup(L"<form method=\"post\" action=\"/files\"><button class=\"quiet\" name=\"delete\" value=\"");
    rPage.markup(sId).markup(L"\" aria-label=\"Delete ").text(rFile.sName);
    rPage.markup(L"\">Delete</button></form></td></tr>\n");
}

void addList(HtmlPage& rPage, const std::vector<StoredFile>& rFiles) {
    if (rFiles.empty()) {
        rPage.markup(L"<p class=\"empty\">Nothing here yet. What you upload is there for everybody.</p>\n");
        return;
    }
    rPage.markup(
        L"<table class=\"files\">\n<thead><tr><th scope=\"col\">Name</th><th scope=\"col\">Size</th>");
    rPage.markup(L"<th scope=\"col\">Uploaded</th><td></td></tr></thead>\n<tbody>\n");
    for (const StoredFile& rFile : rFiles)
        addFile(rPage, rFile);
    rPage.markup(L"</tbody></table>\n");
}

EStatus sendList(const PageRequest& rRequest) {
    const std::vector<StoredFile> tFiles = rRequest.rFiles.list();
    rRequest.rStream.setExpireSeconds(0);
    HtmlPage tPage(rRequest.rStream, L"File exchange", L"; script-src 'self'; connect-src 'self'");
    addUploadForm(tPage);
    tPage.markup(L"<h2>Files</h2>\n");
    addList(tPage, tFiles);
    tPage.markup(L"<script src=\"/upload.js\"></script>\n").end();
    return HttpRequestStatus::kOK;
}

EStatus missingFile(ZQHttpStream& rStream) {
    rStream.SendNotFound();
    HtmlPage tPage(rStream, L"There is no such file");
    tPage.markup(L"<p>It has been deleted, or was never there.</p>\n");
    tPage.markup(L"<p><a href=\"/files\">Back to the files</a></p>\n").end();
    return HttpRequestStatus::kOK;
}

/// Whatever a visitor left here, no browser shows it as a page of this server.
void describe(ZQHttpStream& rStream, const StoredFile& rFile) {
    rStream.SetContentType(L"application/octet-stream");
    rStream.SetOutputCharset({});
    rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    rStream.setExpireSeconds(0);
    rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, rFile.sName));
}

EStatus sendFile(const PageRequest& rRequest, std::wstring_view sId) {
    StoredFile tFile;
    if (!rRequest.rFiles.open(sId, tFile)) return missingFile(rRequest.rStream);
    describe(rRequest.rStream, tFile);
    std::vector<char> tChunk(knChunkSize);
    for (std::uint64_t nSent = 0; nSent < tFile.nSize;) {
        const ssize_t nRead = read(tFile.tContent.get(), tChunk.data(), tChunk.size());
        // Only a broken connection tells the client that what it has is not the whole.
        if (nRead <= 0 || rRequest.rShutdown.isRaised()) throw Exception(GDString(L"Download cut short."));
        rRequest.rStream.writeBinary(tChunk.data(), static_cast<std::size_t>(nRead));
        rRequest.rStream.Flush();
        nSent += static_cast<std::size_t>(nRead);
    }
    return HttpRequestStatus::kOK;
}

EStatus refuseCrossSite(ZQHttpStream& rStream) {
    HtmlPage tPage(rStream, L"That came from another website");
    tPage.markup(
        L"<p>Files are only taken and deleted for this server's own page. Nothing was changed.</p>\n");
    tPage.markup(L"<p><a href=\"/files\">Go to the files</a></p>\n").end();
    return HttpRequestStatus::kMaliciousInput;
}

EStatus deleteFile(const PageRequest& rRequest) {
    const QueryParameters tForm(rRequest.rRequest.sBody, rRequest.rRequest.hParameterCharset);
    if (!rRequest.rFiles.remove(tForm.get(L"delete"))) return missingFile(rRequest.rStream);
    rRequest.rStream.SendRedirect(HREFString(L"/files"));
    return HttpRequestStatus::kOK;
}

}  // namespace

EStatus filesPage(const PageRequest& rRequest) {
    const ZQWString* pId = rRequest.rQuery.find(L"get");
    return pId ? sendFile(rRequest, *pId) : sendList(rRequest);
}

EStatus filesPost(const PageRequest& rRequest) {
    if (isCrossSite(rRequest.rStream)) return refuseCrossSite(rRequest.rStream);
    if (rRequest.rRequest.bBodyInStream) return uploadFiles(rRequest);
    try {
        return deleteFile(rRequest);
    } catch (const QueryParameters::TooManyParameters&) {
        return badRequestPage(rRequest.rStream, L"The form has too many fields.");
    }
}

}  // namespace sample
