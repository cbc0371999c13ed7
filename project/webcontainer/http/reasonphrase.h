#pragma once

#include <string_view>

namespace webcontainer {

/// The reason phrase of a registered status; of any other from 200 to 599 the name of its class.
std::string_view getReasonPhrase(unsigned nStatus) noexcept;
/// Whether a response of that status never has a body (RFC 9110 section 6.4.1).
constexpr bool isBodyless(unsigned nStatus) noexcept {
    return nStatus < 200 || nStatus == 204 || nStatus == 205 || nStatus == 304;
}

}  // namespace webcontainer
