// The application of bench/frontends: what a small page, a slow handler, an upload and a download cost
// through the whole module.

#include <chrono>
#include <thread>

#include "zq/foundation/encodingutf8.h"
#include "zq/httpextension/httpapplication.h"

namespace {

constexpr std::size_t knDownload = std::size_t{64} << 20;
constexpr std::size_t knPiece = 64 << 10;
constexpr std::size_t knPage = 1024;
constexpr auto ktSleep = std::chrono::milliseconds(20);

class PageApplication final : public HttpApplication {
public:
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest&) override {
        ZQWString sUrl;
        rStream.GetServerVariable("URL", sUrl);
        if (sUrl == L"/download") return download(rStream);
        if (sUrl == L"/sleep") std::this_thread::sleep_for(ktSleep);
        // Cache-Control, Expires and Last-Modified come with it.
        rStream.setExpireSeconds(60);
        rStream.SetLastModified(1'700'000'000);
        rStream.SetContentType(L"text/html");
        rStream.addText(m_sPage);
        return kOK;
    }

    /// Reads every part and keeps none.
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest&) override {
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

private:
    EStatus download(ZQHttpStream& rStream) const {
        rStream.SetContentType(L"application/octet-stream");
        const std::string sPiece(knPiece, 'x');
        for (std::size_t nSent = 0; nSent < knDownload; nSent += knPiece) {
            rStream.writeBinary(sPiece.data(), sPiece.size());
            rStream.Flush();
        }
        return kOK;
    }

    const std::wstring m_sPage = std::wstring(knPage, L'x');
};

}  // namespace

ZQ_HTTP_APPLICATION(PageApplication)
