// The header commit: what the application said about its response becomes calls on the provider.

#include "stdafx.h"

#include "filenameencoding.h"
#include "kivserverstream.h"
#include "kivserverstreamsettings.h"

#include "zq/foundation/encodingcopy.h"
#include "zq/httpstream/featuretable.h"
#include "zq/httpstream/httpdateutils.h"

namespace kiv {

namespace {

constexpr std::string_view s_ksLastModified = "Last-Modified";
constexpr std::string_view s_ksCacheControl = "Cache-Control";
constexpr std::string_view s_ksContentType = "Content-Type";
constexpr std::string_view s_ksExpires = "Expires";
constexpr std::string_view s_ksContentDisposition = "Content-Disposition";
constexpr std::string_view s_ksXZUBREResponseHints = "X-ZUBRE-Response-Hints";

const EncodingCopy<wchar_t, char> s_ktW2NEncodingHttpHeader;
const EncodingCopy<char, wchar_t> s_ktN2WEncodingHttpHeader;
const FeatureExpr<bool> kfeatRFC2047Headers(L"HTTPFeatures.rfc2047Headers");

/// No expiry reaches further than a year (RFC 2616 section 14.21 asked for that, and caches still expect it).
constexpr std::time_t knLongestExpiry = 31536000;

/// The text of the response-headers log line; costs nothing when nobody wants it.
class HeaderLog {
public:
    HeaderLog(bool bEnabled, WideStringBufferBase& rText) : m_bEnabled(bEnabled), m_rText(rText) {
        if (bEnabled) rText.clear();
    }
    template <class... Pieces>
    void add(const Pieces&... rPieces) {
        if (m_bEnabled) (append(rPieces), ...);
    }

private:
    void append(std::wstring_view s) { m_rText.append(s); }
    void append(std::size_t n) { appendDecimal(m_rText, n); }
    void append(std::string_view s) { s_ktN2WEncodingHttpHeader.encode(m_rText, s); }

    const bool m_bEnabled;
    WideStringBufferBase& m_rText;
};

/// Adds the headers of one response, in their fixed order. Values are built in rValue, cut to low bytes.
class HeaderCommit {
public:
    HeaderCommit(const ZQHttpStream& rStream, HttpResponseProvider& rProvider, NarrowStringBufferBase& rValue,
                 HeaderLog& rLog)
        : m_rStream(rStream),
          m_rProvider(rProvider),
          m_rValue(rValue),
          m_rLog(rLog),
          m_knNow(time(nullptr)) {}

    void addLastModified();
    void addContentType();
    void addCaching(unsigned int nCode);
    void addContentDisposition(std::size_t nMaxFilenameLen);
    void addResponseHints();

private:
    void addHeader(std::string_view sName, std::string_view sValue) {
        m_rProvider.addHeader(sName.data(), sName.size(), sValue.data(), sValue.size());
    }
    void appendNarrow(std::wstring_view s) { s_ktW2NEncodingHttpHeader.encode(m_rValue, s); }
    /// Adds a header whose value is a date, which it logs behind sLogName.
    void addDate(std::string_view sName, std::wstring_view sLogName, std::time_t nTime);
    void addFilename(std::size_t nMaxFilenameLen);

    const ZQHttpStream& m_rStream;
    HttpResponseProvider& m_rProvider;
    NarrowStringBufferBase& m_rValue;
    HeaderLog& m_rLog;
    const std::time_t m_knNow;
};

void HeaderCommit::addDate(std::string_view sName, std::wstring_view sLogName, std::time_t nTime) {
    StringBuffer tDB;
    HttpDateUtils::formatHttpDate(tDB, nTime);
    m_rValue.clear();
    appendNarrow(tDB.view());
    addHeader(sName, m_rValue.view());
    m_rLog.add(sLogName, tDB.view());
}

void HeaderCommit::addLastModified() {
    const std::time_t nTime = m_rStream.GetLastModified();
    addDate(s_ksLastModified, L", Last-Modified: ", nTime != 0 ? nTime : m_knNow);
}

void HeaderCommit::addContentType() {
    const ZQWString& sMimeType = m_rStream.GetContentType();
    if (sMimeType.empty()) return;
    m_rValue.clear();
    appendNarrow(sMimeType);
    m_rLog.add(L", Content-Type: ", sMimeType.view());
    const Handle<const CharacterSet> hCharset = m_rStream.GetOutputCharsetHandle();
    const ZQWString sOutputCharset = hCharset.isNull() ? ZQWString() : hCharset->getEncodingLabel();
    if (!sOutputCharset.empty()) {
        m_rValue.append(std::string_view("; charset="));
        appendNarrow(sOutputCharset);
        m_rLog.add(L"; charset=", sOutputCharset.view());
    }
    addHeader(s_ksContentType, m_rValue.view());
}

void HeaderCommit::addCaching(unsigned int nCode) {
    const KIVServerHttpStreamSettings& rSettings = s_KIVServerHttpStreamSettings;
    const std::uint32_t nExpiresSeconds = m_rStream.getExpireSeconds();
    if (nExpiresSeconds == 0) {
        if (nCode == 304) return;
        addHeader(s_ksExpires, "0");
        addHeader(s_ksCacheControl, rSettings.m_strCacheControlForExpires0);
        m_rLog.add(L", Expires: 0, Cache-Control: ", rSettings.m_strWCacheControlForExpires0.view());
    } else if (nExpiresSeconds == HttpStreamInternals::knExpireNotSet) {
        if (rSettings.m_strCacheControlDefault.empty()) return;
        addHeader(s_ksCacheControl, rSettings.m_strCacheControlDefault);
        m_rLog.add(L", Cache-Control: ", rSettings.m_strWCacheControlDefault.view());
    } else {
        const std::time_t nSeconds = std::min<std::time_t>(nExpiresSeconds, knLongestExpiry);
        addDate(s_ksExpires, L", Expires: ", m_knNow + nSeconds);
        addHeader(s_ksCacheControl, rSettings.m_strCacheControlForExpiresMoreThan0);
        m_rLog.add(L", Cache-Control: ", rSettings.m_strWCacheControlForExpiresMoreThan0.view());
    }
}

void HeaderCommit::addContentDisposition(std::size_t nMaxFilenameLen) {
    const ContentDisposition& rContentDisp = m_rStream.getContentDisposition();
    if (rContentDisp.getDisposition() == ContentDisposition::kNone) return;
    const ZQWString sDisposition = rContentDisp.getDispositionAsString();
    m_rValue.clear();
    appendNarrow(sDisposition);
    m_rLog.add(L", Content-Disposition: ", sDisposition.view());
    if (rContentDisp.hasFilename()) addFilename(nMaxFilenameLen);
    addHeader(s_ksContentDisposition, m_rValue.view());
}

void HeaderCommit::addFilename(std::size_t nMaxFilenameLen) {
    const bool bRFC2047 = kfeatRFC2047Headers.evaluate(*m_rStream.getFeatureTable());
    NarrowStringBuffer tEncoded;
    encodeAsFilename(bRFC2047, tEncoded, m_rStream.getContentDisposition().getFilename(), nMaxFilenameLen);
    constexpr std::string_view ksOpen = "; filename=\"", ksClose = "\"";
    m_rValue.append(ksOpen);
    m_rValue.append(tEncoded.view());
    m_rValue.append(ksClose);
    m_rLog.add(ksOpen, tEncoded.view(), ksClose);
}

void HeaderCommit::addResponseHints() {
    if (m_rStream.responseHints_empty()) return;
    m_rValue.clear();
    for (auto it = m_rStream.responseHints_begin(); it != m_rStream.responseHints_end(); ++it) {
        if (it != m_rStream.responseHints_begin()) m_rValue.append(',');
        appendNarrow(*it);
    }
    addHeader(s_ksXZUBREResponseHints, m_rValue.view());
}

}  // namespace

HttpResponseProvider::EResponseCode KIVServerHttpStream::commitHeadersToResponse(bool bFlush) {
    if (m_bFlushed)
        debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"!m_bFlushed", ZQ_WFILE,
                                              __LINE__);
    TWLogger& rLogger = TWLogger::getLogger();
    const TWLoggerPushSource tPushSource(rLogger, s_lsHttpServerResponseHeaders);
    const bool bLoggingEnabled = rLogger.calcEnabledWriters(kSevInfoMinor) != 0;
    HeaderLog tLog(bLoggingEnabled, m_tWorkBuffer3);

    if (m_bError)
        m_rHttpResponse.setErrorStatusCode(m_nCode);
    else
        m_rHttpResponse.setStatusCode(m_nCode);
    tLog.add(L"Status Code: ", std::size_t{m_nCode});
    if (!bFlush) {
        const std::size_t nLength = getByteBuffer().length();
        m_rHttpResponse.setContentLength(nLength);
        tLog.add(L", Content-Length: ", nLength);
    }
    HeaderCommit tCommit(*this, m_rHttpResponse, m_tWorkBuffer1, tLog);
    if (m_nCode == 200) tCommit.addLastModified();
    tCommit.addContentType();
    tCommit.addCaching(m_nCode);
    tCommit.addContentDisposition(m_nMaxContentDispFilenameLen);
    tCommit.addResponseHints();

    const HttpResponseProvider::EResponseCode eRC = m_rHttpResponse.commitHeaders();
    if (eRC == HttpResponseProvider::kRCOK && bLoggingEnabled)
        rLogger.logMessage(kSevInfoMinor, LogSourceHandle(), GDStringRef(m_tWorkBuffer3.view()),
                           ZQ_LOG_LOCATION);
    return eRC;
}

void KIVServerHttpStream::AddHeader(const ZQWString& sName, const ZQWString& sValue) {
    if (m_eLastRC != HttpResponseProvider::kRCOK) return;
    if (m_bFlushed)
        debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"!m_bFlushed", ZQ_WFILE,
                                              __LINE__);
    m_tWorkBuffer1.clear();
    m_tWorkBuffer2.clear();
    s_ktW2NEncodingHttpHeader.encode(m_tWorkBuffer1, sName);
    s_ktW2NEncodingHttpHeader.encode(m_tWorkBuffer2, sValue);
    m_rHttpResponse.addHeader(m_tWorkBuffer1.c_str(), m_tWorkBuffer1.length(), m_tWorkBuffer2.c_str(),
                              m_tWorkBuffer2.length());
    m_tRespHeadersForLog.emplace(sName, sValue);
}

}  // namespace kiv
