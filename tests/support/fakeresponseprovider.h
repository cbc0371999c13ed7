#pragma once

#include <cstddef>
#include <string>

#include "support/calllog.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

/// Records what a response is made of. The n-th call that returns a result can be told to fail.
class FakeResponseProvider final : public kiv::HttpResponseProvider {
public:
    explicit FakeResponseProvider(CallLog* pLog = nullptr) noexcept : m_pLog(pLog) {}

    /// The call of commitHeaders(), writeToBody() and endResponse(), counted from 0 together, that returns
    /// eFailure instead of kRCOK.
    std::size_t nFailingCall = static_cast<std::size_t>(-1);
    EResponseCode eFailure = kRCOK;

    std::string sBody;       ///< all bytes sent so far
    std::size_t nCalls = 0;  ///< how many calls of any kind there were

    void setStatusCode(unsigned int nStatus) override;
    void setErrorStatusCode(unsigned int nStatus) override;
    void setContentLength(std::size_t nLength) override;
    void addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                   std::size_t nValueLength) override;
    void clearHeaders() override;
    EResponseCode commitHeaders() override;
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override;
    EResponseCode endResponse(const void* pData, std::size_t nLength) override;

private:
    void log(std::string sCall);
    EResponseCode result();

    CallLog* m_pLog;
    std::size_t m_nResults = 0;
};
