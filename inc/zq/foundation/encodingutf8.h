#pragma once

#include <cstddef>
#include <string_view>

#include "zq/foundation/stringbuffer.h"

/// Wide text to UTF-8 (RFC 3629). A wchar_t that is no Unicode scalar value (a surrogate, a negative value, a
/// value above U+10FFFF) becomes U+FFFD, the replacement character: bytes EF BF BD. Has no state: text cut
/// between any two characters encodes as it would in one piece.
template <class CharT>
class ZQ_EXPORT T2NEncodingUTF8;

/// From wide characters.
template <>
class ZQ_EXPORT T2NEncodingUTF8<wchar_t> {
public:
    void encode(NarrowStringBufferBase& rBuffer, std::wstring_view s) const;
};

using W2NEncodingUTF8 = T2NEncodingUTF8<wchar_t>;

/// UTF-8 to wide text. Each maximal ill-formed subsequence (Unicode 15, section 3.9, table 3-8) becomes one
/// U+FFFD; overlong forms, surrogates and values above U+10FFFF are ill-formed. A sequence cut off at the end
/// counts as ill-formed: hand over whole texts.
class ZQ_EXPORT N2WEncodingUTF8 {
public:
    void encode(WideStringBufferBase& rBuffer, std::string_view s) const;
};

/// The code point that stands for what cannot be represented.
inline constexpr wchar_t kReplacementCharacter = 0xFFFD;

/// True for Unicode scalar values: 0 to U+10FFFF without the surrogates.
constexpr bool isUnicodeScalar(wchar_t c) noexcept {
    return (c >= 0 && c < 0xD800) || (c > 0xDFFF && c <= 0x10FFFF);
}
