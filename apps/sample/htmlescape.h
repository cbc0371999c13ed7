#pragma once

#include <string_view>

#include "zq/httpstream/zqhttpstream.h"

namespace sample {

/// Writes text that anybody may have chosen so that it shows as it is, between tags and inside quoted
/// attributes of HTML and XML. Control characters, which markup may not hold, show as their pictures (U+2400
/// and up).
void addEscaped(ZQHttpStream& rStream, std::wstring_view sText);

}  // namespace sample
