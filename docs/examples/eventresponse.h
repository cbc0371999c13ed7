#pragma once

#include <algorithm>
#include <chrono>
#include <string>

#include "eventexchange.h"
#include "zq/services/timeoutconfig.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

/// Streams a response: each piece waits for the client to have taken the one before, so that a slow client
/// holds one piece and one worker, however long the response is.
class EventResponse final : public kiv::HttpResponseProvider {
public:
    /// nMostMs: what KIVHttpServer::getResponseTimeoutMilliSeconds() says, 0 for any time.
    EventResponse(EventExchange& rExchange, std::size_t nMostMs) : m_rExchange(rExchange) {
        if (nMostMs != 0) m_tDeadline = Clock::now() + std::chrono::milliseconds(nMostMs);
    }

    void setStatusCode(unsigned int nStatus) override { m_nStatus = nStatus; }
    void setErrorStatusCode(unsigned int nStatus) override { m_nStatus = nStatus; }
    void setContentLength(std::size_t nLength) override {
        m_tHeaders.emplace_back("Content-Length", std::to_string(nLength));
    }
    void addHeader(const char* pName, std::size_t, const char* pValue, std::size_t) override {
        m_tHeaders.emplace_back(pName, pValue);
    }
    void clearHeaders() override { m_tHeaders.clear(); }
    EResponseCode commitHeaders() override {
        m_bCommitted = true;
        m_rExchange.start(m_nStatus, m_tHeaders);
        return kRCOK;
    }
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override {
        // The thread's timeout is for waits for the client: the module has set that of requests.
        auto nPatience = std::chrono::milliseconds(TimeoutConfig::getDefaultTimeout());
        if (nPatience.count() == 0) nPatience = std::chrono::hours(24);
        const auto nLeft = std::chrono::duration_cast<std::chrono::milliseconds>(m_tDeadline - Clock::now());
        if (nLeft.count() <= 0) return kRCResponseTimeout;
        switch (m_rExchange.send({static_cast<const char*>(pData), nLength}, std::min(nPatience, nLeft))) {
            case EventExchange::EResult::kSent:
                return kRCOK;
            case EventExchange::EResult::kGone:
                return kRCClientDead;
            default:
                return nLeft < nPatience ? kRCResponseTimeout : kRCClientDead;
        }
    }
    EResponseCode endResponse(const void* pData, std::size_t nLength) override {
        const EResponseCode eResult = nLength == 0 ? kRCOK : writeToBody(pData, nLength);
        if (eResult == kRCOK) m_rExchange.end();
        return eResult;
    }
    /// The answer to a request that failed. One that has begun is cut off, so that nobody takes it for whole.
    void fail(unsigned int nStatus) {
        if (m_bCommitted) return m_rExchange.abort();
        clearHeaders();
        setErrorStatusCode(nStatus);
        setContentLength(0);
        commitHeaders();
        endResponse(nullptr, 0);
    }

private:
    using Clock = std::chrono::steady_clock;

    EventExchange& m_rExchange;
    Clock::time_point m_tDeadline = Clock::now() + std::chrono::hours(24 * 365);
    unsigned int m_nStatus = 0;
    bool m_bCommitted = false;
    EventExchange::Headers m_tHeaders;
};
