#pragma once

#include <string>
#include <string_view>

#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/stringbuffer.h"

namespace test {

/// Runs fFill on an empty buffer and returns what it left there.
template <class CharT, class F>
std::basic_string<CharT> filled(F fFill) {
    StringBufferTemplate<7, CharT> tBuffer;  // small, so that most texts cross into the heap
    fFill(tBuffer);
    return std::basic_string<CharT>(tBuffer.view());
}

/// Wide text as UTF-8, for messages and comparisons that people read.
inline std::string narrow(std::wstring_view s) {
    return filled<char>([s](NarrowStringBufferBase& r) { W2NEncodingUTF8().encode(r, s); });
}

}  // namespace test
