#pragma once

#include <string_view>

#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

/// How the end of a response's body is marked (RFC 9112 section 6.3).
enum class EResponseFraming {
    kNone,        ///< there is no body, and nothing that says how long it is
    kLength,      ///< Content-Length
    kChunked,     ///< Transfer-Encoding: chunked
    kUntilClose,  ///< the connection ends with it
};

/// What the front end says of a response besides the application's fields.
struct ResponseLine {
    unsigned nStatus = 200;
    EResponseFraming eFraming = EResponseFraming::kNone;
    std::size_t nLength = 0;  ///< in bytes, for kLength
    bool bKeepAlive = true;
    bool bSayKeepAlive = false;  ///< the client speaks HTTP/1.0 and has to be told
};

/// Header fields of responses, one response after the other, as they go over the wire. A field can never end
/// early or become two: no control character but HTAB leaves in a value (RFC 9110 section 5.5). Keeps its
/// storage.
class ResponseHead {
public:
    /// What became of a field.
    enum class EAdded {
        kAdded,
        kCleaned,  ///< added; control characters in its value became spaces
        kDropped,  ///< not added: the name is no token (RFC 9110 section 5.6.2), or the framing is not for
                   ///< the application to set
    };

    EAdded addField(std::string_view sName, std::string_view sValue);
    void clear() noexcept;
    /// Takes out what describes a body other than the one that will be sent.
    void removeBodyFields() noexcept;

    /// Appends the head, its last empty line included. sDate is left out when the application added a Date,
    /// sServer when it is empty or the application added a Server.
    void append(NarrowStringBufferBase& rBuffer, const ResponseLine& rLine, std::string_view sDate,
                std::string_view sServer) const;

private:
    void removeFields(std::string_view sName) noexcept;

    NarrowStringBuffer m_tFields;
    bool m_bHasDate = false;
    bool m_bHasServer = false;
};

}  // namespace webcontainer
