#include <algorithm>
#include <cerrno>
#include <system_error>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/httpstream/multiparterrors.h"

namespace sample {

namespace {

constexpr std::size_t knChunkSize = std::size_t{64} * 1024;

/// Names that are none, or would mean a directory to whoever saves the file, are replaced.
std::wstring_view displayName(std::wstring_view sName) {
    return sName.find_first_not_of(L". ") == sName.npos ? L"unnamed" : sName;
}

/// The files of one request. They stay together or not at all: unless keep() is reached, all go again.
class UploadBatch {
public:
    explicit UploadBatch(const FileStore& rStore)
        : m_rStore(rStore),
          m_nRoom(FileStore::knMostFiles - std::min(rStore.count(), FileStore::knMostFiles)) {}
    ~UploadBatch() {
        try {
            for (const std::wstring& sId : m_tIds)
                m_rStore.remove(sId);
        } catch (const std::exception&) {
            // For want of memory: a file too many is better than no server.
        }
    }
    UploadBatch(const UploadBatch&) = delete;
    UploadBatch& operator=(const UploadBatch&) = delete;

    /// Stores the part's content. A form sends a part without name and content where no file was chosen.
    void add(const ZQHttpStream::Param& rParam) {
        std::size_t nRead = rParam.hStream->readBytes(m_tChunk.data(), m_tChunk.size());
        if (nRead == 0 && rParam.sFileName.empty()) return;
        if (m_tIds.size() == m_nRoom) throw std::system_error(ENOSPC, std::generic_category());
        FileUpload tFile(m_rStore);
        for (; nRead > 0; nRead = rParam.hStream->readBytes(m_tChunk.data(), m_tChunk.size()))
            tFile.write(m_tChunk.data(), nRead);
        std::wstring& rsId = m_tIds.emplace_back();
        rsId = tFile.publish(displayName(rParam.sFileName));
    }
    bool empty() const noexcept { return m_tIds.empty(); }
    void keep() noexcept { m_tIds.clear(); }

private:
    const FileStore& m_rStore;
    const std::size_t m_nRoom;
    std::vector<std::wstring> m_tIds;
    std::vector<char> m_tChunk = std::vector<char>(knChunkSize);
};

EStatus storeFiles(const PageRequest& rRequest) {
    UploadBatch tBatch(rRequest.rFiles);
    ZQHttpStream::Param tParam;
    const auto hCharset = CharacterSet::utf8();
    for (int n = rRequest.rStream.getFirstParam(tParam, hCharset); n >= 0;
         n = rRequest.rStream.getNextParam(tParam, hCharset)) {
        if (tParam.eValue == ZQHttpStream::Param::kUseStream) tBatch.add(tParam);
        // A part without a name leaves the record as it was, and is no second file of that name.
        tParam.eValue = ZQHttpStream::Param::kUseString;
    }
    if (tBatch.empty()) return badRequestPage(rRequest.rStream, L"No file was chosen.");
    tBatch.keep();
    rRequest.rStream.SendRedirect(HREFString(L"/files"));
    return HttpRequestStatus::kOK;
}

/// RFC 4918 section 11.5 has a status for want of room; any other trouble is the server's own.
EStatus refuse(ZQHttpStream& rStream, int nError) {
    const bool bFull = nError == ENOSPC || nError == EDQUOT || nError == EFBIG;
    rStream.setErrorStatusCode(bFull ? 507 : 500);
    HtmlPage tPage(rStream, bFull ? L"There is no room" : L"The files cannot be stored");
    tPage.markup(bFull ? L"<p>There is no room for these files. " : L"<p>The disk failed. ");
    tPage.markup(L"Nothing was kept of them.</p>\n<p><a href=\"/files\">Back to the files</a></p>\n").end();
    return HttpRequestStatus::kOK;
}

}  // namespace

EStatus uploadFiles(const PageRequest& rRequest) {
    try {
        return storeFiles(rRequest);
    } catch (const MultipartError&) {
        return badRequestPage(rRequest.rStream, L"The upload is incomplete or no proper form.");
    } catch (const std::system_error& e) {
        return refuse(rRequest.rStream, e.code().value());
    }
}

}  // namespace sample
