#pragma once

#include <cstddef>

#include "zq/foundation/zqexport.h"

/// Text comparisons that no locale can change.
namespace posixstrsupport {

/// Compares at most n wide characters of two NUL-terminated texts, case aside: less than 0, 0 or greater.
ZQ_EXPORT int wcsnicmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept;
/// Compares two whole NUL-terminated texts, case aside.
ZQ_EXPORT int wcsicmp(const wchar_t* a, const wchar_t* b) noexcept;

}  // namespace posixstrsupport
