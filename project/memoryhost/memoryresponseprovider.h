#pragma once

#include <string_view>

#include "memorycalls.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

/// The response of a MemoryExchange.
class MemoryResponseProvider final : public kiv::HttpResponseProvider {
public:
    /// rCalls must outlive it.
    explicit MemoryResponseProvider(MemoryCalls& rCalls) noexcept
        : m_rCalls(rCalls),
          m_rResponse(rCalls.m_rResponse) {}
    virtual ~MemoryResponseProvider() = default;

    void setStatusCode(unsigned int nStatus) override;
    void setErrorStatusCode(unsigned int nStatus) override;
    void setContentLength(std::size_t nLength) override;
    void addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                   std::size_t nValueLength) override;
    void clearHeaders() override;
    EResponseCode commitHeaders() override;
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override;
    EResponseCode endResponse(const void* pData, std::size_t nLength) override;

    /// Names what a request that has been processed shows to be wrong.
    void finish(bool bReturned);

private:
    void setStatus(const char* pCall, unsigned int nStatus, bool bError);
    /// For calls that come before the headers are committed. The pieces go before what is said.
    template <class... Pieces>
    void requireOpen(std::string_view sCall, const Pieces&... rPieces) {
        requireGoing(sCall, rPieces...);
        m_rCalls.require(!m_bCommitted, sCall, rPieces..., "follows the first flush");
    }
    template <class... Pieces>
    void requireGoing(std::string_view sCall, const Pieces&... rPieces) {
        m_rCalls.require(m_rResponse.eResult == kRCOK, sCall, rPieces..., "follows a call that failed");
        m_rCalls.require(!m_rResponse.bEnded, sCall, rPieces..., "follows endResponse()");
    }
    EResponseCode take(const char* pCall, const void* pData, std::size_t nLength);
    EResponseCode result();

    MemoryCalls& m_rCalls;
    MemoryResponse& m_rResponse;
    bool m_bStatus = false;
    bool m_bCommitted = false;
    std::size_t m_nResults = 0;
    std::size_t m_nSent = 0;
};
