#include <algorithm>
#include <array>
#include <cstdio>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/formdata.h"

namespace sample {

namespace {

constexpr std::size_t knChunkSize = std::size_t{64} * 1024;
constexpr std::size_t knChunksPerGiB = (std::size_t{1} << 30) / knChunkSize;

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
    const ZQWString sName(L"export-" + std::to_wstring(nGiB) + L"-GiB.bin");
    rStream.SetContentType(L"application/octet-stream");
    rStream.SetOutputCharset({});
    rStream.setExpireSeconds(0);
    rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, sName));
}

}  // namespace

EStatus exportPage(const RoutedRequest& r, State& rState) {
    kit::FormData tQuery(r.rStream, r.rRequest);
    if (!tQuery.find(L"gib")) return sendForm(r.rStream);
    const auto nGiB = static_cast<std::size_t>(tQuery.number(L"gib", 1, 9999, L"GiB"));
    tQuery.check();
    describe(r.rStream, nGiB);
    // Lines of 64 bytes, the first one of each chunk with the chunk's number in front, so that a lost or doubled
    // piece shows.
    std::array<char, knChunkSize> tChunk{};
    for (std::size_t n = 0; n < knChunkSize; ++n)
        tChunk[n] = n % 64 == 63 ? '\n' : '.';
    for (std::size_t n = 0; n < nGiB * knChunksPerGiB; ++n) {
        // Only a broken connection tells the client that what it has is not the whole.
        if (rState.tShutdown.isRaised()) throw Exception(GDString(L"Export cut short: the server stops."));
        std::array<char, 21> tDigits{};
        const int nLength = std::snprintf(tDigits.data(), tDigits.size(), "%020zu", n);
        std::copy_n(tDigits.begin(), nLength, tChunk.begin());
        r.rStream.writeBinary(tChunk.data(), tChunk.size());
        r.rStream.Flush();
    }
    return HttpRequestStatus::kOK;
}

}  // namespace sample
