#include "zq/memoryhost/memoryhost.h"

#include <mutex>

#include "zq/memoryhost/memoryexchange.h"
#include "zq/services/config.h"
#include "zq/webhttpserver/kivhttpserver.h"

namespace {

class PageApplication final : public HttpApplication {
public:
    explicit PageApplication(MemoryHost::Page fPage) : m_fPage(std::move(fPage)) {}

    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return m_fPage(rStream, r);
    }
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return m_fPage(rStream, r);
    }
    EStatus soap(ZQHttpStream& rStream, const HttpApplicationRequest& r) override {
        return m_fPage(rStream, r);
    }

private:
    const MemoryHost::Page m_fPage;
};

/// Once for the process: the module refuses to be configured again.
void configure() {
    static std::once_flag s_tOnce;
    std::call_once(s_tOnce, [] {
        if (ConfigReader::getGlobalInstance().isNull())
            ConfigBase::loadAll(ConfigReader(ConfigReaderInstance::fromText("", "defaults")));
    });
}

}  // namespace

struct MemoryHost::Parts {
    explicit Parts(HttpApplication& rApplication) : tContext(rApplication) { configure(); }
    explicit Parts(Page fPage) : pPage(new PageApplication(std::move(fPage))), tContext(*pPage) {
        configure();
    }

    const std::unique_ptr<HttpApplication> pPage;
    HttpServerInitContext tContext;
    kiv::KIVHttpServer tServer{tContext};
};

MemoryHost::MemoryHost(HttpApplication& rApplication) : m_pParts(new Parts(rApplication)) {}

MemoryHost::MemoryHost(Page fPage) : m_pParts(new Parts(std::move(fPage))) {}

MemoryHost::~MemoryHost() = default;

MemoryResponse MemoryHost::run(const MemoryRequest& rRequest) {
    MemoryResponse tResponse;
    MemoryExchange tExchange(rRequest, tResponse);
    std::exception_ptr pException;
    try {
        m_pParts->tServer.processRequest(tExchange.getRequest(), tExchange.getResponse());
    } catch (...) {
        pException = std::current_exception();
    }
    tExchange.finish(pException);
    return tResponse;
}

MemoryResponse MemoryHost::get(std::string sTarget) {
    return run({.sTarget = std::move(sTarget)});
}

void MemoryHost::startShutdown() {
    m_pParts->tServer.startShutdown();
}
