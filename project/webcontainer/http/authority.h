#pragma once

#include <string_view>

namespace webcontainer {

/// Whether a text is uri-host [ ":" port ] (RFC 9110 section 7.2, RFC 3986 section 3.2.2). The host must not
/// be empty, although the grammar allows that: an http URI without a host is invalid and to be rejected (RFC
/// 9110 section 4.2.1), so that no honest request names one. The port must be one, or empty. Neither user
/// information nor IPvFuture, which nobody speaks, is allowed.
bool isAuthority(std::string_view s) noexcept;
/// Whether it is one with a port, as CONNECT needs it (RFC 9112 section 3.2.3).
bool isAuthorityWithPort(std::string_view s) noexcept;

}  // namespace webcontainer
