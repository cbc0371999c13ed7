#pragma once

#include <strings.h>

#include <string_view>

/// Whether two names of header fields are one, whatever their letter case (RFC 9110 section 5.1).
inline bool isSameName(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}
