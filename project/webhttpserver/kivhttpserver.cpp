#include "stdafx.h"

#include "zq/webhttpserver/kivhttpserver.h"

#include <strings.h>

#include <limits>
#include <string>

#include "kivserverstream.h"
#include "zq/foundation/autobuffer.h"
#include "zq/foundation/messageformatter.h"
#include "zq/foundation/posixstrsupport.h"
#include "zq/httpstream/maliciousinputexception.h"
#include "zq/services/logger.h"
#include "zq/services/performancecounters.h"
#include "zq/services/setting.h"
#include "zq/services/systemutils.h"
#include "zq/services/timeoutconfig.h"
#include "zq/webhttpserver/httpservermessages.h"

namespace kiv {

const char* const kpHTTP_URL = "URL";

namespace {

const ZQWString ks_ContentType(L"Content-Type");
const ZQWString ksApplicationWWWFormUrlEncoded(L"application/x-www-form-urlencoded");
const ZQWString ksApplicationXml(L"application/xml");

using CurrentRequests = performance::PerfQueueMaxT<performance::Atomic32Policy>;
using TotalRequests = performance::PerfTotalPerSecT<performance::NonAtomic32Policy>;

CurrentRequests s_tCurrentRequests("HttpServer/CurrentRequests", "Current Requests",
                                   "The current number of requests being processed.", "Peak Requests",
                                   "The peak number of requests concurrently being processed.");
TotalRequests s_tTotalRequests("HttpServer/CompletedRequests", "Completed Requests",
                               "The total number of requests completed.", "Completed Requests/sec",
                               "The rate at which new requests are processed.");
performance::PerfCounterT<performance::NonAtomic32Policy> s_tBadRequests("HttpServer/BadRequests",
                                                                         "Bad Requests",
                                                                         "The total number of bad requests.");

const LogSourceHandle s_lsHttpServer("kiv.httpserver");

/// The first body length, in bytes, that is too long.
constexpr std::size_t knPOSTLimit = 10485760;
/// By how much the buffer of an undeclared body grows at least, and how far below the limit it must stay.
constexpr std::size_t knReadChunk = 8192;
/// A declared body that delivers nothing is asked again this often, after a pause each time.
constexpr int knStallRetries = 5;
constexpr std::size_t knStallPauseMs = 200;

constexpr unsigned int knMsPerMinute = 60000;
constexpr unsigned int knMostMinutes = std::numeric_limits<unsigned int>::max() / knMsPerMinute;

const Setting s_tDefaultTimeout(numberSetting(
    L"HTTP/DefaultTimeoutMinutes", "minutes", 10, 0, knMostMinutes,
    "how long a request may wait for its client; 0: without limit, as far as `MinimumBytesPerSecond` "
    "lets it",
    "408 or a client that counts as gone"));
const Setting s_tGlobalTimeout(
    numberSetting(L"DefaultTimeoutMinutes", "minutes", 1440, 0, knMostMinutes,
                  "how long everything but requests may wait for its peer; 0: without limit"));
const Setting s_tFilenameLength(
    numberSetting(L"URL/MaxContentDispositionFilenameLength", "characters", 116, 0, SettingInfo::s_knMost,
                  "the longest name of a download, as it is sent; 0: all names are sent empty",
                  "the end of the name's stem is left out"));
const Setting s_tResponseTimeout(numberSetting(L"HTTP/LongRunningHTTPResponseTimeoutMinutes", "minutes", 1440,
                                               0, knMostMinutes,
                                               "how long a response may be in the making; 0: any time",
                                               "it is cut off"));

class POSTRequestLimitException : public Exception {
public:
    explicit POSTRequestLimitException(unsigned int nReqLen)
        : Exception(kmsgPOSTRequestLimitException),
          m_nReqLen(nReqLen) {
        setMsgInsert(1, GDUInteger(nReqLen));
        setMsgInsert(2, GDUInteger(knPOSTLimit));
    }
    POSTRequestLimitException(const POSTRequestLimitException& r) : Exception(r), m_nReqLen(r.m_nReqLen) {}
    Exception* clone() const override { return new POSTRequestLimitException(m_nReqLen); }

private:
    const unsigned int m_nReqLen;
};

/// Throws unless a body of that many bytes may be read. Lengths beyond 32 bits are reported as the largest.
void checkBodyLength(std::size_t nLength) {
    if (nLength < knPOSTLimit) return;
    const auto nReported =
        static_cast<unsigned int>(std::min<std::size_t>(nLength, std::numeric_limits<unsigned int>::max()));
    ZQTHROW_prethrowProcessException(POSTRequestLimitException(nReported), true, ZQ_WFILE, __LINE__);
}

bool startsWithNoCase(const ZQWString& s, const ZQWString& sPrefix) {
    return posixstrsupport::wcsnicmp(s.c_str(), sPrefix.c_str(), sPrefix.length()) == 0;
}

/// Whether the application reads the body itself: it has a type, and is neither an URL-encoded form nor XML.
bool isGoodOleFormPost(const ZQWString& sContentType) {
    return !sContentType.empty() && !startsWithNoCase(sContentType, ksApplicationWWWFormUrlEncoded) &&
           !startsWithNoCase(sContentType, ksApplicationXml);
}

/// At least one byte of a declared body, or UnexpectedEOF when the client stalls for too long.
std::size_t readOrWait(HttpRequestProvider& rRequest, char* p, std::size_t nRemaining) {
    std::size_t nRead = rRequest.readFromBody(p, nRemaining);
    for (int nRetry = 0; nRead == 0 && nRetry < knStallRetries; ++nRetry) {
        SystemUtils::sleep(knStallPauseMs);
        nRead = rRequest.readFromBody(p, nRemaining);
    }
    if (nRead == 0)
        ZQTHROW_prethrowProcessException(InputStream::UnexpectedEOF(1, 0), true, ZQ_WFILE, __LINE__);
    return nRead;
}

/// Reads nLength bytes to p and a NUL behind them.
void readDeclaredBody(HttpRequestProvider& rRequest, char* p, std::size_t nLength) {
    for (std::size_t nRemaining = nLength; nRemaining != 0;) {
        const std::size_t nRead = readOrWait(rRequest, p, nRemaining);
        p += nRead;
        nRemaining -= nRead;
    }
    *p = '\0';
}

using UndeclaredBody = StringBufferTemplate<16383u, char>;

void readUndeclaredBody(HttpRequestProvider& rRequest, UndeclaredBody& rBody) {
    for (;;) {
        const std::size_t nProjectedInternalBufferSize = rBody.length() + knReadChunk;
        checkBodyLength(nProjectedInternalBufferSize);
        char* const p = rBody.getAppendBuffer(knReadChunk);
        const std::size_t nRead = rRequest.readFromBody(p, rBody.appendBufferCapacity());
        // Also of nothing: the NUL is put back over what the provider may have written.
        rBody.commitAppendBuffer(nRead);
        if (nRead == 0) return;
    }
}

/// A POST on its way to its entry point.
struct Post {
    KIVHttpServer& rServer;
    KIVServerHttpStream& rStream;
    HttpRequestProvider& rRequest;
    char* pQueryString;
};

HttpServerExtension::EStatus processDeclaredBody(const Post& r, std::size_t nReqLen) {
    checkBodyLength(nReqLen);
    AutoBuffer<char, 16384u> tBody(nReqLen + 1);
    readDeclaredBody(r.rRequest, tBody.get(), nReqLen);
    return r.rServer.processPOST(r.rStream, r.pQueryString, tBody.get(), nReqLen);
}

HttpServerExtension::EStatus processUndeclaredBody(const Post& r) {
    UndeclaredBody tBody;
    readUndeclaredBody(r.rRequest, tBody);
    return r.rServer.processPOST(r.rStream, r.pQueryString, tBody.getText(), tBody.length());
}

HttpServerExtension::EStatus dispatchPOST(KIVHttpServer& rServer, KIVServerHttpStream& rStream,
                                          HttpRequestProvider& rRequest) {
    const std::size_t nReqLen = rRequest.getContentLength();
    ZQWString sContentType;
    rStream.GetRequestHeader(ks_ContentType, sContentType);
    const HttpRequestProvider::SizedBuffer tQSBuffer = rRequest.getQueryString();
    const Post tPost{rServer, rStream, rRequest, tQSBuffer.first};
    if (strncasecmp(tQSBuffer.first, "soap", 4) == 0)
        return rServer.processSOAP(rStream, tQSBuffer.first, nReqLen);
    if (isGoodOleFormPost(sContentType)) return rServer.processPOST(rStream, tQSBuffer.first, nullptr, 0);
    return rRequest.isContentLengthKnown() ? processDeclaredBody(tPost, nReqLen)
                                           : processUndeclaredBody(tPost);
}

HttpServerExtension::EStatus dispatch(KIVHttpServer& rServer, KIVServerHttpStream& rStream,
                                      HttpRequestProvider& rRequest) {
    ZQWString sURL;
    if (rStream.GetServerVariable(kpHTTP_URL, sURL) && !KIVHttpServer::checkValidServerURL(sURL))
        return HttpServerExtension::kBadRequest;
    if (strcasecmp(rRequest.getMethod().m_p, "GET") == 0)
        return rServer.processGET(rStream, rRequest.getQueryString().first);
    if (strcasecmp(rRequest.getMethod().m_p, "POST") == 0) return dispatchPOST(rServer, rStream, rRequest);
    return HttpServerExtension::kBadRequest;
}

void reportUnknownStatus(HttpServerExtension::EStatus eStatus) {
    const std::wstring sText = L"An entry point returned " + std::to_wstring(static_cast<int>(eStatus)) +
                               L", which is no status; 500 is sent";
    TWLogger::getLogger().logMessage(kSevError, s_lsHttpServer, GDStringRef(sText), ZQ_LOG_LOCATION);
}

/// Sets the status that an entry point's result stands for, and counts the request as bad or failed.
void applyStatus(KIVHttpServer& rServer, ZQHttpStream& rStream, HttpServerExtension::EStatus eStatus) {
    switch (eStatus) {
        case HttpServerExtension::kOK:
            return;
        case HttpServerExtension::kParamRequired:
        case HttpServerExtension::kBadParamCount:
        case HttpServerExtension::kBadRequest:
        case HttpServerExtension::kBadParam:
            rStream.setErrorStatusCode(400);
            break;
        case HttpServerExtension::kBadCommand:
            rStream.setErrorStatusCode(404);
            break;
        case HttpServerExtension::kMaliciousInput:
            rStream.setErrorStatusCode(403);
            break;
        case HttpServerExtension::kServerInitFailed:
        case HttpServerExtension::kUnknownError:
        case HttpServerExtension::kNoStream:
        case HttpServerExtension::kMissingParams:
        default:
            rServer.incrementFailedRequestsCounter();
            rStream.setErrorStatusCode(500);
            if (eStatus < HttpServerExtension::kOK || eStatus > HttpServerExtension::kMaliciousInput)
                reportUnknownStatus(eStatus);
            return;
    }
    s_tBadRequests.increment();
}

bool isAsciiAlphanumeric(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9');
}

}  // namespace

KIVHttpServer::KIVHttpServer(HttpServerInitContext& rIC)
    : HttpServerExtension(rIC),
      m_tConfig(kConfigDontSupportReload),
      m_nThreadTimeout(s_tDefaultTimeout.nDefault * knMsPerMinute),
      m_nMaxContentDispFilenameLen(s_tFilenameLength.nDefault),
      m_nHTTPResponseTimeoutMilliSeconds(s_tResponseTimeout.nDefault * knMsPerMinute) {
    m_tConfig.init(this);
    MessageFormatterTagRegistrar::endRegistrationPeriod();
}

KIVHttpServer::~KIVHttpServer() = default;

bool KIVHttpServer::loadConfig(const ConfigReader& rReader, EConfig) {
    const auto extract = [&](const Setting& r) {
        return ConfigValueExtractor<PathFilter, unsigned int>::extract(rReader, r.pKey, r.nDefault);
    };
    m_nThreadTimeout = extract(s_tDefaultTimeout) * knMsPerMinute;
    TimeoutConfig::setGlobalDefaultTimeout(extract(s_tGlobalTimeout) * knMsPerMinute);
    m_nMaxContentDispFilenameLen = extract(s_tFilenameLength);
    const unsigned int nResponseTimeout = extract(s_tResponseTimeout) * knMsPerMinute;
    m_nHTTPResponseTimeoutMilliSeconds = nResponseTimeout;
    return true;
}

std::size_t KIVHttpServer::getResponseTimeoutMilliSeconds() const {
    return m_nHTTPResponseTimeoutMilliSeconds;
}

void KIVHttpServer::processRequest(HttpRequestProvider& rRequest, HttpResponseProvider& rResponse) {
    const TimeoutConfig::SetTimeoutGuard tTimeout(m_nThreadTimeout);
    const performance::IncrementAtEnd tCompleted(s_tTotalRequests);
    const performance::ResourceCounter tCurrent(s_tCurrentRequests);
    const Handle<GDExpressionEvaluator> hEmptyEvaluator;
    KIVServerHttpStream tStream(rRequest, rResponse, hEmptyEvaluator);
    tStream.setMaxContentDispFilenameLen(m_nMaxContentDispFilenameLen);
    EStatus eStatus;
    try {
        eStatus = dispatch(*this, tStream, rRequest);
    } catch (const http::MaliciousInputException&) {
        eStatus = kMaliciousInput;
    }
    applyStatus(*this, tStream, eStatus);
    tStream.endResponse();
}

bool KIVHttpServer::checkValidServerURL(const ZQWString& sURL) {
    const std::wstring_view s = sURL.view();
    if (s.starts_with(L'.')) return false;
    for (std::size_t n = s.find(L'/'); n != s.npos && n + 1 < s.size(); n = s.find(L'/', n + 1))
        if (!isAsciiAlphanumeric(s[n + 1])) return false;
    return true;
}

}  // namespace kiv
