#pragma once

#include <string>
#include <string_view>

#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/stringbuffer.h"

/// The system's interfaces speak UTF-8, ours wide text.
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
