#pragma once

#include <cstdint>
#include <string_view>

#include "base/requesttimes.h"
#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

enum class EAccessFormat { kCombined, kJson };

/// One request as the access log tells it. Texts are as the client sent them, and empty where it sent none or
/// where they are not known, because the request could not be read.
struct AccessRecord {
    std::int64_t nTimeMs = 0;  ///< when its first byte came, since 1970 in UTC
    std::string_view sClient;  ///< address
    std::string_view sMethod;
    std::string_view sTarget;
    std::string_view sProtocol;
    unsigned nStatus = 0;              ///< 0: nothing was sent
    std::uint64_t nReceivedBytes = 0;  ///< of the body, without framing
    std::uint64_t nSentBytes = 0;      ///< head and framing included
    RequestTimes tTimes;
    std::string_view sReferer;
    std::string_view sUserAgent;
    std::string_view sRequestId;
    bool bCut = false;  ///< the client did not get the whole response
};

/// Makes one line after the other. Belongs to one thread.
///
/// Combined: the NCSA combined format, then microseconds, bytes of the request body, the request's id,
/// "whole" or "cut", and what the time was spent on (RequestTimes); "-" stands for what is not there. In
/// texts, quotes, backslashes and all bytes that are no printable ASCII become \xHH:
///
///     127.0.0.1 - - [22/Nov/2031:23:55:47 +0000] "POST /a?b HTTP/1.1" 200 1234 "-" "curl/7.88.1" 815 52
///     0af7651916cd43dd8448eb211c80319c whole 28 0 787 0
///
/// JSON: one object, with null for what is not there; what is no UTF-8 becomes U+FFFD:
///
///     {"time":"2031-11-22T23:55:47.123Z","client":"127.0.0.1","method":"POST","target":"/a?b",
///     "protocol":"HTTP/1.1","status":200,"received":52,"sent":1234,"duration_us":815,
///     "waiting_us":28,"receiving_us":0,"running_us":787,"sending_us":0,"referer":null,
///     "user_agent":"curl/7.88.1","request_id":"0af7651916cd43dd8448eb211c80319c","cut":false}
///
/// Either stands on one line.
class AccessLine {
public:
    /// Appends the line with its end, or nothing when it throws std::bad_alloc.
    void append(NarrowStringBufferBase& rBuffer, EAccessFormat eFormat, const AccessRecord& rRecord);

private:
    char* putCombined(char* p, const AccessRecord& rRecord);
    char* putJson(char* p, const AccessRecord& rRecord);
    std::string_view timeText(EAccessFormat eFormat, std::int64_t nSecond);

    StringBufferTemplate<31, char> m_tTime;  ///< formatted once a second
    std::int64_t m_nTimeSecond = -1;
};

}  // namespace webcontainer
