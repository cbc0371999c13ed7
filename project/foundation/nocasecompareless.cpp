#include "zq/foundation/nocasecompareless.h"

#include <unicode/uchar.h>

namespace {

wchar_t foldCase(wchar_t c) noexcept {
    if (c < 0x80) return detail::toAsciiLowerCase(c);
    return static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

}  // namespace

int detail::compareFolded(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t nCommon = std::min(a.size(), b.size());
    for (std::size_t n = 0; n < nCommon; ++n) {
        if (a[n] == b[n]) continue;
        const wchar_t ca = foldCase(a[n]), cb = foldCase(b[n]);
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}
