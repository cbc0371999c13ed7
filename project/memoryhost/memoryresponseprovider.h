#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "memorycalls.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

/// Records what a response is made of. The n-th call that returns a result can be told to fail.
class FakeResponseProvider final : public kiv::HttpResponseProvider {
public:
    explicit FakeResponseProvider(CallLog* pLog = nullptr) noexcept : m_pLog(pLog) {}

    /// The call of commitHeaders(), writeToBody() and endResponse(), counted from 0 together, that returns
    /// eFailure instead of kRCOK.
    std::size_t nFailingCall = static_cast<std::size_t>(-1);
    EResponseCode eFailure = kRCOK;

    std::string sBody;  ///< all bytes sent so far

    void setStatusCode(unsigned int nStatus) override { logCall(m_pLog, "setStatusCode ", nStatus); }
    void setErrorStatusCode(unsigned int nStatus) override {
        logCall(m_pLog, "setErrorStatusCode ", nStatus);
    }
    void setContentLength(std::size_t nLength) override { logCall(m_pLog, "setContentLength ", nLength); }
    void addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                   std::size_t nValueLength) override {
        // The NULs are part of the contract: read up to them.
        const bool bTerminated = pName[nNameLength] == '\0' && pValue[nValueLength] == '\0';
        logCall(m_pLog, bTerminated ? "addHeader " : "addHeader unterminated ",
                std::string_view(pName, nNameLength), ": ", std::string_view(pValue, nValueLength));
    }
    void clearHeaders() override { logCall(m_pLog, "clearHeaders"); }
    EResponseCode commitHeaders() override {
        logCall(m_pLog, "commitHeaders");
        return result();
    }
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override {
        return take("writeToBody ", pData, nLength);
    }
    EResponseCode endResponse(const void* pData, std::size_t nLength) override {
        return take("endResponse ", pData, nLength);
    }

private:
    EResponseCode take(const char* pCall, const void* pData, std::size_t nLength) {
        const std::string_view sData(static_cast<const char*>(pData), nLength);
        logCall(m_pLog, pCall, pData ? sData : "(null)");
        sBody += sData;
        return result();
    }
    EResponseCode result() { return m_nResults++ == nFailingCall ? eFailure : kRCOK; }

    CallLog* m_pLog;
    std::size_t m_nResults = 0;
};
