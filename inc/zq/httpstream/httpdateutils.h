#pragma once

#include <ctime>
#include <string_view>

#include "zq/foundation/stringbuffer.h"

/// Instants as HTTP writes them.
struct ZQ_EXPORT HttpDateUtils {
    /// Appends the HTTP-date of an instant (seconds since 1970-01-01 UTC) as IMF-fixdate, for example
    /// "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110 section 5.6.7). Instants outside the years 0 to 9999, which
    /// have no such text, count as the nearest one that has.
    static void formatHttpDate(WideStringBufferBase& rBuffer, std::time_t nTime);

    /// Reads an HTTP-date in any of its three forms (RFC 9110 section 5.6.7), exactly as the grammar has them
    /// but for the name of the day, which need not fit the date. A year of two digits is the one that lies at
    /// most 50 years ahead. False, and rTime untouched, for anything else.
    static bool parseHttpDate(std::wstring_view sDate, std::time_t& rTime);
};
