#include "memoryresponseprovider.h"

#include <algorithm>

#include "fieldname.h"

namespace {

/// Those that frame a body or belong to one connection are the front end's (RFC 9112 section 6, RFC 9110
/// section 7.6.1).
constexpr std::string_view s_ksFramingFields[] = {"Connection", "Content-Length", "Keep-Alive",
                                                  "Transfer-Encoding", "Upgrade"};

/// RFC 9110 section 5.6.2.
bool isToken(std::string_view s) {
    constexpr std::string_view ksTokenBytes =
        "!#$%&'*+-.^_`|~0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    return !s.empty() && s.find_first_not_of(ksTokenBytes) == s.npos;
}

bool isControl(char c) {
    return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7f';
}

/// RFC 9110 sections 15.3.5, 15.3.6 and 15.4.5.
bool isBodyless(unsigned int nStatus) {
    return nStatus == 204 || nStatus == 205 || nStatus == 304;
}

}  // namespace

void MemoryResponseProvider::setStatusCode(unsigned int nStatus) {
    setStatus("setStatusCode", nStatus, false);
}

void MemoryResponseProvider::setErrorStatusCode(unsigned int nStatus) {
    setStatus("setErrorStatusCode", nStatus, true);
}

void MemoryResponseProvider::setStatus(const char* pCall, unsigned int nStatus, bool bError) {
    m_rCalls.add(pCall, " ", nStatus);
    requireOpen(pCall);
    m_rCalls.require(!std::exchange(m_bStatus, true) || m_rCalls.hasThrown(), pCall,
                     "the status has been set before");
    m_rCalls.require(nStatus >= 200 && nStatus <= 599, pCall, nStatus, " is no final status");
    m_rResponse.nStatus = nStatus;
    m_rResponse.bError = bError;
}

void MemoryResponseProvider::setContentLength(std::size_t nLength) {
    m_rCalls.add("setContentLength", " ", nLength);
    requireOpen("setContentLength");
    m_rCalls.require(m_bStatus, "setContentLength", "comes before the status");
    m_rCalls.require(!m_rResponse.nContentLength || m_rCalls.hasThrown(), "setContentLength",
                     "the length has been announced before");
    m_rResponse.nContentLength = nLength;
}

void MemoryResponseProvider::addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                                       std::size_t nValueLength) {
    constexpr const char* kpCall = "addHeader";
    const std::string_view sName(pName, nNameLength), sValue(pValue, nValueLength);
    m_rCalls.add(kpCall, " ", sName, ": ", sValue);
    requireOpen(kpCall, sName, " ");
    m_rCalls.require(pName[nNameLength] == '\0' && pValue[nValueLength] == '\0', kpCall, sName,
                     " has no NUL behind its name or value");
    m_rCalls.require(isToken(sName), kpCall, sName, " is no name of a header field");
    m_rCalls.require(std::ranges::none_of(sValue, isControl), kpCall, sName, " has control characters");
    const auto fIsIt = [sName](std::string_view s) { return isSameName(s, sName); };
    m_rCalls.require(std::ranges::none_of(s_ksFramingFields, fIsIt), kpCall, sName,
                     " is for the front end to say, which drops it");
    if (!m_bCommitted && m_rCalls.m_rRequest.bRecords)
        m_rCalls.attempt([&] { m_rResponse.tHeaders.emplace_back(sName, sValue); });
}

void MemoryResponseProvider::clearHeaders() {
    m_rCalls.add("clearHeaders");
    m_rCalls.require(!m_bCommitted || m_rResponse.eResult != kRCOK, "clearHeaders",
                     "follows the first flush");
    if (!m_bCommitted) m_rResponse.tHeaders.clear();
}

MemoryResponseProvider::EResponseCode MemoryResponseProvider::commitHeaders() {
    m_rCalls.add("commitHeaders");
    requireOpen("commitHeaders");
    m_rCalls.require(m_bStatus, "commitHeaders", "no status has been set");
    m_bCommitted = true;
    const EResponseCode eResult = result();
    m_rResponse.bCommitted = eResult == kRCOK;
    return eResult;
}

MemoryResponseProvider::EResponseCode MemoryResponseProvider::writeToBody(const void* pData,
                                                                          std::size_t nLength) {
    m_rCalls.require(pData && nLength != 0, "writeToBody", "comes without a byte");
    m_rCalls.require(!m_rResponse.nContentLength || m_rCalls.hasThrown(), "writeToBody",
                     "follows a length, which is announced of a body that ends at once");
    return take("writeToBody", pData, nLength);
}

MemoryResponseProvider::EResponseCode MemoryResponseProvider::endResponse(const void* pData,
                                                                          std::size_t nLength) {
    m_rCalls.require(!pData == (nLength == 0), "endResponse", "null and 0 go together");
    const EResponseCode eResult = take("endResponse", pData, nLength);
    m_rResponse.bEnded = true;
    m_rCalls.require(m_nSent == m_rResponse.nContentLength.value_or(m_nSent), "endResponse",
                     m_rResponse.nContentLength.value_or(0), " bytes were announced, and ", m_nSent, " came");
    m_rCalls.require(m_nSent == 0 || !isBodyless(m_rResponse.nStatus), "endResponse",
                     "a response with status ", m_rResponse.nStatus, " has no body, and ", m_nSent,
                     " bytes came");
    return eResult;
}

MemoryResponseProvider::EResponseCode MemoryResponseProvider::take(const char* pCall, const void* pData,
                                                                   std::size_t nLength) {
    const std::string_view sBytes(static_cast<const char*>(pData), pData ? nLength : 0);
    m_rCalls.add(pCall, " ", pData ? sBytes : "(null)");
    requireGoing(pCall);
    m_rCalls.require(m_bCommitted, pCall, "comes before commitHeaders()");
    m_nSent += nLength;
    const EResponseCode eResult = result();
    if (eResult != kRCOK) return eResult;
    if (m_rCalls.m_rRequest.fOnBody)
        m_rCalls.m_rRequest.fOnBody(sBytes);
    else
        m_rResponse.sBody += sBytes;
    return eResult;
}

MemoryResponseProvider::EResponseCode MemoryResponseProvider::result() {
    const auto& rResults = m_rCalls.m_rRequest.tResults;
    if (!rResults.empty()) m_rResponse.eResult = rResults[std::min(m_nResults++, rResults.size() - 1)];
    return m_rResponse.eResult;
}

void MemoryResponseProvider::finish(bool bReturned) {
    m_rCalls.require(!bReturned || m_rResponse.bEnded || m_rResponse.eResult != kRCOK, "processRequest",
                     "returned without endResponse()");
}
