#pragma once

#include <string_view>

namespace webcontainer {

/// Compares ASCII text without regard to case.
bool equalsNoCase(std::string_view a, std::string_view b) noexcept;

/// Without the white space around it (RFC 9110 section 5.6.3): a part of s even when nothing is left.
std::string_view trim(std::string_view s) noexcept;

/// Calls f with each element of a list (RFC 9110 section 5.6.1), trimmed, the empty ones too.
template <class F>
void forEachElement(std::string_view sList, F f) {
    for (std::size_t nComma; (nComma = sList.find(',')) != std::string_view::npos;) {
        f(trim(sList.substr(0, nComma)));
        sList.remove_prefix(nComma + 1);
    }
    f(trim(sList));
}

}  // namespace webcontainer
