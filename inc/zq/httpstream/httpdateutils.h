#pragma once

#include <ctime>

#include "zq/foundation/stringbuffer.h"

struct ZQ_EXPORT HttpDateUtils {
    /// Appends the HTTP-date of an instant (seconds since 1970-01-01 UTC) as IMF-fixdate, for example
    /// "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110 section 5.6.7). Instants outside the years 0 to 9999, which
    /// have no such text, count as the nearest one that has.
    static void formatHttpDate(WideStringBufferBase& rBuffer, std::time_t nTime);
};
