#include "statustexts.h"

#include <cmath>
#include <cstdio>

namespace webcontainer {

namespace {

std::string print(const char* pFormat, double n, const char* pUnit) {
    char tText[64];
    std::snprintf(tText, sizeof tText, pFormat, n, pUnit);
    return tText;
}

}  // namespace

std::string showCount(std::uint64_t n) {
    std::string sText = std::to_string(n);
    for (std::size_t nAt = sText.size(); nAt > 3; nAt -= 3)
        sText.insert(nAt - 3, 1, ',');
    return sText;
}

std::string showNumber(double n) {
    return n < 99.95 ? print("%.1f%s", n, "") : showCount(static_cast<std::uint64_t>(std::llround(n)));
}

std::string showBytes(double nBytes) {
    constexpr const char* kpUnits[] = {"B", "kB", "MB", "GB", "TB", "PB"};
    std::size_t nUnit = 0;
    for (; nBytes >= 999.5 && nUnit + 1 < std::size(kpUnits); ++nUnit)
        nBytes /= 1000;
    return print(nUnit == 0 || nBytes >= 99.95 ? "%.0f %s" : "%.1f %s", nBytes, kpUnits[nUnit]);
}

std::string showMicroseconds(double nUs) {
    const bool bSeconds = nUs >= 999500;
    const double n = nUs / (bSeconds ? 1e6 : 1e3);
    return print(n < 9.995 ? "%.2f %s" : n < 99.95 ? "%.1f %s" : "%.0f %s", n, bSeconds ? "s" : "ms");
}

std::string showSeconds(std::uint64_t nSeconds) {
    const auto n = static_cast<unsigned long long>(nSeconds);
    char tText[64];
    std::snprintf(tText, sizeof tText, "%llu:%02llu:%02llu", n / 3600 % 24, n / 60 % 60, n % 60);
    return (n < 86400 ? "" : showCount(n / 86400) + " d ") + tText;
}

}  // namespace webcontainer
