#pragma once

#include <cstddef>

#include "zq/foundation/exception.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

namespace webcontainer {

/// What answers the requests that the front end receives. Called on many threads at once.
class RequestHandler {
public:
    /// Answers one request; must not keep the providers. An exception ends the request with an error reply
    /// or, when bytes of the response are out already, with an aborted connection.
    virtual void processRequest(kiv::HttpRequestProvider& rRequest, kiv::HttpResponseProvider& rResponse) = 0;
    /// How long a response may run, in milliseconds; 0: as long as it likes.
    virtual std::size_t getResponseTimeoutMilliSeconds() const = 0;
    /// Whether an exception out of processRequest() says that the body was longer than allowed.
    virtual bool isBodyLimit(const Exception& rException) const = 0;
    /// The server is about to stop: long waits should end. Requests may still run, and come.
    virtual void startShutdown() = 0;

protected:
    ~RequestHandler() = default;
};

}  // namespace webcontainer
