#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "memorycalls.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"

/// The request of a MemoryExchange.
class MemoryRequestProvider final : public kiv::HttpRequestProvider {
public:
    /// rCalls must outlive it.
    explicit MemoryRequestProvider(MemoryCalls& rCalls);

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

    /// Names what is wrong with a request that has been processed.
    void finish();

private:
    /// The room that the last 0 asked for.
    struct Negotiation {
        std::size_t nAsked = 0;
        /// Whether a text fits; if not, rSize becomes what it needs.
        bool fits(const std::string& s, std::size_t& rSize) noexcept;
    };
    enum class EHeaders { kUnread, kOpen, kEnded };

    const std::string* findVariable(const char* pName) const;
    void beginHeader(const char* pCall, EHeaders eNeeded, std::size_t nNameSize, std::size_t nValueSize);
    int deliverHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                      std::size_t& rValueSize);

    MemoryCalls& m_rCalls;
    const MemoryRequest& m_rScript;
    const std::string m_sMethod;
    const std::string m_sPath;
    const std::size_t m_nQuery;
    const std::unique_ptr<char[]> m_pQuery;  ///< not a byte more than the application may write to
    std::string m_sVariable;                 ///< the one that m_tVariable is about
    Negotiation m_tVariable, m_tName, m_tValue;
    EHeaders m_eHeaders = EHeaders::kUnread;
    hdrenum_t m_nCursor = 0;
    std::size_t m_nPiece = 0;
    std::size_t m_nInPiece = 0;
};
