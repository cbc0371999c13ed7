#pragma once

#include <cstddef>

#include "zq/foundation/characterset.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/hostallocator.h"
#include "zq/foundation/refstring.h"
#include "zq/httpextension/applicationrecord.h"
#include "zq/httpextension/httprequeststatus.h"
#include "zq/httpstream/servervariables.h"
#include "zq/httpstream/zqhttpstream.h"

/// What an application is told about a request besides its stream. All views are valid until the call that
/// got them returns.
struct ZQ_EXPORT HttpApplicationRequest {
    /// The length of a body that declares none.
    static constexpr std::size_t knUnknownLength = static_cast<std::size_t>(-1);

    /// The query of the URL as raw bytes, without the question mark; empty when there is none.
    NarrowRefString sQueryString;
    /// The body as raw bytes, when it has been read already: forms, XML, and bodies without a type.
    NarrowRefString sBody;
    /// True: the body (a multipart upload, say) has not been read; take it from the stream with
    /// getFirstParam() or ReadBinary().
    bool bBodyInStream = false;
    /// The length in bytes of a SOAP body as the client declared it, or knUnknownLength.
    std::size_t nDeclaredLength = 0;
    /// The character set of the parameters in query string and form body; null when the request names none,
    /// in which case it is UTF-8.
    Handle<const CharacterSet> hParameterCharset;
};

/// An application: one object, made by its library's factory, called on many threads at once. Each call is
/// one request; what it returns becomes the status of an error, or leaves the status that the application set
/// when it is kOK. An exception that leaves a call ends the request with an error page or, when headers are
/// out already, with an aborted connection; http::MaliciousInputException becomes a 403.
///
/// Not every request gets here. Each segment of the URL's path must begin with an ASCII letter or digit, and
/// only the last one may be empty: "/", "/a/b.html" and "/a/" come through, while "/.well-known/x", "/_x",
/// "/@me", "/-", "/%C3%A4" and "//" are answered with 400. So are methods other than GET and POST (HEAD comes
/// as a GET).
///
/// Text is wide and header text and file names are bytes elsewhere: toUtf8() and fromUtf8() convert (see
/// zq/foundation/utf8text.h).
class ZQ_EXPORT HttpApplication : public HostAllocated, public HttpRequestStatus {
public:
    virtual ~HttpApplication() = default;

    /// rStream.GetServerVariable(ServerVariable::kUrl, ...) says which page is wanted; see servervariables.h.
    virtual EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) = 0;
    /// Refuses every POST unless overridden.
    virtual EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest);
    /// A POST whose query string begins with "soap"; the body is in the stream. Refused unless overridden.
    virtual EStatus soap(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest);
    /// The host begins to shut down: requests still come, but long waits should end. May be called while
    /// requests run.
    virtual void startShutdown() {}

protected:
    HttpApplication() = default;
    HttpApplication(const HttpApplication&) = delete;
    HttpApplication& operator=(const HttpApplication&) = delete;
};

/// The C factory that an application's library exports; the caller deletes what it returns. Null or an
/// exception: the application cannot start.
extern "C" using HttpApplicationFactory = HttpApplication * ();
#define ZQ_HTTP_APPLICATION_FACTORY "zqCreateHttpApplication"

/// Defines the factory, once in an application's library, and beside it the record by which a host knows what
/// the library was built against: ZQ_HTTP_APPLICATION(MyApplication).
#define ZQ_HTTP_APPLICATION(ApplicationClass)                                               \
    ZQ_HTTP_APPLICATION_RECORD                                                              \
    extern "C" ZQ_EXPORT HttpApplication* zqCreateHttpApplication();                        \
    extern "C" HttpApplication* zqCreateHttpApplication() {                                 \
        return new ApplicationClass; /* NOLINT(bugprone-macro-parentheses): it is a type */ \
    }
