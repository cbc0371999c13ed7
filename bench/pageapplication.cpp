// The application of bench/frontends: what pages, a form, a slow handler, an upload and a download cost
// through the whole module.

#include <chrono>
#include <thread>

#include "zq/foundation/encodingutf8.h"
#include "zq/httpextension/httpapplication.h"
#include "zq/httpstream/queryparameters.h"

namespace {

constexpr std::size_t knDownload = std::size_t{64} << 20;
constexpr std::size_t knPiece = 64 << 10;
constexpr auto ktSleep = std::chrono::milliseconds(20);

class PageApplication final : public HttpApplication {
public:
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest&) override {
        ZQWString sUrl;
        rStream.GetServerVariable("URL", sUrl);
        if (sUrl == L"/download") return download(rStream);
        if (sUrl == L"/sleep") std::this_thread::sleep_for(ktSleep);
        return sendPage(rStream, sUrl == L"/64k" ? m_s64KiB : sUrl == L"/16k" ? m_s16KiB : m_s1KiB);
    }

    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        if (rRequest.bBodyInStream) return receive(rStream);
        const QueryParameters tForm(rRequest.sBody, rRequest.hParameterCharset);
        return tForm.find(L"name") ? sendPage(rStream, m_s1KiB) : kBadRequest;
    }

private:
    static EStatus sendPage(ZQHttpStream& rStream, const std::wstring& sPage) {
        // Cache-Control, Expires and Last-Modified come with it.
        rStream.setExpireSeconds(60);
        rStream.SetLastModified(1'700'000'000);
        rStream.SetContentType(L"text/html");
        rStream.addText(sPage);
        return kOK;
    }

    /// Reads every part and keeps none.
    static EStatus receive(ZQHttpStream& rStream) {
        std::string sBuffer(knPiece, '\0');
        ZQHttpStream::Param tParam;
        std::size_t nTotal = 0;
        for (int n = rStream.getFirstParam(tParam, CharacterSet::utf8()); n >= 0;
             n = rStream.getNextParam(tParam, CharacterSet::utf8()))
            while (const std::size_t nRead = tParam.hStream->readBytes(sBuffer.data(), sBuffer.size()))
                nTotal += nRead;
        rStream.addText(std::to_wstring(nTotal));
        return kOK;
    }

    static EStatus download(ZQHttpStream& rStream) {
        rStream.SetContentType(L"application/octet-stream");
        const std::string sPiece(knPiece, 'x');
        for (std::size_t nSent = 0; nSent < knDownload; nSent += knPiece) {
            rStream.writeBinary(sPiece.data(), sPiece.size());
            rStream.Flush();
        }
        return kOK;
    }

    const std::wstring m_s1KiB = std::wstring(1 << 10, L'x');
    const std::wstring m_s16KiB = std::wstring(16 << 10, L'x');
    const std::wstring m_s64KiB = std::wstring(64 << 10, L'x');
};

}  // namespace

ZQ_HTTP_APPLICATION(PageApplication)
