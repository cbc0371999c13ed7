#pragma once

#include <string_view>

#include "zq/foundation/zqstring.h"

/// The lower-case twin of c under Unicode's simple case folding; any other value, negative ones too, is its
/// own twin.
ZQ_EXPORT wchar_t foldCase(wchar_t c) noexcept;

/// Less than 0, 0 or greater than 0 as a stands before, with or behind b when case does not count.
ZQ_EXPORT int compareNoCase(std::wstring_view a, std::wstring_view b) noexcept;

/// Orders wide text without regard to case; names that differ only in case are equal keys. Looks up by
/// anything that converts to a view, so that a search makes no string.
struct ZQ_EXPORT NoCaseCompareLess {
    using is_transparent = void;
    bool operator()(std::wstring_view a, std::wstring_view b) const noexcept {
        return compareNoCase(a, b) < 0;
    }
};
