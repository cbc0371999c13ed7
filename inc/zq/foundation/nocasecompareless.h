#pragma once

#include <algorithm>
#include <string_view>

#include "zq/foundation/zqstring.h"

/// foldCase() of what is not ASCII.
ZQ_EXPORT wchar_t foldBeyondAscii(wchar_t c) noexcept;

/// The lower-case twin of c under Unicode's simple case folding; any other value, negative ones too, is its
/// own twin.
inline wchar_t foldCase(wchar_t c) noexcept {
    if (c >= L'A' && c <= L'Z') return c + (L'a' - L'A');
    return c < 0x80 ? c : foldBeyondAscii(c);
}

/// Less than 0, 0 or greater than 0 as a stands before, with or behind b when case does not count.
inline int compareNoCase(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t nCommon = std::min(a.size(), b.size());
    for (std::size_t n = 0; n < nCommon; ++n) {
        if (a[n] == b[n]) continue;
        const wchar_t ca = foldCase(a[n]), cb = foldCase(b[n]);
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
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
