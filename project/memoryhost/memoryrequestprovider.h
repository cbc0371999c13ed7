#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "memorycalls.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"

/// A request in memory. The fields are the script; every call is logged with what it was asked.
class FakeRequestProvider final : public kiv::HttpRequestProvider {
public:
    static constexpr std::size_t knUndeclared = static_cast<std::size_t>(-1);

    explicit FakeRequestProvider(CallLog* pLog = nullptr) noexcept : m_pLog(pLog) {}

    std::string sMethod = "GET";
    std::string sQuery;
    std::size_t nContentLength = knUndeclared;
    std::map<std::string, std::string> tVariables{{"URL", "/"}};
    std::vector<std::pair<std::string, std::string>> tHeaders;
    /// The enumeration fails (a negative result) when it comes to this header.
    std::size_t nFailingHeader = static_cast<std::size_t>(-1);
    /// What each readFromBody() finds, in turn; "" is a read that delivers nothing. A read that asks for less
    /// leaves the rest for the next one. One that has been read is empty; after the last there is nothing.
    std::vector<std::string> tBody;
    /// Called before every readFromBody(); may throw.
    std::function<void()> fBeforeRead;

    /// The body as one piece, with its length declared.
    void declareBody(std::string sBody) {
        nContentLength = sBody.size();
        tBody = {std::move(sBody)};
    }

    NarrowRefString getMethod() override {
        logCall(m_pLog, "getMethod");
        return {sMethod.c_str(), sMethod.size()};
    }
    SizedBuffer getQueryString() override {
        logCall(m_pLog, "getQueryString");
        return {sQuery.data(), sQuery.size()};
    }
    std::size_t getContentLength() override {
        logCall(m_pLog, "getContentLength");
        return nContentLength;
    }
    int getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) override {
        logCall(m_pLog, "getServerVariable ", pName, " ", rSize);
        const auto it = tVariables.find(pName);
        if (it == tVariables.end()) return -1;
        if (!fits(it->second, rSize)) return 0;
        rSize = it->second.copy(pBuffer, rSize);
        return 1;
    }
    int getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                       std::size_t& rValueSize) override {
        logCall(m_pLog, "getFirstHeader ", rNameSize, " ", rValueSize);
        return deliver(0, rCursor, pName, rNameSize, pValue, rValueSize);
    }
    int getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                      std::size_t& rValueSize) override {
        logCall(m_pLog, "getNextHeader ", rNameSize, " ", rValueSize);
        return deliver(rCursor, rCursor, pName, rNameSize, pValue, rValueSize);
    }
    void closeHeaderEnum(hdrenum_t&) override { logCall(m_pLog, "closeHeaderEnum"); }
    std::size_t readFromBody(void* pBuffer, std::size_t nSize) override {
        logCall(m_pLog, "readFromBody ", nSize);
        if (fBeforeRead) fBeforeRead();
        // A provider may use all that it is offered.
        std::fill_n(static_cast<char*>(pBuffer), std::min<std::size_t>(nSize, 64), '#');
        if (m_nPiece == tBody.size()) return 0;
        std::string& rPiece = tBody[m_nPiece];
        const std::size_t nCopied = rPiece.copy(static_cast<char*>(pBuffer), nSize, m_nInPiece);
        m_nInPiece += nCopied;
        if (m_nInPiece != rPiece.size()) return nCopied;
        rPiece.clear();
        ++m_nPiece, m_nInPiece = 0;
        return nCopied;
    }

private:
    /// Whether a text fits; if not, rSize becomes what it needs.
    static bool fits(const std::string& s, std::size_t& rSize) {
        if (s.size() <= rSize) return true;
        rSize = s.size();
        return false;
    }
    int deliver(std::size_t nHeader, hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                std::size_t& rValueSize) const {
        if (nHeader >= tHeaders.size() || nHeader == nFailingHeader) return -1;
        const auto& [sName, sValue] = tHeaders[nHeader];
        const bool bNameFits = fits(sName, rNameSize), bValueFits = fits(sValue, rValueSize);
        if (!bNameFits || !bValueFits) return 0;
        rNameSize = sName.copy(pName, rNameSize);
        rValueSize = sValue.copy(pValue, rValueSize);
        rCursor = static_cast<hdrenum_t>(nHeader + 1);
        return 1;
    }

    CallLog* m_pLog;
    std::size_t m_nPiece = 0;
    std::size_t m_nInPiece = 0;
};
