#pragma once

#include <string>
#include <string_view>

#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

/// The front end speaks bytes, configuration and log speak wide text; both ways are UTF-8.
inline std::string toNarrow(std::wstring_view s) {
    NarrowStringBuffer tBuffer;
    W2NEncodingUTF8().encode(tBuffer, s);
    return std::string(tBuffer.view());
}

inline ZQWString toWide(std::string_view s) {
    StringBuffer tBuffer;
    N2WEncodingUTF8().encode(tBuffer, s);
    return tBuffer.toString();
}

}  // namespace webcontainer
