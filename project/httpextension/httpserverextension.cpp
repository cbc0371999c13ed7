#include "zq/httpextension/httpserverextension.h"

#include <utility>

#include "zq/foundation/nocasecompareless.h"
#include "zq/httpstream/multipartparsingutils.h"
#include "zq/services/performancecounters.h"

namespace {

performance::PerfCounterT<performance::Atomic32Policy> s_tFailedRequests(
    "HttpServer/FailedRequests", "Failed Requests",
    "The total number of requests that failed in the server.");

const ZQWString ks_ContentType(L"Content-Type");
const ZQWString ks_charset(L"charset");

/// The character set that a form says it is in; null when it says nothing. Other bodies, XML for instance,
/// have their own ways to say it, and no parameters. Throws CharacterSet::UnknownCharset.
Handle<const CharacterSet> parameterCharset(ZQHttpStream& rStream) {
    ZQWString sContentType;
    if (!rStream.getRequestHeader(ks_ContentType, sContentType)) return {};
    if (!startsWithNoCase(sContentType, L"application/x-www-form-urlencoded") &&
        !startsWithNoCase(sContentType, L"multipart/"))
        return {};
    Headers tAttributes;
    MultipartParsingUtils::parseCompositeHeader(sContentType, tAttributes);
    const auto it = tAttributes.find(ks_charset);
    return it == tAttributes.end() ? Handle<const CharacterSet>() : CharacterSet::findForClient(it->second);
}

}  // namespace

HttpServerExtension::HttpServerExtension(HttpServerInitContext& rIC) noexcept
    : m_rApplication(rIC.m_rApplication) {}

HttpServerExtension::~HttpServerExtension() = default;

void HttpServerExtension::startShutdown() {
    m_rApplication.startShutdown();
}

HttpServerExtension::EStatus HttpServerExtension::processGET(ZQHttpStream& rStream, char* pQueryString) {
    HttpApplicationRequest tRequest;
    tRequest.sQueryString = pQueryString;
    return m_rApplication.get(rStream, tRequest);
}

HttpServerExtension::EStatus HttpServerExtension::processPOST(ZQHttpStream& rStream, char* pQueryString,
                                                              char* pBody, unsigned long nLength) {
    Handle<const CharacterSet> hCharset;
    try {
        hCharset = parameterCharset(rStream);
    } catch (const CharacterSet::UnknownCharset&) {
        // Guessing would hand the application other text than the client sent.
        return kBadParam;
    }
    return processRequest(rStream, hCharset, pQueryString, pBody, nLength);
}

HttpServerExtension::EStatus HttpServerExtension::processSOAP(ZQHttpStream& rStream, char* pQueryString,
                                                              unsigned long nLength) {
    HttpApplicationRequest tRequest;
    tRequest.sQueryString = pQueryString;
    tRequest.bBodyInStream = true;
    tRequest.nDeclaredLength = nLength;
    return m_rApplication.soap(rStream, tRequest);
}

HttpServerExtension::EStatus HttpServerExtension::processRequest(ZQHttpStream& rStream,
                                                                 Handle<const CharacterSet> hCharset,
                                                                 const RefStringTemplate<char>& rQueryString,
                                                                 char* pBody, unsigned long nLength) {
    HttpApplicationRequest tRequest;
    tRequest.sQueryString = rQueryString;
    tRequest.hParameterCharset = std::move(hCharset);
    tRequest.bBodyInStream = pBody == nullptr;
    if (pBody) tRequest.sBody = {pBody, nLength};
    return m_rApplication.post(rStream, tRequest);
}

void HttpServerExtension::incrementFailedRequestsCounter() noexcept {
    s_tFailedRequests.increment();
}
