#pragma once

#include <cstddef>
#include <string_view>

#include "zq/foundation/zqexport.h"

/// A non-owning view of characters that belong to somebody else; it is valid as long as they are.
/// Whether a NUL follows the last character is for whoever hands the view out to promise.
template <class CharT>
struct ZQ_EXPORT RefStringTemplate {
    constexpr RefStringTemplate() noexcept = default;
    constexpr RefStringTemplate(const CharT* p, std::size_t nLength) noexcept : m_p(p), m_pe(p + nLength) {}
    constexpr RefStringTemplate(std::basic_string_view<CharT> s) noexcept
        : RefStringTemplate(s.data(), s.size()) {}
    /// The characters of a NUL-terminated text, without the NUL.
    constexpr RefStringTemplate(const CharT* p) noexcept
        : RefStringTemplate(std::basic_string_view<CharT>(p)) {}

    constexpr std::size_t length() const noexcept { return static_cast<std::size_t>(m_pe - m_p); }
    constexpr bool empty() const noexcept { return m_p == m_pe; }
    constexpr std::basic_string_view<CharT> view() const noexcept { return {m_p, length()}; }

    const CharT* m_p = nullptr;   ///< the first character
    const CharT* m_pe = nullptr;  ///< one past the last
};

using NarrowRefString = RefStringTemplate<char>;
