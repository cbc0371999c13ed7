#pragma once

#include <string_view>

#include "http/requestinput.h"
#include "requests/requestid.h"
#include "requests/requestorigin.h"
#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

/// What an application may ask about a request by name. The names are those of RFC 3875 section 4.1, in upper
/// case, and "URL".
///
///     URL              the path of the request target as the client sent it: not decoded, without the query;
///                      of an absolute-form target too
///     REQUEST_METHOD, QUERY_STRING, SERVER_PROTOCOL, CONTENT_TYPE, CONTENT_LENGTH
///     SERVER_NAME      the host that the client asked, without the port
///     SERVER_PORT      the port that it reached; "0" on a unix socket
///     REMOTE_ADDR, REMOTE_PORT
///                      the client's; "unix:" and nothing of a unix socket's client
///                      The five above and HTTPS are what a trusted proxy says (see requestorigin.h; port
///                      and client also in a ProxyHeader):
///                      REMOTE_PORT is empty when it says none, SERVER_PORT is then of the host that the
///                      client asked, or else the scheme's.
///     HTTPS            "on" or "off"
///     REQUEST_ID       what the logs call the request by: 32 hexadecimal digits (see requestid.h)
///     HTTP_<NAME>      the header fields of that name, case aside and hyphens as underscores, joined by
///                      commas (Cookie: by semicolons). A field with an underscore in its name cannot be
///                      asked for, so that it cannot pass for another one.
class ServerVariables {
public:
    ServerVariables(RequestInput& rInput, const ConnectionEnds& rEnds, RequestOrigin& rOrigin,
                    RequestId& rId) noexcept
        : m_rInput(rInput),
          m_rEnds(rEnds),
          m_rOrigin(rOrigin),
          m_rId(rId) {}

    /// False: there is no such variable. The value lies in the request or in rStorage.
    bool find(std::string_view sName, std::string_view& rsValue, NarrowStringBufferBase& rStorage) const;

private:
    using Getter = bool (ServerVariables::*)(std::string_view& rsValue,
                                             NarrowStringBufferBase& rStorage) const;
    struct Variable {
        std::string_view sName;
        Getter pGetter;
    };
    static const Variable s_tVariables[];

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

}  // namespace webcontainer
