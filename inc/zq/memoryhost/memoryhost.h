#pragma once

#include <functional>
#include <memory>

#include "zq/httpextension/httpapplication.h"
#include "zq/memoryhost/memoryrequest.h"
#include "zq/memoryhost/memoryresponse.h"

/// A host without sockets: runs requests through the module and an application, in the calling thread, and
/// returns what a client would have got.
///
///     MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
///         rStream.addText(L"Good morning");
///         return HttpApplication::kOK;
///     });
///     EXPECT_THAT(tHost.get("/"), AllOf(HasStatus(200), HasBody("Good morning")));  // matchers.h
///
/// The first one loads an empty configuration into the process, so that everything has its default, unless
/// there is a process-wide reader (ConfigReader::setGlobalInstance()) by then. Counters, logs and timeouts
/// are the process's as under any host.
class ZQ_EXPORT MemoryHost {
public:
    /// Answers GET, POST and SOAP requests alike.
    using Page = std::function<HttpApplication::EStatus(ZQHttpStream&, const HttpApplicationRequest&)>;

    /// rApplication must outlive the host.
    explicit MemoryHost(HttpApplication& rApplication);
    explicit MemoryHost(Page fPage);
    ~MemoryHost();
    MemoryHost(const MemoryHost&) = delete;
    MemoryHost& operator=(const MemoryHost&) = delete;

    /// Runs one request to its end. Throws nothing that the module or the application throws: that stands in
    /// the response. May be called on any number of threads at once, if the application's code under test is
    /// to be called so.
    MemoryResponse run(const MemoryRequest& rRequest);
    /// A GET of path and query.
    MemoryResponse get(std::string sTarget);
    /// Tells the application that the host begins to shut down. Any thread.
    void startShutdown();

private:
    struct Parts;

    const std::unique_ptr<Parts> m_pParts;
};
