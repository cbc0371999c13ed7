#pragma once

#include <string>
#include <string_view>

#include "zq/foundation/utf8text.h"

namespace test {

/// Runs fFill on an empty buffer and returns what it left there.
template <class CharT, class F>
std::basic_string<CharT> filled(F fFill) {
    StringBufferTemplate<7, CharT> tBuffer;  // small, so that most texts cross into the heap
    fFill(tBuffer);
    return std::basic_string<CharT>(tBuffer.view());
}

}  // namespace test
