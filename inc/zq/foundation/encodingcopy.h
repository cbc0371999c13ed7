#pragma once

#include <string_view>
#include <type_traits>

#include "zq/foundation/stringbuffer.h"

/// Copies character by character. To a narrower type only the low bits survive (U+20AC becomes the byte
/// 0xAC); to a wider one the value keeps its sign (the byte 0xE9 becomes -23). Nothing is validated.
template <class FromT, class ToT>
class ZQ_EXPORT EncodingCopy;

/// To narrow characters.
template <>
class ZQ_EXPORT EncodingCopy<wchar_t, char> {
public:
    void encode(NarrowStringBufferBase& rBuffer, std::wstring_view s) const;
};

/// To wide characters.
template <>
class ZQ_EXPORT EncodingCopy<char, wchar_t> {
public:
    void encode(WideStringBufferBase& rBuffer, std::string_view s) const;
    /// The copy as a string. Names and values that come with most requests are constants that all strings
    /// share.
    ZQWString toString(std::string_view s) const;
};

static_assert(std::is_signed_v<char> && std::is_signed_v<wchar_t> && sizeof(wchar_t) == 4,
              "header bytes are widened with their sign");
