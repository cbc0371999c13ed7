#pragma once

#include <string>
#include <string_view>

#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/stringbuffer.h"

/// Wide text as UTF-8 and back, for the system's interfaces, which speak UTF-8. What cannot be represented
/// becomes U+FFFD. Throw std::bad_alloc.
inline std::string toUtf8(std::wstring_view s) {
    NarrowStringBuffer tBuffer;
    W2NEncodingUTF8().encode(tBuffer, s);
    return std::string(tBuffer.view());
}

inline ZQWString fromUtf8(std::string_view s) {
    StringBuffer tBuffer;
    N2WEncodingUTF8().encode(tBuffer, s);
    return tBuffer.toString();
}
