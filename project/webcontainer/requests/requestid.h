#pragma once

#include <string>
#include <string_view>

#include "http/requestinput.h"

namespace webcontainer {

/// The name under which logs of this server, its proxies and its applications speak of one request: 32
/// lower-case hexadecimal digits, never all zero. It is the trace-id that the client sent (W3C Trace Context,
/// field "traceparent"), or else random. Found or made when somebody first asks.
class RequestId {
public:
    /// Forgets it, for the next request.
    void reset() noexcept { m_tDigits[0] = '\0'; }
    /// rInput: the request, as far as it has been received. The text is valid until reset().
    std::string_view get(const RequestInput& rInput) noexcept;

    /// Where it stands, or will, until the object goes.
    const char* data() const noexcept { return m_tDigits; }

private:
    bool take(const RequestInput& rInput) noexcept;

    char m_tDigits[32] = {};  ///< the first one is NUL: it is not known yet
};

/// A text like an id, made anew.
std::string makeRandomId();

/// The trace-id in the value of a "traceparent" field; empty when the field is not valid.
std::string_view findTraceId(std::string_view sTraceParent) noexcept;

}  // namespace webcontainer
