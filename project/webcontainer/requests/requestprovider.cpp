#include "requests/requestprovider.h"

#include <cstring>

namespace webcontainer {

namespace {

/// Whether a text fits; rSize becomes its length, which is also what it needs.
bool offer(std::string_view s, std::size_t& rSize) {
    const bool bFits = s.size() <= rSize;
    rSize = s.size();
    return bFits;
}

void copy(std::string_view s, char* pBuffer) {
    if (!s.empty()) std::memcpy(pBuffer, s.data(), s.size());
}

}  // namespace

RequestProvider::RequestProvider(RequestContext& rContext, BodyReader& rBody)
    : m_rInput(rContext.rInput),
      m_rBody(rBody),
      m_tVariables(rContext.variables()),
      m_bHeadIsGet(rContext.rRules.tMethods.bHead && m_rInput.getHead().bHead) {}

NarrowRefString RequestProvider::getMethod() {
    if (m_bHeadIsGet) return "GET";
    return m_rInput.text(m_rInput.getHead().tMethod);
}

RequestProvider::SizedBuffer RequestProvider::getQueryString() {
    const Stretch& r = m_rInput.getHead().tQuery;
    if (r.nFrom == RequestHead::knNowhere) return {&m_cNoQuery, 0};
    return {m_rInput.data(r), r.nLength};
}

std::size_t RequestProvider::getContentLength() {
    const RequestHead& r = m_rInput.getHead();
    return r.eFraming == EBodyFraming::kChunked ? static_cast<std::size_t>(-1) : r.nContentLength;
}

int RequestProvider::getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) {
    NarrowStringBuffer tStorage;
    std::string_view sValue;
    if (!m_tVariables.find(pName, sValue, tStorage)) return -1;
    if (!offer(sValue, rSize)) return 0;
    copy(sValue, pBuffer);
    return 1;
}

int RequestProvider::getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                                    std::size_t& rValueSize) {
    rCursor = 0;
    return getNextHeader(rCursor, pName, rNameSize, pValue, rValueSize);
}

int RequestProvider::getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                                   std::size_t& rValueSize) {
    const auto& rFields = m_rInput.getHead().tFields;
    if (rCursor >= rFields.size()) return -1;
    const std::string_view sName = m_rInput.text(rFields[rCursor].tName);
    const std::string_view sValue = m_rInput.text(rFields[rCursor].tValue);
    const bool bNameFits = offer(sName, rNameSize);
    const bool bValueFits = offer(sValue, rValueSize);
    if (!bNameFits || !bValueFits) return 0;
    copy(sName, pName);
    copy(sValue, pValue);
    ++rCursor;
    return 1;
}

std::size_t RequestProvider::readFromBody(void* pBuffer, std::size_t nSize) {
    return m_rBody.read(pBuffer, nSize);
}

}  // namespace webcontainer
