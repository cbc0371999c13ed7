#pragma once

#include <string_view>

#include "http/requestinput.h"
#include "requests/requestid.h"
#include "requests/requestorigin.h"
#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

/// What an application may ask about a request by name: zq/httpstream/servervariables.h has the names. What a
/// trusted proxy says of them see requestorigin.h; ports and client also come in a ProxyHeader.
class ServerVariables {
public:
    ServerVariables(RequestInput& rInput, const ConnectionEnds& rEnds, RequestOrigin& rOrigin,
                    RequestId& rId) noexcept
        : m_rInput(rInput),
          m_rEnds(rEnds),
          m_rOrigin(rOrigin),
          m_rId(rId) {}

    /// What the names begin with that stand for header fields.
    static constexpr std::string_view s_ksHeaderPrefix = "HTTP_";

    /// Calls f with each name that is none of those.
    template <class F>
    static void forEachName(F f);
    /// False: there is no such variable. The value lies in the request or in rStorage.
    bool find(std::string_view sName, std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;

private:
    using Getter = bool (ServerVariables::*)(std::string_view& rsValue,
                                             NarrowStringBufferBase& rStorage) const;
    struct Variable {
        std::string_view sName;
        Getter pGetter;
    };
    static const Variable s_tVariables[12];

    bool getUrl(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getMethod(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getQuery(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getProtocol(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getContentType(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getContentLength(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getServerName(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getServerPort(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getRemoteAddress(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getRemotePort(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getHttps(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;
    bool getRequestId(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;

    const RequestOrigin::Facts& origin() const { return m_rOrigin.get(m_rInput, m_rEnds); }
    std::string_view findAuthority() const;
    bool getKnownField(EKnownField eKnown, std::string_view& rsValue) const;
    bool getHeader(std::string_view sName, std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;

    RequestInput& m_rInput;
    const ConnectionEnds& m_rEnds;
    RequestOrigin& m_rOrigin;
    RequestId& m_rId;
};

template <class F>
void ServerVariables::forEachName(F f) {
    for (const Variable& r : s_tVariables)
        f(r.sName);
}

}  // namespace webcontainer
