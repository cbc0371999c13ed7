#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <array>
#include <bit>
#include <cstdint>
#include <string_view>

namespace webcontainer {

/// What a byte may stand in, one bit each, so that one look-up answers for any of them.
enum EByteClass : std::uint8_t {
    kTokenByte = 1,   ///< a token (RFC 9110 section 5.6.2)
    kValueByte = 2,   ///< a field value: HTAB, SP, VCHAR, obs-text (RFC 9110 section 5.5)
    kTargetByte = 4,  ///< a request target: visible ASCII but the fragment's sign
    kHostByte = 8,    ///< a registered name as it is: unreserved, sub-delims (RFC 3986 section 3.2.2)
    kHexDigitByte = 16,
    kDigitByte = 32,
};

namespace detail {

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr std::uint8_t classify(unsigned char nByte) {
    const char c = static_cast<char>(nByte);
    const auto isIn = [c](std::string_view s) { return s.find(c) != std::string_view::npos; };
    const bool bPlain = isDigit(c) || isLetter(c);
    const bool bVisible = nByte > 0x20 && nByte < 0x7F;
    unsigned n = 0;
    if (bPlain || isIn("!#$%&'*+-.^_`|~")) n |= kTokenByte;
    if (bVisible || nByte >= 0x80 || isIn(" \t")) n |= kValueByte;
    if (bVisible && c != '#') n |= kTargetByte;
    if (bPlain || isIn("-._~!$&'()*+,;=")) n |= kHostByte;
    if (isDigit(c) || isIn("abcdefABCDEF")) n |= kHexDigitByte;
    if (isDigit(c)) n |= kDigitByte;
    return static_cast<std::uint8_t>(n);
}

inline constexpr auto s_tByteClasses = [] {
    std::array<std::uint8_t, 256> tClasses{};
    for (unsigned n = 0; n < tClasses.size(); ++n)
        tClasses[n] = classify(static_cast<unsigned char>(n));
    return tClasses;
}();

}  // namespace detail

constexpr bool isOf(EByteClass eClass, char c) noexcept {
    return (detail::s_tByteClasses[static_cast<unsigned char>(c)] & eClass) != 0;
}

/// The first byte from p on that is not of the class, or pEnd.
inline const char* skipBytes(EByteClass eClass, const char* p, const char* pEnd) noexcept {
    while (p != pEnd && isOf(eClass, *p))
        ++p;
    return p;
}

/// The same of kValueByte, 16 bytes at a time: values are most of a head.
inline const char* skipValueBytes(const char* p, const char* pEnd) noexcept {
#ifdef __SSE2__
    const __m128i tLastControl = _mm_set1_epi8(0x1F), tTab = _mm_set1_epi8('\t'), tDel = _mm_set1_epi8(0x7F);
    for (; pEnd - p >= 16; p += 16) {
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i tControl = _mm_cmpeq_epi8(_mm_min_epu8(t, tLastControl), t);
        const __m128i tOther =
            _mm_or_si128(_mm_andnot_si128(_mm_cmpeq_epi8(t, tTab), tControl), _mm_cmpeq_epi8(t, tDel));
        const auto nOthers = static_cast<unsigned>(_mm_movemask_epi8(tOther));
        if (nOthers != 0) return p + std::countr_zero(nOthers);
    }
#endif
    return skipBytes(kValueByte, p, pEnd);
}

/// Whether a text is not empty and all of one class.
inline bool isAllOf(EByteClass eClass, std::string_view s) noexcept {
    const char* const pEnd = s.data() + s.size();
    return !s.empty() && skipBytes(eClass, s.data(), pEnd) == pEnd;
}

}  // namespace webcontainer
