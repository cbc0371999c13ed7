#pragma once

#include <algorithm>
#include <string_view>

/// The letters A to Z in lower case, everything else as it is; protocol names know no other letters.
template <class CharT>
constexpr CharT toAsciiLower(CharT c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<CharT>(c - 'A' + 'a') : c;
}

template <class CharT>
constexpr bool equalAsciiNoCase(std::basic_string_view<CharT> a, std::basic_string_view<CharT> b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](CharT cA, CharT cB) { return toAsciiLower(cA) == toAsciiLower(cB); });
}

template <class CharT>
constexpr bool isLinearWhiteSpace(CharT c) noexcept {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// s without white space, line ends among it, at both ends.
template <class CharT>
constexpr std::basic_string_view<CharT> trimWhiteSpace(std::basic_string_view<CharT> s) noexcept {
    while (!s.empty() && isLinearWhiteSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isLinearWhiteSpace(s.back()))
        s.remove_suffix(1);
    return s;
}
