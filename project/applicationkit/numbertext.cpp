#include "zq/applicationkit/numbertext.h"

namespace kit {

namespace {

constexpr long long knEndlessLeast = std::numeric_limits<int>::min();
constexpr long long knEndlessMost = std::numeric_limits<int>::max();

}  // namespace

bool parseNumber(std::wstring_view sText, long long nLeast, long long nMost, long long& rnValue) {
    const bool bNegative = sText.starts_with(L'-');
    if (bNegative) sText.remove_prefix(1);
    if (sText.empty() || sText.find_first_not_of(L"0123456789") != sText.npos) return false;
    long long n = 0;
    for (const wchar_t c : sText)  // downwards, where there is room for one more
        if (__builtin_mul_overflow(n, 10LL, &n) || __builtin_sub_overflow(n, c - L'0', &n)) return false;
    if (!bNegative && __builtin_sub_overflow(0LL, n, &n)) return false;
    if (n < nLeast || n > nMost) return false;
    rnValue = n;
    return true;
}

std::wstring describeNumber(long long nLeast, long long nMost) {
    // Nobody at a form knows the limits of a type.
    const bool bLeast = nLeast > knEndlessLeast, bMost = nMost < knEndlessMost;
    if (bLeast && bMost)
        return L"a whole number from " + std::to_wstring(nLeast) + L" to " + std::to_wstring(nMost);
    if (bLeast) return L"a whole number of at least " + std::to_wstring(nLeast);
    if (bMost) return L"a whole number of at most " + std::to_wstring(nMost);
    return L"a whole number";
}

}  // namespace kit
