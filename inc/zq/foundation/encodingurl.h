#pragma once

#include <string_view>

#include "zq/foundation/stringbuffer.h"

/// What W2TEncodingURL leaves as it is besides RFC 3986's unreserved characters.
enum class EUrlEncoding {
    kEncodeReservedChars,     ///< nothing else
    kNotEncodeReservedChars,  ///< the reserved characters too (RFC 3986 section 2.2)
};

/// Wide text to percent-encoded ASCII (RFC 3986 section 2.1): the UTF-8 octets of every other character as
/// "%" and two upper-case hexadecimal digits. What is no Unicode scalar value counts as U+FFFD.
template <class CharT>
class ZQ_EXPORT W2TEncodingURL {
public:
    static constexpr EUrlEncoding kEncodeReservedChars = EUrlEncoding::kEncodeReservedChars;
    static constexpr EUrlEncoding kNotEncodeReservedChars = EUrlEncoding::kNotEncodeReservedChars;

    explicit W2TEncodingURL(EUrlEncoding eReserved = EUrlEncoding::kEncodeReservedChars) noexcept
        : m_eReserved(eReserved) {}

    void encode(StringBufferBaseTemplate<CharT>& rBuffer, std::wstring_view s) const;

private:
    EUrlEncoding m_eReserved;
};

extern template class W2TEncodingURL<char>;

using W2NEncodingURL = W2TEncodingURL<char>;
