#pragma once

#include <cstddef>

#include "zq/foundation/zqstring.h"
#include "zq/httpextension/httpserverextension.h"
#include "zq/services/config.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

namespace kiv {

/// The server variable that carries the path of a request's URL: "URL".
ZQ_EXPORT extern const char* const kpHTTP_URL;

/// The module's entry object: takes every request from arrival to completion.
///
/// A host constructs one, after its libraries are loaded and best after the process-wide configuration
/// reader exists, and calls processRequest() on as many threads at once as it likes. The configuration is
/// read at construction and once more at the host's first configuration load; later loads are refused, so
/// the values never change while requests run; before the first reading they are the defaults. Any whole
/// number of 32 bits is accepted, 0 too; minutes from 71583 on do not fit in 32 bits of milliseconds and
/// wrap.
///
/// The Cache-Control values of responses have no defaults before the first reading: a host that never loads a
/// configuration sends an empty Cache-Control with every response that expires, and none with the others. One
/// that has no configuration loads an empty one, once:
///
///     ConfigBase::loadAll(ConfigReader(ConfigReaderInstance::fromText("", "defaults")));
class ZQ_EXPORT KIVHttpServer : public HttpServerExtension {
public:
    /// Hands rIC to the base. What reading the configuration throws leaves the constructor.
    explicit KIVHttpServer(HttpServerInitContext& rIC);
    ~KIVHttpServer() override;

    using HttpServerExtension::processRequest;
    /// Runs one request, on the calling thread, and returns when its response has been ended: checks URL
    /// (400) and method (400), reads form, XML and untyped bodies, calls the entry point, and turns its
    /// result into a status. Both providers must live until it returns; it keeps nothing of them.
    ///
    /// Every exception leaves it but http::MaliciousInputException, which becomes a 403. A body that is too
    /// long (declared: from 10 MiB on; not declared: above 10477567 bytes) leaves as an exception with the
    /// message kmsgPOSTRequestLimitException, a declared body that stalls for a second as
    /// InputStream::UnexpectedEOF; the response has not been ended then. Whatever happens, the counters
    /// "HttpServer/CurrentRequests" and "HttpServer/CompletedRequests" are set right and the thread has its
    /// default timeout back.
    void processRequest(HttpRequestProvider& rRequest, HttpResponseProvider& rResponse);

    /// Reads the values above; called by the configuration machinery only. Always true.
    bool loadConfig(const ConfigReader& rReader, EConfig eConfig);

    /// How long a response may run, in milliseconds. The host measures, and answers an overrun with
    /// HttpResponseProvider::kRCResponseTimeout.
    std::size_t getResponseTimeoutMilliSeconds() const;

    /// Whether a URL path may be served: empty, or not starting with a dot and with an ASCII letter or digit
    /// after every slash but a last one. It refuses "..", "//", hidden files and escaped first letters.
    static bool checkValidServerURL(const ZQWString& sURL);

private:
    Config<KIVHttpServer> m_tConfig;
    unsigned int m_nThreadTimeout;
    unsigned int m_nMaxContentDispFilenameLen;
    std::size_t m_nHTTPResponseTimeoutMilliSeconds;
};

}  // namespace kiv
