#include "support/fakerequestprovider.h"

#include <algorithm>
#include <cstring>

namespace {

/// Copies to a buffer of rSize bytes when it is large enough; says how many are needed.
bool fits(const std::string& s, const std::size_t& rSize) {
    return s.size() <= rSize;
}

void copyTo(char* pBuffer, std::size_t& rSize, const std::string& s) {
    std::memcpy(pBuffer, s.data(), s.size());
    rSize = s.size();
}

}  // namespace

void FakeRequestProvider::log(std::string sCall) {
    if (m_pLog) m_pLog->push_back(std::move(sCall));
}

NarrowRefString FakeRequestProvider::getMethod() {
    log("getMethod");
    return sMethod.c_str();
}

FakeRequestProvider::SizedBuffer FakeRequestProvider::getQueryString() {
    log("getQueryString");
    return {sQuery.data(), sQuery.size()};
}

std::size_t FakeRequestProvider::getContentLength() {
    log("getContentLength");
    return nContentLength;
}

int FakeRequestProvider::getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) {
    if (m_pLog) log("getServerVariable " + std::string(pName) + " " + std::to_string(rSize));
    const auto it = tVariables.find(pName);
    if (it == tVariables.end()) return -1;
    if (!fits(it->second, rSize)) {
        rSize = it->second.size();
        return 0;
    }
    copyTo(pBuffer, rSize, it->second);
    return 1;
}

int FakeRequestProvider::deliver(std::size_t nHeader, hdrenum_t& rCursor, char* pName, std::size_t& rNameSize,
                                 char* pValue, std::size_t& rValueSize) {
    if (nHeader >= tHeaders.size() || nHeader == nFailingHeader) return -1;
    const auto& [sName, sValue] = tHeaders[nHeader];
    if (!fits(sName, rNameSize) || !fits(sValue, rValueSize)) {
        rNameSize = std::max(rNameSize, sName.size());
        rValueSize = std::max(rValueSize, sValue.size());
        return 0;
    }
    copyTo(pName, rNameSize, sName);
    copyTo(pValue, rValueSize, sValue);
    rCursor = static_cast<hdrenum_t>(nHeader + 1);
    return 1;
}

int FakeRequestProvider::getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                                        std::size_t& rValueSize) {
    if (m_pLog) log("getFirstHeader " + std::to_string(rNameSize) + " " + std::to_string(rValueSize));
    return deliver(0, rCursor, pName, rNameSize, pValue, rValueSize);
}

int FakeRequestProvider::getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                                       std::size_t& rValueSize) {
    if (m_pLog) log("getNextHeader " + std::to_string(rNameSize) + " " + std::to_string(rValueSize));
    return deliver(rCursor, rCursor, pName, rNameSize, pValue, rValueSize);
}

void FakeRequestProvider::closeHeaderEnum(hdrenum_t&) {
    log("closeHeaderEnum");
}

std::size_t FakeRequestProvider::readFromBody(void* pBuffer, std::size_t nSize) {
    if (m_pLog) log("readFromBody " + std::to_string(nSize));
    if (fBeforeRead) fBeforeRead();
    if (m_nPiece == tBody.size()) return 0;
    std::string& rPiece = tBody[m_nPiece];
    const std::size_t nCopied = std::min(nSize, rPiece.size());
    std::memcpy(pBuffer, rPiece.data(), nCopied);
    rPiece.erase(0, nCopied);
    if (rPiece.empty()) ++m_nPiece;
    return nCopied;
}

void FakeRequestProvider::declareBody(std::string sBody) {
    nContentLength = sBody.size();
    tBody = {std::move(sBody)};
}
