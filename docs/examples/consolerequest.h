#pragma once

#include <string>

#include "zq/webhttpserverproxy/httprequestprovider.h"

/// A GET request for a URL from the command line: no headers, no body.
class ConsoleRequest final : public kiv::HttpRequestProvider {
public:
    explicit ConsoleRequest(const std::string& sURL) : m_sPath(sURL.substr(0, sURL.find('?'))) {
        if (m_sPath.size() < sURL.size()) m_sQuery = sURL.substr(m_sPath.size() + 1);
    }

    NarrowRefString getMethod() override { return "GET"; }
    SizedBuffer getQueryString() override { return {m_sQuery.data(), m_sQuery.size()}; }
    std::size_t getContentLength() override { return 0; }
    int getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) override {
        if (std::string_view(pName) != "URL") return -1;
        const bool bFits = m_sPath.size() <= rSize;
        if (bFits) m_sPath.copy(pBuffer, m_sPath.size());
        rSize = m_sPath.size();
        return bFits ? 1 : 0;
    }
    int getFirstHeader(hdrenum_t&, char*, std::size_t&, char*, std::size_t&) override { return -1; }
    int getNextHeader(hdrenum_t&, char*, std::size_t&, char*, std::size_t&) override { return -1; }
    void closeHeaderEnum(hdrenum_t&) override {}
    std::size_t readFromBody(void*, std::size_t) override { return 0; }

private:
    std::string m_sPath, m_sQuery;
};
