#pragma once

#include <string>
#include <string_view>

#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/stringbuffer.h"

/// Wide text, as streams and strings of this system have it, as UTF-8 and back: for files, other libraries
/// and the system's interfaces. What cannot be represented becomes U+FFFD. Throw std::bad_alloc. Any
/// thread.
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
