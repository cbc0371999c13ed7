#pragma once

#include <cstddef>
#include <string_view>
#include <type_traits>

#include "zq/foundation/stringbuffer.h"

/// Copies character by character. To a narrower type only the low bits survive (U+20AC becomes the byte
/// 0xAC); to a wider one the value keeps its sign (the byte 0xE9 becomes -23). Nothing is validated.
template <class FromT, class ToT>
class ZQ_EXPORT EncodingCopy {
public:
    void encode(StringBufferBaseTemplate<ToT>& rBuffer, std::basic_string_view<FromT> s) const {
        ToT* pTo = rBuffer.getAppendBuffer(s.size());
        for (FromT c : s)
            *pTo++ = static_cast<ToT>(c);
        rBuffer.commitAppendBuffer(s.size());
    }
    /// The copy as a string; only from bytes to wide text. Names and values that come with most requests are
    /// constants that all strings share.
    ZQStringTemplate<ToT> toString(std::basic_string_view<FromT> s) const;
};

template <>
ZQ_EXPORT ZQWString EncodingCopy<char, wchar_t>::toString(std::string_view s) const;

static_assert(std::is_signed_v<char> && std::is_signed_v<wchar_t> && sizeof(wchar_t) == 4,
              "header bytes are widened with their sign");
