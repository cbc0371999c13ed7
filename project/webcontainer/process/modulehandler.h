#pragma once

#include "requests/requesthandler.h"
#include "zq/webhttpserver/httpservermessages.h"
#include "zq/webhttpserver/kivhttpserver.h"

namespace webcontainer {

/// Hands requests to the server extension.
class ModuleHandler final : public RequestHandler {
public:
    /// rServer must outlive the handler.
    explicit ModuleHandler(kiv::KIVHttpServer& rServer) noexcept : m_rServer(rServer) {}
    virtual ~ModuleHandler() = default;

    void processRequest(kiv::HttpRequestProvider& rRequest, kiv::HttpResponseProvider& rResponse) override {
        m_rServer.processRequest(rRequest, rResponse);
    }
    std::size_t getResponseTimeoutMilliSeconds() const override {
        return m_rServer.getResponseTimeoutMilliSeconds();
    }
    bool isBodyLimit(const Exception& rException) const override {
        return rException.getMessage() == kiv::kmsgPOSTRequestLimitException;
    }
    void startShutdown() override { m_rServer.startShutdown(); }

private:
    kiv::KIVHttpServer& m_rServer;
};

}  // namespace webcontainer
