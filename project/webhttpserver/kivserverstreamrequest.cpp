// The request side of the stream: headers, server variables, method and raw body.

#include "stdafx.h"

#include "kivserverstream.h"

#include "zq/foundation/encodingcopy.h"
#include "zq/foundation/encodingutf8.h"

namespace kiv {

namespace {

const EncodingCopy<char, wchar_t> s_ktN2WEncodingHttpHeader;
const N2WEncodingUTF8 s_ktN2WEncodingServerVariable;

/// The bytes that a provider is offered for a name or a value before it has said how many it needs.
constexpr std::size_t knFirstOffer = 256;

}  // namespace

bool KIVServerHttpStream::getRequestHeader(const ZQWString& sName, ZQWString& rValue) {
    ensureHeadersRead();
    // Among equal keys the lower bound is the one that came first.
    const auto it = m_tReqHeaders.lower_bound(sName);
    if (it == m_tReqHeaders.end() || !equalNoCase(it->first, sName)) return false;
    rValue = it->second;
    return true;
}

bool KIVServerHttpStream::getRequestHeaders(const ZQWString& sName, tl::vector<ZQWString>& rValues) {
    ensureHeadersRead();
    const auto [itFirst, itEnd] = m_tReqHeaders.equal_range(sName);
    std::transform(itFirst, itEnd, std::back_inserter(rValues),
                   [](const auto& rPair) { return rPair.second; });
    return itFirst != itEnd;
}

void KIVServerHttpStream::getRequestHeaderNames(tl::vector<ZQWString>& rNames) {
    ensureHeadersRead();
    for (const auto& [sName, sValue] : m_tReqHeaders)
        if (rNames.empty() || !(rNames.back() == sName)) rNames.push_back(sName);
}

void KIVServerHttpStream::ensureHeadersRead() {
    if (m_bReqHeadersRead) return;
    m_tReqHeaders.clear();  // of an enumeration that ended in an exception
    HttpRequestProvider::hdrenum_t nCursor = 0;
    FetchHeader pFetch = &HttpRequestProvider::getFirstHeader;
    while (fetchHeader(pFetch, nCursor)) {
        m_tReqHeaders.emplace(s_ktN2WEncodingHttpHeader.toString(m_tWorkBuffer1.view()),
                              s_ktN2WEncodingHttpHeader.toString(m_tWorkBuffer2.view()));
        pFetch = &HttpRequestProvider::getNextHeader;
    }
    m_bReqHeadersRead = true;
}

/// Gets one header into the two narrow work buffers, with as much room as the provider asks for.
bool KIVServerHttpStream::fetchHeader(FetchHeader pFetch, HttpRequestProvider::hdrenum_t& rCursor) {
    m_tWorkBuffer1.clear();
    m_tWorkBuffer2.clear();
    std::size_t nNameSize = knFirstOffer, nValueSize = knFirstOffer;
    int nResult = 0;
    while (nResult == 0) {
        char* const pName = m_tWorkBuffer1.getAppendBuffer(nNameSize);
        char* const pValue = m_tWorkBuffer2.getAppendBuffer(nValueSize);
        nResult = (m_rHttpRequest.*pFetch)(rCursor, pName, nNameSize, pValue, nValueSize);
    }
    if (nResult < 0) return false;
    m_tWorkBuffer1.commitAppendBuffer(nNameSize);
    m_tWorkBuffer2.commitAppendBuffer(nValueSize);
    return true;
}

bool KIVServerHttpStream::GetServerVariable(const char* pName, ZQWString& rValue) {
    m_tWorkBuffer1.clear();
    std::size_t nSize = knFirstOffer;
    int nResult = 0;
    while (nResult == 0)
        nResult = m_rHttpRequest.getServerVariable(pName, m_tWorkBuffer1.getAppendBuffer(nSize), nSize);
    if (nResult < 0) return false;
    m_tWorkBuffer1.commitAppendBuffer(nSize);
    // No text has more characters than bytes.
    StringMaker tWide(nSize);
    s_ktN2WEncodingServerVariable.encode(tWide, m_tWorkBuffer1.view());
    rValue = tWide.takeString();
    return true;
}

ZQWString KIVServerHttpStream::getRequestMethod() const {
    return s_ktN2WEncodingHttpHeader.toString(m_rHttpRequest.getMethod().view());
}

std::size_t KIVServerHttpStream::ReadBinary(void* pBuffer, std::size_t nSize) {
    return m_rHttpRequest.readFromBody(pBuffer, nSize);
}

}  // namespace kiv
