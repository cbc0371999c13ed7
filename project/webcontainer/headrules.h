#pragma once

#include <string_view>

#include "requesthead.h"

namespace webcontainer {

/// What the front end demands of a request beyond what the parser does: wherever two readers of one request
/// could disagree about it, it is refused before the module sees it.

/// Finds authority, path and query in a request target (RFC 9112 section 3.2): origin-form, absolute-form,
/// "*", and for CONNECT "host:port". False: it is none of them.
bool splitTarget(std::string_view sTarget, bool bConnect, RequestHead& rHead);
/// Checks a Transfer-Encoding field: "chunked" alone, and only in HTTP/1.1 (RFC 9112 section 6.1).
Refusal checkTransferEncoding(std::string_view sValue, unsigned nVersion);
/// Checks a complete head whose first byte is *pBegin, and finds out whether it expects "100 Continue".
Refusal checkHead(const char* pBegin, RequestHead& rHead);

/// Compares ASCII text without regard to case.
bool equalsNoCase(std::string_view a, std::string_view b) noexcept;

}  // namespace webcontainer
