#pragma once

#include <string_view>

#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

/// The media type of the page.
inline constexpr std::string_view s_ksErrorPageType = "text/html; charset=utf-8";

/// Appends a short page for people that says what the status says, and nothing of the request.
void appendErrorPage(NarrowStringBufferBase& rBuffer, unsigned nStatus);

}  // namespace webcontainer
