#pragma once

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/http.h>
#include <event2/http_struct.h>
#include <event2/keyvalq_struct.h>
#include <netinet/in.h>
#include <sys/queue.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "zq/httpstream/servervariables.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"

/// A copy of what evhttp has received: it belongs to the worker, whatever becomes of the connection.
class EventRequest final : public kiv::HttpRequestProvider {
public:
    /// On the loop's thread.
    explicit EventRequest(evhttp_request* pRequest) : m_sMethod(method(pRequest)) {
        const evhttp_uri* const pTarget = evhttp_request_get_evhttp_uri(pRequest);
        if (const char* p = evhttp_uri_get_query(pTarget)) m_sQuery = p;
        evbuffer* const pBody = evhttp_request_get_input_buffer(pRequest);
        m_sBody.resize(evbuffer_get_length(pBody));
        evbuffer_copyout(pBody, m_sBody.data(), m_sBody.size());
        const evkeyvalq* const pFields = evhttp_request_get_input_headers(pRequest);
        for (const evkeyval* p = pFields->tqh_first; p; p = p->next.tqe_next)
            m_tHeaders.emplace_back(p->key, p->value);
        m_bLengthKnown = evhttp_find_header(pFields, "Content-Length") != nullptr;
        addVariables(pRequest, evhttp_uri_get_path(pTarget));
    }

    /// HEAD is a GET whose body nobody sends.
    NarrowRefString getMethod() override { return m_sMethod == "HEAD" ? "GET" : m_sMethod.c_str(); }
    SizedBuffer getQueryString() override { return {m_sQuery.data(), m_sQuery.size()}; }
    std::size_t getContentLength() override {
        return m_bLengthKnown ? m_sBody.size() : static_cast<std::size_t>(-1);
    }
    int getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) override {
        const auto tFound = m_tVariables.find(pName);
        return tFound == m_tVariables.end() ? -1 : copy(tFound->second, pBuffer, rSize);
    }
    int getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                       std::size_t& rValueSize) override {
        rCursor = 0;
        return getNextHeader(rCursor, pName, rNameSize, pValue, rValueSize);
    }
    int getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                      std::size_t& rValueSize) override {
        if (rCursor >= m_tHeaders.size()) return -1;
        const auto& [sName, sValue] = m_tHeaders[rCursor];
        if (copy(sName, pName, rNameSize) == 0 || copy(sValue, pValue, rValueSize) == 0) return 0;
        ++rCursor;
        return 1;
    }
    void closeHeaderEnum(hdrenum_t&) override {}
    /// evhttp has the whole body before it hands a request over, so 0 is always its end.
    std::size_t readFromBody(void* pBuffer, std::size_t nSize) override {
        const std::size_t n = m_sBody.copy(static_cast<char*>(pBuffer), nSize, m_nRead);
        m_nRead += n;
        return n;
    }

private:
    static const char* method(evhttp_request* pRequest) {
        switch (evhttp_request_get_command(pRequest)) {
            case EVHTTP_REQ_GET:
                return "GET";
            case EVHTTP_REQ_HEAD:
                return "HEAD";
            default:
                return "POST";  // evhttp refuses the others, see main()
        }
    }
    static int copy(const std::string& s, char* pBuffer, std::size_t& rSize) {
        const bool bFits = s.size() <= rSize;
        if (bFits) s.copy(pBuffer, s.size());
        rSize = s.size();
        return bFits ? 1 : 0;
    }
    static std::string makeId() {
        std::random_device tRandom;
        std::string sId;
        while (sId.size() < 32)
            sId += "0123456789abcdef"[tRandom() % 16];
        return sId;
    }
    static std::string getPort(evhttp_connection* pConnection) {
        sockaddr_in tAddress{};
        socklen_t nSize = sizeof tAddress;
        const auto nFd = bufferevent_getfd(evhttp_connection_get_bufferevent(pConnection));
        ::getsockname(nFd, reinterpret_cast<sockaddr*>(&tAddress), &nSize);
        return std::to_string(ntohs(tAddress.sin_port));
    }
    void addVariables(evhttp_request* pRequest, const char* pPath) {
        char* pAddress = nullptr;
        ev_uint16_t nPort = 0;
        evhttp_connection_get_peer(evhttp_request_get_connection(pRequest), &pAddress, &nPort);
        const char* const pHost = evhttp_request_get_host(pRequest);
        m_tVariables = {{ServerVariable::kUrl, pPath ? pPath : ""},
                        {ServerVariable::kRequestMethod, m_sMethod},
                        {ServerVariable::kQueryString, m_sQuery},
                        {ServerVariable::kServerProtocol, pRequest->minor == 0 ? "HTTP/1.0" : "HTTP/1.1"},
                        {ServerVariable::kServerName, pHost ? pHost : ""},
                        {ServerVariable::kServerPort, getPort(evhttp_request_get_connection(pRequest))},
                        {ServerVariable::kRemoteAddress, pAddress},
                        {ServerVariable::kRemotePort, std::to_string(nPort)},
                        {ServerVariable::kHttps, "off"},
                        {ServerVariable::kRequestId, makeId()}};
        if (m_bLengthKnown) m_tVariables[ServerVariable::kContentLength] = std::to_string(m_sBody.size());
        for (const auto& [sName, sValue] : m_tHeaders)
            addVariable(sName, sValue);
    }
    /// HTTP_NAME; a field with an underscore must not pass for one with a hyphen.
    void addVariable(std::string sName, const std::string& sValue) {
        if (sName.find('_') != std::string::npos) return;
        for (char& c : sName)
            c = c == '-' ? '_' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        if (sName == ServerVariable::kContentType) m_tVariables[sName] = sValue;
        auto [tPlace, bNew] = m_tVariables.emplace("HTTP_" + sName, sValue);
        if (!bNew) tPlace->second += (sName == "COOKIE" ? "; " : ", ") + sValue;
    }

    const std::string m_sMethod;
    std::string m_sQuery, m_sBody;
    std::size_t m_nRead = 0;
    bool m_bLengthKnown = false;
    std::vector<std::pair<std::string, std::string>> m_tHeaders;
    std::map<std::string, std::string, std::less<>> m_tVariables;
};
