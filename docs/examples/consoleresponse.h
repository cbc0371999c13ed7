#pragma once

#include <iostream>
#include <string>

#include "zq/webhttpserverproxy/httpresponseprovider.h"

/// Prints a response as it is made: headers are collected until the commit, the body passes through.
class ConsoleResponse final : public kiv::HttpResponseProvider {
public:
    void setStatusCode(unsigned int nStatus) override { m_nStatus = nStatus; }
    void setErrorStatusCode(unsigned int nStatus) override { m_nStatus = nStatus; }
    void setContentLength(std::size_t nLength) override {
        m_sHeaders += "Content-Length: " + std::to_string(nLength) + '\n';
    }
    void addHeader(const char* pName, std::size_t, const char* pValue, std::size_t) override {
        m_sHeaders += pName + std::string(": ") + pValue + '\n';
    }
    void clearHeaders() override { m_sHeaders.clear(); }
    EResponseCode commitHeaders() override {
        m_bCommitted = true;
        std::cout << "HTTP/1.1 " << m_nStatus << '\n' << m_sHeaders << '\n';
        return std::cout ? kRCOK : kRCClientDead;
    }
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override {
        std::cout.write(static_cast<const char*>(pData), static_cast<std::streamsize>(nLength)).flush();
        return std::cout ? kRCOK : kRCClientDead;
    }
    EResponseCode endResponse(const void* pData, std::size_t nLength) override {
        return nLength == 0 ? kRCOK : writeToBody(pData, nLength);
    }
    /// The answer to a request that failed. A response that has begun stays cut short, for which a server
    /// closes the connection.
    void fail() {
        if (m_bCommitted) return;
        clearHeaders();
        setErrorStatusCode(500);
        setContentLength(0);
        commitHeaders();
    }

private:
    unsigned int m_nStatus = 0;
    bool m_bCommitted = false;
    std::string m_sHeaders;
};
