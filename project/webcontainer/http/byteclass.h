#pragma once

#include <array>
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

/// Whether a text is not empty and all of one class.
inline bool isAllOf(EByteClass eClass, std::string_view s) noexcept {
    const char* const pEnd = s.data() + s.size();
    return !s.empty() && skipBytes(eClass, s.data(), pEnd) == pEnd;
}

}  // namespace webcontainer
