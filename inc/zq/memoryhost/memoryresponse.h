#pragma once

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zq/memoryhost/memoryrequest.h"

/// All that came of one request: what the client got, how it ended, and what was called on the way. A value
/// of its own, which refers to nothing of the run.
struct ZQ_EXPORT MemoryResponse {
    /// The status, 0 before the headers were to be sent. An exception leaves it as it was: MemoryHost answers
    /// nothing by itself.
    unsigned int nStatus = 0;
    /// Whether it was set as that of an error, which a front end may give a page when it has no body.
    bool bError = false;
    std::optional<std::size_t> nContentLength;  ///< as announced, in bytes; unset: it was not
    /// In the order in which they were added. Content-Length is not among them.
    MemoryRequest::Fields tHeaders;
    std::string sBody;        ///< what the client has taken; empty where MemoryRequest::fOnBody took it
    bool bCommitted = false;  ///< the client has the headers
    bool bEnded = false;      ///< endResponse() was called, whatever came of it
    /// The last result that a provider call returned.
    kiv::HttpResponseProvider::EResponseCode eResult = kiv::HttpResponseProvider::kRCOK;

    /// The exception that left KIVHttpServer::processRequest(), and its message in UTF-8. Null and empty:
    /// there was none.
    std::exception_ptr pException;
    std::string sException;

    /// Every call of the two providers in order, with its arguments: "getServerVariable URL 256", "addHeader
    /// Location: /", "writeToBody some bytes", "endResponse (null)".
    MemoryRequest::Calls tCalls;
    /// Every breach of the providers' contract by the module or by the application, in words that begin with
    /// the call, as "addHeader: X follows the first flush". A run is not stopped by one; the matchers of
    /// matchers.h fail on a response that has any.
    std::vector<std::string> tBreaches;

    /// Whether the client got everything: the response ended, and no call failed.
    bool isWhole() const;
    /// The values of all headers of that name, letter case aside (RFC 9110 section 5.1), in order.
    std::vector<std::string> getValues(std::string_view sName) const;
    /// The response for people: status line, headers, body, how it was cut off, and breaches.
    std::string describe() const;
};
