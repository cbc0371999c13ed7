#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "properties/streamcalls.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

namespace test {

/// What a stream does, said anew and as plainly as can be: text and bytes in strings, calls of the provider
/// in a list, as MemoryResponse::tCalls has them; "<now>" stands for what depends on the time. Under the
/// default configuration.
class StreamModel {
public:
    using EResponseCode = kiv::HttpResponseProvider::EResponseCode;

    /// rResults: of commitHeaders(), writeToBody() and endResponse(), in turn, and kRCOK from then on. The
    /// call of index nThrowing throws.
    StreamModel(std::vector<EResponseCode> tResults, std::size_t nThrowing)
        : m_tResults(std::move(tResults)),
          m_nThrowing(nThrowing) {}

    void addChars(const wchar_t* p, std::size_t n) {
        if (!m_bDead) m_sText.append(p, n);
    }
    void writeBinary(const void* p, std::size_t n) {
        if (!m_bDead) m_sBytes.append(static_cast<const char*>(p), n);
    }
    void setStatusCode(unsigned n) { m_nStatus = n, m_bError = false; }
    void setErrorStatusCode(unsigned n) { m_nStatus = n, m_bError = true; }
    void SetContentType(const ZQWString& s) { m_t.sContentType = s; }
    void SetOutputCharset(const Handle<const CharacterSet>& h) { m_t.hOutputCharset = h; }
    void SetLastModified(std::time_t n) { m_t.nLastModified = n; }
    void setExpireSeconds(std::uint32_t n) { m_t.nExpireSeconds = n; }
    void setContentDisposition(const ContentDisposition& r) { m_t.tContentDisposition = r; }
    void addResponseHint(const ZQWString& s) { m_t.tResponseHints.insert(s); }

    void SendNotModified() { become(304, false); }
    void SendNotFound() { become(404, true); }
    void SendRedirect(const HREFString& r) {
        become(302, false);
        AddHeader(L"Location", r.getURL());
    }
    void AddHeader(const ZQWString& sName, const ZQWString& sValue) {
        if (m_eResult != kiv::HttpResponseProvider::kRCOK) return;
        m_bMisused = m_bMisused || m_bCommitted;
        addHeader(narrow(sName), narrow(sValue));
    }
    void Reset(int nFlags) {
        m_bMisused = m_bMisused || (m_bCommitted && nFlags != ZQHttpStream::kClearBuffer);
        if (nFlags & ZQHttpStream::kClearBuffer) clearBuffers();
        if (nFlags & ZQHttpStream::kClearHeader) m_t = {};
        if (nFlags & ZQHttpStream::kClearStatusCode) setStatusCode(200);
        if (nFlags & ZQHttpStream::kClearHeader) call("clearHeaders");
    }
    void Flush() { flush(false); }
    void endResponse() { flush(true); }
    const std::vector<std::string>& getCalls() const { return m_tCalls; }
    const std::string& getBody() const { return m_sBody; }
    /// Where it stands: all that can be asked of a stream.
    std::string describe() const {
        return std::to_string(m_nStatus) + (m_bCommitted ? " committed" : "") + (m_bDead ? " dead" : "") +
               " text " + toUtf8(m_sText) + " bytes " + m_sBytes;
    }
    /// The application has done what it must not do: what it said came too late, or a body came with a
    /// status that has none.
    bool isMisused() const {
        return m_bMisused || ((m_nCommittedStatus == 304 || m_nCommittedStatus == 204) && !m_sBody.empty());
    }

private:
    void become(unsigned nStatus, bool bError) {
        m_nStatus = nStatus, m_bError = bError;
        m_t.nExpireSeconds = HttpStreamInternals::knExpireNotSet;
        m_t.nLastModified = 0;
    }
    void clearBuffers() {
        m_sText.clear(), m_sBytes.clear();
        m_nEncoded = 0;
        m_bMarked = false;
    }
    void call(const std::string& sCall) {
        m_tCalls.push_back(sCall);
        if (m_tCalls.size() == m_nThrowing + 1) throw std::runtime_error("thrown");
    }
    void addHeader(const std::string& sName, const std::string& sValue) {
        call("addHeader " + sName + ": " + sValue);
    }
    EResponseCode takeResult() {
        return m_nResults < m_tResults.size() ? m_tResults[m_nResults++] : kiv::HttpResponseProvider::kRCOK;
    }
    [[noreturn]] void fail() {
        m_bDead = true;
        throw std::runtime_error(m_eResult == 1 ? "Client no longer there."
                                 : m_eResult == 3
                                     ? "Active HTTP Response running for more than threshold value. "
                                       "Timedout"
                                     : "Error in HttpResponseProvider.");
    }

    void flush(bool bFinal) {
        if (m_eResult != kiv::HttpResponseProvider::kRCOK) return;
        encodeText();
        const bool bFirst = !m_bCommitted;
        if (bFirst) commit(bFinal);
        if (bFinal || !m_sBytes.empty()) {
            m_bCommitted = true;  // and stays so when the call throws
            call(bFinal ? "endResponse " + (m_sBytes.empty() ? "(null)" : m_sBytes)
                        : "writeToBody " + m_sBytes);
            m_eResult = takeResult();
            m_sBody += m_sBytes;
            if (!bFinal && m_eResult != kiv::HttpResponseProvider::kRCOK) {
                m_bCommitted = !bFirst;
                fail();
            }
        }
        m_bCommitted = true;
        clearBuffers();
    }
    void encodeText() {
        if (m_sText.empty()) return;
        const auto eKind = m_t.hOutputCharset->getKind();
        if (!m_bCommitted && !std::exchange(m_bMarked, true) && eKind != CharacterSet::EKind::kUtf8 &&
            eKind != CharacterSet::EKind::kIcu)
            putUnit(0xFEFF);
        for (; m_nEncoded < m_sText.size(); ++m_nEncoded)
            encode(m_sText[m_nEncoded]);
    }
    void encode(wchar_t c) {
        const auto eKind = m_t.hOutputCharset->getKind();
        if (eKind == CharacterSet::EKind::kUtf8) {
            m_sBytes += toUtf8({&c, 1});
        } else if (eKind != CharacterSet::EKind::kIcu) {
            if (c > 0xFFFF) putUnit(0xD7C0 + (static_cast<unsigned>(c) >> 10));
            putUnit(c > 0xFFFF ? 0xDC00 + (static_cast<unsigned>(c) & 0x3FF) : static_cast<unsigned>(c));
        } else if (c <= 0xFF) {
            m_sBytes += static_cast<char>(c);
        } else {
            const std::wstring_view sType = m_t.sContentType.view();
            const bool bMarkup = sType == L"text/html" || sType.ends_with(L"xml");
            m_sBytes += bMarkup ? "&#" + std::to_string(c) + ";" : "?";
        }
    }
    void putUnit(unsigned n) {
        const char tBytes[] = {static_cast<char>(n), static_cast<char>(n >> 8), static_cast<char>(n)};
        const bool bBig = m_t.hOutputCharset->getKind() == CharacterSet::EKind::kUtf16BigEndian;
        m_sBytes.append(tBytes + bBig, 2);
    }

    void commit(bool bFinal) {
        call((m_bError ? "setErrorStatusCode " : "setStatusCode ") + std::to_string(m_nStatus));
        m_nCommittedStatus = m_nStatus;
        if (bFinal) call("setContentLength " + std::to_string(m_sBytes.size()));
        if (m_nStatus == 200)
            addHeader("Last-Modified", m_t.nLastModified ? httpDate(m_t.nLastModified) : "<now>");
        if (!m_t.sContentType.empty())
            addHeader("Content-Type", narrow(m_t.sContentType) +
                                          "; charset=" + narrow(m_t.hOutputCharset->getEncodingLabel()));
        addCaching();
        if (m_t.tContentDisposition.getDisposition() != ContentDisposition::kNone)
            addHeader("Content-Disposition", narrow(m_t.tContentDisposition.getDispositionAsString()) +
                                                 "; filename=\"" +
                                                 narrow(m_t.tContentDisposition.getFilename()) + "\"");
        std::string sHints;
        for (const ZQWString& s : m_t.tResponseHints)
            sHints += "," + narrow(s);
        if (!sHints.empty()) addHeader("X-ZUBRE-Response-Hints", sHints.substr(1));
        call("commitHeaders");
        m_eResult = takeResult();
        if (m_eResult != kiv::HttpResponseProvider::kRCOK) fail();
    }
    void addCaching() {
        if (m_t.nExpireSeconds == 0 && m_nStatus == 304) return;
        if (m_t.nExpireSeconds != HttpStreamInternals::knExpireNotSet)
            addHeader("Expires", m_t.nExpireSeconds == 0 ? "0" : "<now>");
        addHeader("Cache-Control", m_t.nExpireSeconds == 0 ? "no-store" : "private");
    }
    const std::vector<EResponseCode> m_tResults;
    const std::size_t m_nThrowing;
    HttpStreamInternals m_t;
    std::wstring m_sText;
    std::string m_sBytes;
    std::string m_sBody;  ///< handed to the provider
    std::vector<std::string> m_tCalls;
    EResponseCode m_eResult = kiv::HttpResponseProvider::kRCOK;
    std::size_t m_nResults = 0;
    std::size_t m_nEncoded = 0;  ///< of the text
    unsigned m_nStatus = 200;
    unsigned m_nCommittedStatus = 0;
    bool m_bError = false;
    bool m_bCommitted = false;
    bool m_bDead = false;
    bool m_bMarked = false;
    bool m_bMisused = false;
};

}  // namespace test
