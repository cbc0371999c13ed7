#include "zq/foundation/posixstrsupport.h"

#include <cwchar>

#include "zq/foundation/nocasecompareless.h"

namespace posixstrsupport {

int wcsnicmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept {
    return compareNoCase({a, wcsnlen(a, n)}, {b, wcsnlen(b, n)});
}

int wcsicmp(const wchar_t* a, const wchar_t* b) noexcept {
    return compareNoCase(a, b);
}

}  // namespace posixstrsupport
