#pragma once

#include "zq/foundation/characterset.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/hostallocator.h"
#include "zq/foundation/refstring.h"
#include "zq/httpextension/httprequeststatus.h"
#include "zq/httpextension/httpserverinitcontext.h"
#include "zq/httpstream/zqhttpstream.h"

/// Base of server extensions: the entry points through which a request reaches the application. All may be
/// called on many threads at once. Text arguments are NUL-terminated and valid until the call returns.
class ZQ_EXPORT HttpServerExtension : public HostAllocated, public HttpRequestStatus {
public:
    explicit HttpServerExtension(HttpServerInitContext& rIC) noexcept;
    virtual ~HttpServerExtension();
    HttpServerExtension(const HttpServerExtension&) = delete;
    HttpServerExtension& operator=(const HttpServerExtension&) = delete;

    // The order of the virtual operations is part of the contract with extensions built separately.

    /// The host is about to stop: tells the application.
    virtual void startShutdown();
    /// pQueryString: the query, never null.
    virtual EStatus processGET(ZQHttpStream& rStream, char* pQueryString);
    /// pBody: nLength bytes and a NUL, or null when the application is to read the body from the stream. A
    /// form in a character set that is not known is refused with kBadParam.
    virtual EStatus processPOST(ZQHttpStream& rStream, char* pQueryString, char* pBody,
                                unsigned long nLength);
    /// nLength: the declared length of the body, which is in the stream; all bits set when none was declared.
    virtual EStatus processSOAP(ZQHttpStream& rStream, char* pQueryString, unsigned long nLength);
    /// A POST whose parameters' character set is known: the one that a form's Content-Type names, or null,
    /// which means UTF-8.
    virtual EStatus processRequest(ZQHttpStream& rStream, Handle<const CharacterSet> hCharset,
                                   const RefStringTemplate<char>& rQueryString, char* pBody,
                                   unsigned long nLength);

    /// Counts a request that failed in the server, under "HttpServer/FailedRequests". Any thread, none lost.
    void incrementFailedRequestsCounter() noexcept;

private:
    HttpApplication& m_rApplication;
};
