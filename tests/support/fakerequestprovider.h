#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/calllog.h"
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
    /// leaves the rest for the next one. After the last one there is nothing more.
    std::vector<std::string> tBody;
    /// Called before every readFromBody(); may throw.
    std::function<void()> fBeforeRead;

    NarrowRefString getMethod() override;
    SizedBuffer getQueryString() override;
    std::size_t getContentLength() override;
    int getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) override;
    int getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                       std::size_t& rValueSize) override;
    int getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                      std::size_t& rValueSize) override;
    void closeHeaderEnum(hdrenum_t& rCursor) override;
    std::size_t readFromBody(void* pBuffer, std::size_t nSize) override;

    /// The body as one piece, with its length declared.
    void declareBody(std::string sBody);

private:
    void log(std::string sCall);
    int deliver(std::size_t nHeader, hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                std::size_t& rValueSize);

    CallLog* m_pLog;
    std::size_t m_nPiece = 0;
};
