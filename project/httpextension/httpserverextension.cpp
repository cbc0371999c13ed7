#include "zq/httpextension/httpserverextension.h"

#include "zq/services/performancecounters.h"

namespace {

performance::PerfCounterT<performance::Atomic32Policy> s_tFailedRequests(
    "HttpServer/FailedRequests", "Failed Requests", "The total number of requests that failed in the server.");

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
    return processRequest(rStream, {}, pQueryString, pBody, nLength);
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
    tRequest.hParameterCharset = hCharset;
    tRequest.bBodyInStream = pBody == nullptr;
    if (pBody) tRequest.sBody = {pBody, nLength};
    return m_rApplication.post(rStream, tRequest);
}

void HttpServerExtension::incrementFailedRequestsCounter() noexcept {
    s_tFailedRequests.increment();
}
