#include "zq/httpstream/httpdateutils.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::wstring_view s_ksDays = L"SunMonTueWedThuFriSat";
constexpr std::wstring_view s_ksMonths = L"JanFebMarAprMayJunJulAugSepOctNovDec";

/// The first second of the year 0 and the last one of the year 9999.
constexpr std::time_t knEarliest = -62167219200;
constexpr std::time_t knLatest = 253402300799;

void appendName(WideStringBufferBase& rBuffer, std::wstring_view sNames, int nIndex) {
    rBuffer.append(sNames.substr(static_cast<std::size_t>(nIndex) * 3, 3));
}

void appendDigits(WideStringBufferBase& rBuffer, int nValue, int nDigits) {
    for (int nDivisor = nDigits == 4 ? 1000 : 10; nDivisor != 0; nDivisor /= 10)
        rBuffer.append(static_cast<wchar_t>(L'0' + nValue / nDivisor % 10));
}

}  // namespace

void HttpDateUtils::formatHttpDate(WideStringBufferBase& rBuffer, std::time_t nTime) {
    nTime = std::clamp(nTime, knEarliest, knLatest);
    std::tm t{};
    gmtime_r(&nTime, &t);
    appendName(rBuffer, s_ksDays, t.tm_wday);
    rBuffer.append(std::wstring_view(L", "));
    appendDigits(rBuffer, t.tm_mday, 2);
    rBuffer.append(L' ');
    appendName(rBuffer, s_ksMonths, t.tm_mon);
    rBuffer.append(L' ');
    appendDigits(rBuffer, t.tm_year + 1900, 4);
    rBuffer.append(L' ');
    appendDigits(rBuffer, t.tm_hour, 2);
    rBuffer.append(L':');
    appendDigits(rBuffer, t.tm_min, 2);
    rBuffer.append(L':');
    appendDigits(rBuffer, t.tm_sec, 2);
    rBuffer.append(std::wstring_view(L" GMT"));
}
