#include "support/fakeresponseprovider.h"

void FakeResponseProvider::log(std::string sCall) {
    ++nCalls;
    if (m_pLog) m_pLog->push_back(std::move(sCall));
}

FakeResponseProvider::EResponseCode FakeResponseProvider::result() {
    return m_nResults++ == nFailingCall ? eFailure : kRCOK;
}

void FakeResponseProvider::setStatusCode(unsigned int nStatus) {
    log("setStatusCode " + std::to_string(nStatus));
}

void FakeResponseProvider::setErrorStatusCode(unsigned int nStatus) {
    log("setErrorStatusCode " + std::to_string(nStatus));
}

void FakeResponseProvider::setContentLength(std::size_t nLength) {
    log("setContentLength " + std::to_string(nLength));
}

void FakeResponseProvider::addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                                     std::size_t nValueLength) {
    // The NULs are part of the contract: read up to them.
    const bool bTerminated = pName[nNameLength] == '\0' && pValue[nValueLength] == '\0';
    log(std::string(bTerminated ? "addHeader " : "addHeader unterminated ") +
        std::string(pName, nNameLength) + ": " + std::string(pValue, nValueLength));
}

void FakeResponseProvider::clearHeaders() {
    log("clearHeaders");
}

FakeResponseProvider::EResponseCode FakeResponseProvider::commitHeaders() {
    log("commitHeaders");
    return result();
}

FakeResponseProvider::EResponseCode FakeResponseProvider::writeToBody(const void* pData,
                                                                      std::size_t nLength) {
    const std::string sData(static_cast<const char*>(pData), nLength);
    log("writeToBody " + sData);
    sBody += sData;
    return result();
}

FakeResponseProvider::EResponseCode FakeResponseProvider::endResponse(const void* pData,
                                                                      std::size_t nLength) {
    const std::string sData = pData ? std::string(static_cast<const char*>(pData), nLength) : "(null)";
    log("endResponse " + sData);
    if (pData) sBody += sData;
    return result();
}
