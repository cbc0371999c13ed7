#include "zq/memoryhost/memoryexchange.h"

#include "memoryrequestprovider.h"
#include "memoryresponseprovider.h"
#include "zq/recording/recording.h"

struct MemoryExchange::Parts {
    MemoryCalls tCalls;
    MemoryRequestProvider tRequest{tCalls};
    MemoryResponseProvider tResponse{tCalls};
};

MemoryExchange::MemoryExchange(const MemoryRequest& rRequest, MemoryResponse& rResponse)
    : m_pParts(new Parts{.tCalls = {rRequest, rResponse}}) {}

MemoryExchange::~MemoryExchange() = default;

kiv::HttpRequestProvider& MemoryExchange::getRequest() noexcept {
    return m_pParts->tRequest;
}

kiv::HttpResponseProvider& MemoryExchange::getResponse() noexcept {
    return m_pParts->tResponse;
}

void MemoryExchange::finish(const std::exception_ptr& pException) {
    MemoryResponse& rResponse = m_pParts->tCalls.m_rResponse;
    rResponse.pException = pException;
    if (pException) rResponse.sException = messageOf(pException);
    m_pParts->tRequest.finish();
    m_pParts->tResponse.finish(!pException);
}
