#include "memoryrequestprovider.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace {

/// A provider may use all the room that it is offered, so what it does not need is written to; of a body's
/// buffer, which may be large, the beginning.
constexpr char s_kcUsed = '#';
constexpr std::size_t s_knMostUsed = 64;

std::unique_ptr<char[]> terminatedCopy(std::string_view s) {
    auto pCopy = std::make_unique<char[]>(s.size() + 1);
    s.copy(pCopy.get(), s.size());
    return pCopy;
}

/// What stands behind the first question mark.
std::string_view queryOf(std::string_view sTarget) {
    const std::size_t nMark = sTarget.find('?');
    return nMark == sTarget.npos ? std::string_view() : sTarget.substr(nMark + 1);
}

/// Copies a text that fits, and returns its length.
std::size_t copyTo(char* pBuffer, std::size_t nRoom, std::string_view s) {
    std::fill_n(pBuffer, nRoom, s_kcUsed);
    return s.copy(pBuffer, s.size());
}

}  // namespace

MemoryRequestProvider::MemoryRequestProvider(MemoryCalls& rCalls)
    : m_rCalls(rCalls),
      m_rScript(rCalls.m_rRequest),
      m_sMethod(m_rScript.sMethod),
      m_sPath(m_rScript.sTarget.substr(0, m_rScript.sTarget.find('?'))),
      m_nQuery(queryOf(m_rScript.sTarget).size()),
      m_pQuery(terminatedCopy(queryOf(m_rScript.sTarget))) {}

NarrowRefString MemoryRequestProvider::getMethod() {
    m_rCalls.add("getMethod");
    return {m_sMethod.c_str(), m_sMethod.size()};
}

MemoryRequestProvider::SizedBuffer MemoryRequestProvider::getQueryString() {
    m_rCalls.add("getQueryString");
    return {m_pQuery.get(), m_nQuery};
}

std::size_t MemoryRequestProvider::getContentLength() {
    m_rCalls.add("getContentLength");
    if (m_rScript.nContentLength) return *m_rScript.nContentLength;
    const auto fAdd = [](std::size_t n, const std::string& s) { return n + s.size(); };
    return std::accumulate(m_rScript.tBody.begin(), m_rScript.tBody.end(), std::size_t{0}, fAdd);
}

bool MemoryRequestProvider::Negotiation::fits(const std::string& s, std::size_t& rSize) noexcept {
    const bool bFits = s.size() <= rSize;
    if (!bFits) rSize = s.size();
    nAsked = bFits ? 0 : s.size();
    return bFits;
}

const std::string* MemoryRequestProvider::findVariable(const char* pName) const {
    const auto it = m_rScript.tVariables.find(pName);
    if (it != m_rScript.tVariables.end()) return &it->second;
    return std::strcmp(pName, "URL") == 0 && !m_sPath.empty() ? &m_sPath : nullptr;
}

int MemoryRequestProvider::getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) {
    constexpr const char* kpCall = "getServerVariable";
    m_rCalls.add(kpCall, " ", pName, " ", rSize);
    m_rCalls.require(m_sVariable != pName || rSize >= m_tVariable.nAsked, kpCall, pName,
                     " comes with less room than was asked for");
    const std::string* const pValue = findVariable(pName);
    if (!pValue) return -1;
    const std::size_t nRoom = rSize;
    if (!m_tVariable.fits(*pValue, rSize)) {
        m_sVariable = pName;
        return 0;
    }
    rSize = copyTo(pBuffer, nRoom, *pValue);
    return 1;
}

int MemoryRequestProvider::getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize,
                                          char* pValue, std::size_t& rValueSize) {
    beginHeader("getFirstHeader", EHeaders::kUnread, rNameSize, rValueSize);
    m_nCursor = rCursor = 0;
    return deliverHeader(rCursor, pName, rNameSize, pValue, rValueSize);
}

int MemoryRequestProvider::getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize,
                                         char* pValue, std::size_t& rValueSize) {
    beginHeader("getNextHeader", EHeaders::kOpen, rNameSize, rValueSize);
    m_rCalls.require(rCursor == m_nCursor, "getNextHeader", "comes with another cursor");
    return deliverHeader(rCursor, pName, rNameSize, pValue, rValueSize);
}

void MemoryRequestProvider::beginHeader(const char* pCall, EHeaders eNeeded, std::size_t nNameSize,
                                        std::size_t nValueSize) {
    m_rCalls.add(pCall, " ", nNameSize, " ", nValueSize);
    m_rCalls.require(m_eHeaders == eNeeded || m_rCalls.hasThrown(), pCall,
                     eNeeded == EHeaders::kOpen ? "comes when no header was delivered before it"
                                                : "starts a second enumeration");
    m_rCalls.require(nNameSize >= m_tName.nAsked && nValueSize >= m_tValue.nAsked, pCall,
                     "comes with less room than was asked for");
}

int MemoryRequestProvider::deliverHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize,
                                         char* pValue, std::size_t& rValueSize) {
    if (m_nCursor >= m_rScript.tHeaders.size() || m_nCursor == m_rScript.nFailingHeader) {
        m_eHeaders = EHeaders::kEnded;
        return -1;
    }
    const auto& [sName, sValue] = m_rScript.tHeaders[m_nCursor];
    const std::size_t nNameRoom = rNameSize, nValueRoom = rValueSize;
    const bool bNameFits = m_tName.fits(sName, rNameSize), bValueFits = m_tValue.fits(sValue, rValueSize);
    if (!bNameFits || !bValueFits) return 0;
    rNameSize = copyTo(pName, nNameRoom, sName);
    rValueSize = copyTo(pValue, nValueRoom, sValue);
    rCursor = ++m_nCursor;
    m_eHeaders = EHeaders::kOpen;
    return 1;
}

void MemoryRequestProvider::closeHeaderEnum(hdrenum_t&) {
    m_rCalls.add("closeHeaderEnum");
    m_eHeaders = EHeaders::kEnded;
}

std::size_t MemoryRequestProvider::readFromBody(void* pBuffer, std::size_t nSize) {
    m_rCalls.add("readFromBody", " ", nSize);
    auto* const p = static_cast<char*>(pBuffer);
    std::fill_n(p, std::min(nSize, s_knMostUsed), s_kcUsed);
    if (m_nPiece == m_rScript.tBody.size()) {
        if (m_rScript.bVanishes)
            ZQTHROW_prethrowProcessException(ClientVanished(), false, ZQ_WFILE, __LINE__);
        return 0;
    }
    const std::string& sPiece = m_rScript.tBody[m_nPiece];
    const std::size_t nCopied = sPiece.copy(p, nSize, m_nInPiece);
    m_nInPiece += nCopied;
    if (m_nInPiece == sPiece.size()) ++m_nPiece, m_nInPiece = 0;
    return nCopied;
}

void MemoryRequestProvider::finish() {
    m_rCalls.require(m_pQuery[m_nQuery] == '\0', "getQueryString",
                     "the NUL behind the query was overwritten");
    const auto& rCalls = m_rCalls.m_rResponse.tCalls;
    m_rCalls.require(rCalls.empty() || rCalls[0].starts_with("getServerVariable URL "), "getServerVariable",
                     "URL was not asked for first");
}
