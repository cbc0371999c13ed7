#include "zq/foundation/posixstrsupport.h"

#include <cwchar>

#include "zq/foundation/nocasecompareless.h"

namespace posixstrsupport {

int wcsnicmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept {
    const std::wstring_view sA(a, wcsnlen(a, n)), sB(b, wcsnlen(b, n));
    return sA == sB ? 0 : compareNoCase(sA, sB);
}

int wcsicmp(const wchar_t* a, const wchar_t* b) noexcept {
    return compareNoCase(a, b);
}

}  // namespace posixstrsupport
