#include "admin/shownnumbers.h"

#include <charconv>
#include <cmath>

namespace webcontainer {

namespace {

std::string twoDigits(std::uint64_t n) {
    return {static_cast<char>('0' + n / 10 % 10), static_cast<char>('0' + n % 10)};
}

}  // namespace

std::string showFixed(double n, int nDecimals) {
    char tText[400];  // the largest value has 309 digits
    const auto tResult =
        std::to_chars(std::begin(tText), std::end(tText), n, std::chars_format::fixed, nDecimals);
    return {tText, tResult.ptr};
}

std::string showCount(std::uint64_t n) {
    std::string sText = std::to_string(n);
    for (std::size_t nAt = sText.size(); nAt > 3; nAt -= 3)
        sText.insert(nAt - 3, 1, ',');
    return sText;
}

std::string showNumber(double n) {
    return n < 99.95 ? showFixed(n, 1) : showCount(static_cast<std::uint64_t>(std::llround(n)));
}

std::string showBytes(double nBytes) {
    constexpr const char* kpUnits[] = {" B", " kB", " MB", " GB", " TB", " PB"};
    std::size_t nUnit = 0;
    for (; nBytes >= 999.5 && nUnit + 1 < std::size(kpUnits); ++nUnit)
        nBytes /= 1000;
    return showFixed(nBytes, nUnit == 0 || nBytes >= 99.95 ? 0 : 1) + kpUnits[nUnit];
}

std::string showMicroseconds(double nUs) {
    const bool bSeconds = nUs >= 999500;
    const double n = nUs / (bSeconds ? 1e6 : 1e3);
    return showFixed(n, n < 9.995 ? 2 : n < 99.95 ? 1 : 0) + (bSeconds ? " s" : " ms");
}

std::string showSeconds(std::uint64_t nSeconds) {
    const std::string sClock = std::to_string(nSeconds / 3600 % 24) + ":" + twoDigits(nSeconds / 60 % 60) +
                               ":" + twoDigits(nSeconds % 60);
    return (nSeconds < 86400 ? "" : showCount(nSeconds / 86400) + " d ") + sClock;
}

}  // namespace webcontainer
