#pragma once

#include <cstddef>

#include "zq/foundation/zqexport.h"

namespace kiv {

/// One HTTP response under construction. The front end implements it, owns it, and keeps it alive for the
/// whole call of KIVHttpServer::processRequest(); every operation is called on the thread of that call. The
/// module never destroys it.
///
/// Order of calls: any number of addHeader() and clearHeaders(), as the application adds headers; at the
/// first flush exactly one of setStatusCode() and setErrorStatusCode(), perhaps setContentLength(), the
/// response's own headers, then commitHeaders(), once; then any number of writeToBody(); endResponse() last,
/// once. After the first result other than kRCOK the module makes no further call, except that resetting the
/// headers still calls clearHeaders(). An exception may leave processRequest() at any point, in which case
/// the calls simply stop.
class ZQ_EXPORT HttpResponseProvider {
public:
    /// What became of bytes that were to be transmitted. A value without a name counts as kRCError.
    enum EResponseCode : int {
        kRCOK = 0,
        kRCClientDead = 1,       ///< the client is gone
        kRCError = 2,            ///< the front end failed
        kRCResponseTimeout = 3,  ///< the response ran longer than getResponseTimeoutMilliSeconds()
    };

    /// The status of an ordinary response (RFC 9110 section 15).
    virtual void setStatusCode(unsigned int nStatus) = 0;
    /// The status of an error response: the front end may give it a body when the response has none.
    virtual void setErrorStatusCode(unsigned int nStatus) = 0;
    /// The exact length of the body in bytes; not called when it is unknown at the first flush.
    virtual void setContentLength(std::size_t nLength) = 0;
    /// Adds one header field. Both texts are bytes with their lengths, and a NUL follows each; they are valid
    /// during the call. A name may be added more than once; every addition is kept, in order.
    virtual void addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                           std::size_t nValueLength) = 0;
    /// Drops every header added so far.
    virtual void clearHeaders() = 0;
    /// Sends status line and headers, or holds them for the first bytes of the body.
    virtual EResponseCode commitHeaders() = 0;
    /// Sends nLength bytes of the body, at least one. The bytes are valid during the call.
    virtual EResponseCode writeToBody(const void* pData, std::size_t nLength) = 0;
    /// Sends the last bytes of the body and completes the response; null and 0 when none are left.
    virtual EResponseCode endResponse(const void* pData, std::size_t nLength) = 0;

protected:
    ~HttpResponseProvider() = default;
};

}  // namespace kiv
