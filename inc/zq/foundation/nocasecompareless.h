#pragma once

#include <algorithm>
#include <string_view>

#include "zq/foundation/zqstring.h"

namespace detail {

/// compareNoCase() of any text.
ZQ_EXPORT int compareFolded(std::wstring_view a, std::wstring_view b) noexcept;

constexpr wchar_t toAsciiLowerCase(wchar_t c) noexcept {
    return c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : c;
}

}  // namespace detail

/// Less than 0, 0 or greater than 0 as a stands before, with or behind b when case does not count: when every
/// character is replaced by its twin under Unicode's simple case folding. Values that are no characters,
/// negative ones too, are their own twins.
inline int compareNoCase(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t nCommon = std::min(a.size(), b.size());
    std::size_t n = 0;
    while (n < nCommon && a[n] == b[n])
        ++n;
    if (n == nCommon) return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
    const wchar_t ca = detail::toAsciiLowerCase(a[n]), cb = detail::toAsciiLowerCase(b[n]);
    if (ca == cb || static_cast<unsigned>(ca) >= 0x80 || static_cast<unsigned>(cb) >= 0x80)
        return detail::compareFolded(a.substr(n), b.substr(n));
    return ca < cb ? -1 : 1;
}

/// Whether compareNoCase() finds no difference. Simple folding keeps lengths.
inline bool equalNoCase(std::wstring_view a, std::wstring_view b) noexcept {
    return a.size() == b.size() && (a == b || compareNoCase(a, b) == 0);
}

inline bool startsWithNoCase(std::wstring_view s, std::wstring_view sPrefix) noexcept {
    return equalNoCase(s.substr(0, sPrefix.size()), sPrefix);
}

/// Orders wide text without regard to case; names that differ only in case are equal keys. Looks up by
/// anything that converts to a view, so that a search makes no string.
struct ZQ_EXPORT NoCaseCompareLess {
    using is_transparent = void;
    bool operator()(std::wstring_view a, std::wstring_view b) const noexcept {
        return compareNoCase(a, b) < 0;
    }
};
