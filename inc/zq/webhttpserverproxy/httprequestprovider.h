#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "zq/foundation/refstring.h"
#include "zq/foundation/zqexport.h"

namespace kiv {

/// One HTTP request, as the host's front end received it. The front end implements it, owns it, and keeps it
/// alive for the whole call of KIVHttpServer::processRequest(); every operation is called on the thread of
/// that call, so an implementation needs no locking. All text is raw bytes; the module decodes it.
///
/// Order of calls: getServerVariable("URL") first; unless that path is refused, getMethod() once or twice;
/// for a GET getQueryString(); for a POST getContentLength(), the header enumeration, getQueryString(), and
/// when the module reads the body itself getContentLength() again and readFromBody(). Further server
/// variables, the headers if they have not been read, and the rest of the body whenever the application asks
/// for them. The headers are enumerated at most once. Every operation may throw; the exception leaves
/// processRequest(), except for http::MaliciousInputException, which becomes a 403.
class ZQ_EXPORT HttpRequestProvider {
public:
    /// Bytes that belong to the provider: the first one and their number.
    using SizedBuffer = std::pair<char*, std::size_t>;
    /// Position in a header enumeration. The caller owns the variable; only the provider gives it a meaning.
    using hdrenum_t = std::uint32_t;

    virtual ~HttpRequestProvider() = default;

    /// The request method, e.g. "GET" (RFC 9110 section 9). A NUL follows its last byte. Valid as long as the
    /// provider.
    virtual NarrowRefString getMethod() = 0;
    /// The query of the request target without its question mark (RFC 3986 section 3.4). `first` is never
    /// null, and a NUL follows the `second` bytes; no query is an empty one. The bytes stay valid and
    /// writable as long as the provider: the application may decode them in place.
    virtual SizedBuffer getQueryString() = 0;
    /// The declared length of the body in bytes, or all bits set when the request declares none.
    virtual std::size_t getContentLength() = 0;

    /// Copies the server variable pName (NUL-terminated) to pBuffer. rSize: bytes available on entry.
    /// Greater than 0: copied, rSize is its length (no terminator). 0: too small, nothing is copied, rSize is
    /// the number of bytes needed; never the answer to a buffer that is large enough. Less than 0: there is
    /// no such variable. "URL" is the path of the request target.
    virtual int getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) = 0;

    /// Starts an enumeration of the request headers and copies the first one: its name to pName and its value
    /// to pValue, without terminators. rNameSize and rValueSize: bytes available on entry.
    /// Greater than 0: copied, the sizes are the lengths, and rCursor lets getNextHeader() go on behind it.
    /// 0: a buffer is too small; the size that did not suffice is now the number of bytes needed, and the
    /// same call is repeated with more room; never the answer to buffers that are large enough. Less than 0:
    /// there is no header, or no more can be had.
    virtual int getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                               std::size_t& rValueSize) = 0;
    /// Copies the header behind the last one delivered; arguments and result as for getFirstHeader(). A 0
    /// does not advance the enumeration.
    virtual int getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                              std::size_t& rValueSize) = 0;
    /// Ends an enumeration early. The module never does: an enumeration must not hold anything that the
    /// provider's end would not release.
    virtual void closeHeaderEnum(hdrenum_t& rCursor) = 0;

    /// Copies at most nSize bytes of the body to pBuffer and returns how many. 0: nothing was copied. With a
    /// declared length the module takes a 0 before the end for a stall and asks again; without one, and for a
    /// body that the application reads, 0 is the end. A provider should therefore wait for at least one byte,
    /// and throw when the client vanished or broke the framing before the body's end.
    virtual std::size_t readFromBody(void* pBuffer, std::size_t nSize) = 0;

    /// Whether the request declares the length of its body.
    bool isContentLengthKnown() { return getContentLength() != static_cast<std::size_t>(-1); }
};

}  // namespace kiv
