#include "zq/foundation/nocasecompareless.h"

#include <unicode/uchar.h>

wchar_t foldBeyondAscii(wchar_t c) noexcept {
    return static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}
