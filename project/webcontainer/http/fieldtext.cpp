#include "http/fieldtext.h"

#include <strings.h>

namespace webcontainer {

bool equalsNoCase(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view trim(std::string_view s) noexcept {
    const std::size_t nFrom = s.find_first_not_of(" \t");
    if (nFrom == std::string_view::npos) return {};
    return s.substr(nFrom, s.find_last_not_of(" \t") - nFrom + 1);
}

}  // namespace webcontainer
