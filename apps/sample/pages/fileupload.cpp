#include <cerrno>
#include <cwchar>
#include <system_error>

#include "exchange/uploadbatch.h"
#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/httpstream/multiparterrors.h"

namespace sample {

namespace {

constexpr std::size_t knChunkSize = std::size_t{256} * 1024;

/// Names that are none, or would mean a directory to whoever saves the file, are replaced.
std::wstring_view displayName(std::wstring_view sName) {
    return sName.find_first_not_of(L". ") == sName.npos ? L"unnamed" : sName;
}

bool isMultipart(ZQHttpStream& rStream) {
    constexpr std::wstring_view ksFormData = L"multipart/form-data";
    ZQWString sType;
    rStream.GetRequestHeader(L"Content-Type", sType);
    return wcsncasecmp(sType.c_str(), ksFormData.data(), ksFormData.size()) == 0;
}

/// Takes the part's content. A form sends a part without name and content where no file was chosen.
void addFile(UploadBatch& rBatch, const ZQHttpStream::Param& rParam, std::vector<char>& rChunk) {
    std::size_t nRead = rParam.hStream->readBytes(rChunk.data(), rChunk.size());
    if (nRead == 0 && rParam.sFileName.empty()) return;
    rBatch.startFile(displayName(rParam.sFileName));
    for (; nRead > 0; nRead = rParam.hStream->readBytes(rChunk.data(), rChunk.size()))
        rBatch.write(rChunk.data(), nRead);
}

/// Takes all parts. False: the form is malformed, and there may be more of it.
bool addFiles(UploadBatch& rBatch, ZQHttpStream& rStream) {
    std::vector<char> tChunk(knChunkSize);
    ZQHttpStream::Param tParam;
    const auto hCharset = CharacterSet::utf8();
    for (int n = rStream.getFirstParam(tParam, hCharset); n >= 0;
         n = rStream.getNextParam(tParam, hCharset)) {
        if (tParam.eValue == ZQHttpStream::Param::kUseStream) addFile(rBatch, tParam, tChunk);
        // A part without a disposition leaves the record as it was, and is no second file of that name.
        tParam.eValue = ZQHttpStream::Param::kUseString;
    }
    // The end leaves the record alone; a part with an empty name does not.
    return !tParam.sParamName.empty();
}

EStatus storeFiles(const PageRequest& rRequest) {
    UploadBatch tBatch(rRequest.rFiles);
    if (!addFiles(tBatch, rRequest.rStream))
        return badRequestPage(rRequest.rStream,
                              L"The upload is no proper form: it has no parts, or one without a name. "
                              L"Nothing was kept.");
    if (tBatch.empty()) return badRequestPage(rRequest.rStream, L"No file was chosen.");
    tBatch.publish();
    rRequest.rStream.SendRedirect(HREFString(L"/files"));
    return HttpRequestStatus::kOK;
}

EStatus refuse(ZQHttpStream& rStream, unsigned int nStatus, std::wstring_view sTitle,
               std::wstring_view sReason) {
    rStream.setErrorStatusCode(nStatus);
    HtmlPage tPage(rStream, sTitle);
    tPage.markup(L"<p>").text(sReason).markup(L" Nothing was kept of them.</p>\n");
    tPage.markup(L"<p><a href=\"/files\">Back to the files</a></p>\n").end();
    return HttpRequestStatus::kOK;
}

/// RFC 4918 section 11.5 has a status for want of room; any other trouble is the server's own.
EStatus refuse(ZQHttpStream& rStream, int nError) {
    if (nError == ENOSPC || nError == EDQUOT || nError == EFBIG)
        return refuse(rStream, 507, L"There is no room", L"There is no room for these files.");
    return refuse(rStream, 500, L"The files cannot be stored", L"The server could not write these files.");
}

}  // namespace

EStatus uploadFiles(const PageRequest& rRequest) {
    if (!isMultipart(rRequest.rStream))
        return badRequestPage(rRequest.rStream, L"Files come as a form of the type multipart/form-data.");
    try {
        return storeFiles(rRequest);
    } catch (const MultipartError& e) {
        return badRequestPage(rRequest.rStream, std::wstring(L"The upload is incomplete or no proper form. ")
                                                    .append(e.getMessageText())
                                                    .append(L" Nothing was kept."));
    } catch (const UploadBatch::TooManyFiles&) {
        return refuse(rRequest.rStream, 413, L"These are too many files",
                      L"At most " + std::to_wstring(UploadBatch::knMostFiles) + L" files can come at once.");
    } catch (const std::system_error& e) {
        return refuse(rRequest.rStream, e.code().value());
    }
}

}  // namespace sample
