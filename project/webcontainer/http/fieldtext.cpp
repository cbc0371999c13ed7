#include "http/fieldtext.h"

#include <strings.h>

namespace webcontainer {

bool equalsNoCase(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view trim(std::string_view s) noexcept {
    const auto isSpace = [](char c) { return c == ' ' || c == '\t'; };
    while (!s.empty() && isSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

}  // namespace webcontainer
