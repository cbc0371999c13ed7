#include "stdafx.h"

#include "kivserverstream.h"

#include "zq/foundation/encodingbase64.h"
#include "zq/foundation/i18nutils.h"

namespace kiv {

const LogSourceHandle s_lsHttpServerResponse("kiv.httpserver.response");
const LogSourceHandle s_lsHttpServerResponseHeaders("kiv.httpserver.response.headers");
const LogSourceHandle kPopulateParam("kiv.serverstream.populateparam");

namespace {

const ZQWString s_ksLocation = ZQWString::eternal(L"Location");
const B2WEncodingBase64 kB2WEncodingBase64(B2WEncodingBase64::kPad);
const GDString kgdsKIVHttpServerClientDead(L"Client no longer there.");
const GDString kgdsKIVHttpServerHttpResponseProviderError(L"Error in HttpResponseProvider.");
const GDString kgdsLongRunningHTTPResponseTimeout(
    L"Active HTTP Response running for more than threshold value. Timedout");

class ClientDead : public Exception {
public:
    ClientDead() : Exception(kgdsKIVHttpServerClientDead) {}
    Exception* clone() const override { return new ClientDead(*this); }
};

class HttpResponseProviderError : public Exception {
public:
    HttpResponseProviderError() : Exception(kgdsKIVHttpServerHttpResponseProviderError) {}
    Exception* clone() const override { return new HttpResponseProviderError(*this); }
};

class ResponseTimeout : public Exception {
public:
    ResponseTimeout() : Exception(kgdsLongRunningHTTPResponseTimeout) {}
    Exception* clone() const override { return new ResponseTimeout(*this); }
};

/// Returns for kRCOK; throws the exception of any other code as one from the caller's place.
void translateAndThrowHttpResponseProviderError(HttpResponseProvider::EResponseCode eRC, const wchar_t* pFile,
                                                unsigned int nLine) {
    const int nPlace = static_cast<int>(nLine);
    switch (eRC) {
        case HttpResponseProvider::kRCOK:
            return;
        case HttpResponseProvider::kRCClientDead:
            ZQTHROW_prethrowProcessException(ClientDead(), true, pFile, nPlace);
        case HttpResponseProvider::kRCResponseTimeout:
            ZQTHROW_prethrowProcessException(ResponseTimeout(), true, pFile, nPlace);
        case HttpResponseProvider::kRCError:
            break;
    }
    ZQTHROW_prethrowProcessException(HttpResponseProviderError(), true, pFile, nPlace);
}

/// The mark that text in a character set starts with; empty for all but the two kinds of UTF-16.
std::string_view byteOrderMark(std::wstring_view sCharsetLabel) {
    if (equalNoCase(sCharsetLabel, L"unicode")) return I18NUtils::kUTF16LEBOM;
    if (equalNoCase(sCharsetLabel, L"unicodeFFFE")) return I18NUtils::kUTF16BEBOM;
    return {};
}

}  // namespace

KIVServerHttpStream::KIVServerHttpStream(HttpRequestProvider& rRequest, HttpResponseProvider& rResponse,
                                         const Handle<GDExpressionEvaluator>& hExpressionEvaluator)
    : UnicodeHttpStream(hExpressionEvaluator),
      m_rHttpRequest(rRequest),
      m_rHttpResponse(rResponse) {}

KIVServerHttpStream::~KIVServerHttpStream() = default;

void KIVServerHttpStream::Reset(EResetFlag eResetFlag) {
    if (m_bFlushed && eResetFlag != kClearBuffer)
        debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert,
                                              L"!m_bFlushed || eResetFlag == kClearBuffer", ZQ_WFILE,
                                              __LINE__);
    UnicodeHttpStream::Reset(eResetFlag);
    if (eResetFlag & kClearHeader) {
        m_rHttpResponse.clearHeaders();
        m_tRespHeadersForLog.clear();
    }
    if (eResetFlag & kClearOnLoadFunc) WindowOnLoadFunctions().clear();
}

bool KIVServerHttpStream::IsCommitted() const {
    return m_bFlushed;
}

void KIVServerHttpStream::setStatusCode(unsigned int nCode) {
    m_nCode = nCode;
    m_bError = false;
}

void KIVServerHttpStream::setErrorStatusCode(unsigned int nCode) {
    m_nCode = nCode;
    m_bError = true;
}

unsigned int KIVServerHttpStream::getStatusCode() const {
    return m_nCode;
}

void KIVServerHttpStream::setMaxContentDispFilenameLen(unsigned int n) {
    m_nMaxContentDispFilenameLen = n;
}

void KIVServerHttpStream::SendNotModified() {
    clearExpireSeconds();
    clearLastModified();
    setStatusCode(304);
}

void KIVServerHttpStream::SendNotFound() {
    clearExpireSeconds();
    clearLastModified();
    setErrorStatusCode(404);
}

void KIVServerHttpStream::SendRedirect(const HREFString& sURL) {
    clearExpireSeconds();
    clearLastModified();
    setStatusCode(302);
    AddHeader(s_ksLocation, sURL.getURL());
}

void KIVServerHttpStream::Flush() {
    flushImpl(false);
}

void KIVServerHttpStream::endResponse() {
    if (m_eLastRC == HttpResponseProvider::kRCOK) flushImpl(true);
}

void KIVServerHttpStream::flushImpl(bool bFinal) {
    if (m_eLastRC != HttpResponseProvider::kRCOK) return;
    if (!getUnicodeBuffer().empty()) appendUnicodeBuffer();
    if (bFinal) finishUnicodeText();
    if (!m_bFlushed) {
        m_eLastRC = commitHeadersToResponse(!bFinal);
        if (m_eLastRC != HttpResponseProvider::kRCOK) {
            setStreamDead(true);
            translateAndThrowHttpResponseProviderError(m_eLastRC, ZQ_WFILE, __LINE__);
        }
    }
    // From here on the headers are out, and once the bytes are too they are no longer buffered, whatever is
    // thrown: an application that catches it may flush again.
    try {
        sendBytes(bFinal);
    } catch (...) {
        m_bFlushed = m_bFlushed || m_eLastRC == HttpResponseProvider::kRCOK;
        throw;
    }
    try {
        logChunk();
    } catch (...) {
        endFlush();
        throw;
    }
    endFlush();
}

void KIVServerHttpStream::endFlush() {
    Reset(kClearBuffer);
    m_bFlushed = true;
}

/// Converts the text into the byte buffer; the first text of a response has its byte order mark in front.
void KIVServerHttpStream::appendUnicodeBuffer() {
    if (!m_bFlushed) markText(byteOrderMark(GetOutputCharset().getEncodingLabel()));
    transformUnicodeBuffer();
}

/// The result of the final call is only kept: the response is over, and nobody would act on an exception.
void KIVServerHttpStream::sendBytes(bool bFinal) {
    const std::string_view s = getByteBuffer().view();
    if (bFinal) {
        m_eLastRC = m_rHttpResponse.endResponse(s.empty() ? nullptr : s.data(), s.size());
        return;
    }
    if (s.empty()) return;
    m_eLastRC = m_rHttpResponse.writeToBody(s.data(), s.size());
    if (m_eLastRC != HttpResponseProvider::kRCOK) {
        setStreamDead(true);
        translateAndThrowHttpResponseProviderError(m_eLastRC, ZQ_WFILE, __LINE__);
    }
}

void KIVServerHttpStream::logChunk() {
    TWLogger& rLogger = TWLogger::getLogger();
    const TWLoggerPushSource tPushSource(rLogger, s_lsHttpServerResponse);
    if (!rLogger.calcEnabledWriters(kSevInfoMinor)) return;
    if (getUnicodeBuffer().empty() && getByteBuffer().empty()) {
        rLogger.logToEnabledWriters1(kSevInfoMinor,
                                     PercentizedMessageRef(L"Zero bytes flushed for status code %1."),
                                     GDUInteger(m_nCode), ZQ_LOG_LOCATION);
        return;
    }
    m_tWorkBuffer3.clear();
    if (!getUnicodeBuffer().empty()) {
        getUnicodeBuffer().decodeTo(m_tWorkBuffer3);
    } else {
        B2WEncodingBase64::State tState;
        kB2WEncodingBase64.update(tState, m_tWorkBuffer3, getByteBuffer().view());
        kB2WEncodingBase64.finalize(tState, m_tWorkBuffer3);
    }
    rLogger.logToEnabledWriters(kSevInfoMinor, GDStringRef(m_tWorkBuffer3.view()), ZQ_LOG_LOCATION);
}

}  // namespace kiv
