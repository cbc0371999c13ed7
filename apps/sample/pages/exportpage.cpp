#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "htmlpage.h"
#include "pages/pages.h"

namespace sample {

namespace {

constexpr std::size_t knChunkSize = std::size_t{64} * 1024;
constexpr std::size_t knChunksPerGiB = (std::size_t{1} << 30) / knChunkSize;
/// Four digits are enough for anybody's disk, and keep the number of chunks far from wrapping.
constexpr std::size_t knMostDigits = 4;

/// The export's content: lines of 64 bytes, the first one of each chunk with the chunk's number in front, so
/// that a lost or doubled piece shows.
class ExportChunk {
public:
    ExportChunk() {
        m_tBytes.fill('.');
        for (std::size_t n = 63; n < knChunkSize; n += 64)
            m_tBytes[n] = '\n';
    }
    void setNumber(std::size_t nNumber) {
        std::array<char, 21> tDigits{};
        const int nLength = std::snprintf(tDigits.data(), tDigits.size(), "%020zu", nNumber);
        std::copy_n(tDigits.begin(), nLength, m_tBytes.begin());
    }
    const char* data() const noexcept { return m_tBytes.data(); }

private:
    std::array<char, knChunkSize> m_tBytes;
};

/// A whole number of at most four digits; 0 for anything else.
std::size_t parseCount(std::wstring_view s) {
    if (s.empty() || s.size() > knMostDigits || s.find_first_not_of(L"0123456789") != s.npos) return 0;
    return std::stoul(std::wstring(s));
}

EStatus sendForm(ZQHttpStream& rStream) {
    HtmlPage tPage(rStream, L"Big export");
    tPage.markup(
        L"<p>Streamed in chunks of 64 KiB: the server holds one of them at a time.</p>\n<form><label>GiB "
        L"<input name=\"gib\" type=\"number\" min=\"1\" max=\"9999\" value=\"1\"></label>"
        L"<button>Export</button></form>\n");
    tPage.end();
    return HttpRequestStatus::kOK;
}

void describe(ZQHttpStream& rStream, std::size_t nGiB) {
    const std::wstring sName = L"export-" + std::to_wstring(nGiB) + L"-GiB.bin";
    rStream.SetContentType(L"application/octet-stream");
    rStream.SetOutputCharset({});
    rStream.setExpireSeconds(0);
    rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, ZQWString(sName)));
}

}  // namespace

EStatus exportPage(const PageRequest& rRequest) {
    const ZQWString* pGiB = rRequest.rQuery.find(L"gib");
    if (!pGiB) return sendForm(rRequest.rStream);
    const std::size_t nGiB = parseCount(*pGiB);
    if (nGiB == 0) return badRequestPage(rRequest.rStream, L"The size of an export is 1 to 9999 GiB.");

    describe(rRequest.rStream, nGiB);
    ExportChunk tChunk;
    for (std::size_t n = 0; n < nGiB * knChunksPerGiB; ++n) {
        // Only a broken connection tells the client that what it has is not the whole.
        if (rRequest.rShutdown.isRaised()) throw Exception(GDString(L"Export cut short: the server stops."));
        tChunk.setNumber(n);
        rRequest.rStream.writeBinary(tChunk.data(), knChunkSize);
        rRequest.rStream.Flush();
    }
    return HttpRequestStatus::kOK;
}

}  // namespace sample
