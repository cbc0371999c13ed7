// The application of bench/textratio: 64 MiB of mostly ASCII text, in flushes of 64 KiB, at /text through
// addChars() and at any other path as bytes through writeBinary(). Lines are written as a page writes them,
// one call each.

#include "zq/foundation/encodingutf8.h"
#include "zq/httpextension/httpapplication.h"

namespace {

constexpr std::size_t knTotal = std::size_t{64} << 20;
constexpr std::size_t knFlush = 64 << 10;
/// 128 bytes of UTF-8, two of them one character beyond ASCII.
constexpr std::wstring_view s_ksLine =
    L"<tr><td>A line of a long table, made of plain words</td><td>1,234.56</td><td>then the caf\u00e9 of a "
    L"town, "
    L"and 7 more words.</td></tr>\n";

class TextApplication final : public HttpApplication {
public:
    TextApplication() { W2NEncodingUTF8().encode(m_tLine, s_ksLine); }

    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest&) override {
        ZQWString sUrl;
        rStream.GetServerVariable("URL", sUrl);
        const bool bText = sUrl == L"/text";
        rStream.SetContentType(L"text/plain");
        for (std::size_t nSent = 0; nSent < knTotal; nSent += knFlush) {
            for (std::size_t n = 0; n < knFlush; n += m_tLine.length())
                writeLine(rStream, bText);
            rStream.Flush();
        }
        return kOK;
    }

private:
    void writeLine(ZQHttpStream& rStream, bool bText) const {
        if (bText)
            rStream.addText(s_ksLine);
        else
            rStream.writeBinary(m_tLine.data(), m_tLine.length());
    }

    NarrowStringBuffer m_tLine;
};

}  // namespace

ZQ_HTTP_APPLICATION(TextApplication)
