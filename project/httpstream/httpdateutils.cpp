#include "zq/httpstream/httpdateutils.h"

#include <algorithm>
#include <chrono>
#include <string_view>

namespace {

using namespace std::chrono;

constexpr std::wstring_view s_ksPattern = L"Sun, 01 Jan 1970 00:00:00 GMT";
constexpr std::wstring_view s_ksDays = L"SunMonTueWedThuFriSat";
constexpr std::wstring_view s_ksMonths = L"JanFebMarAprMayJunJulAugSepOctNovDec";

/// The first second of the year 0 and the last one of the year 9999.
constexpr std::time_t knEarliest = -62167219200;
constexpr std::time_t knLatest = 253402300799;

void putName(wchar_t* pTo, std::wstring_view sNames, unsigned nIndex) {
    sNames.copy(pTo, 3, std::size_t{nIndex} * 3);
}

void putTwoDigits(wchar_t* pTo, unsigned nValue) {
    pTo[0] = static_cast<wchar_t>(L'0' + nValue / 10);
    pTo[1] = static_cast<wchar_t>(L'0' + nValue % 10);
}

}  // namespace

// Not with gmtime_r(), which takes a lock of the C library's.
void HttpDateUtils::formatHttpDate(WideStringBufferBase& rBuffer, std::time_t nTime) {
    const sys_seconds tTime{seconds{std::clamp(nTime, knEarliest, knLatest)}};
    const sys_days tDay = floor<days>(tTime);
    const year_month_day tDate{tDay};
    const auto nYear = static_cast<unsigned>(static_cast<int>(tDate.year()));
    const auto nSecond = static_cast<unsigned>((tTime - tDay).count());
    wchar_t tText[s_ksPattern.size()];
    s_ksPattern.copy(tText, s_ksPattern.size());
    putName(tText, s_ksDays, weekday{tDay}.c_encoding());
    putTwoDigits(tText + 5, static_cast<unsigned>(tDate.day()));
    putName(tText + 8, s_ksMonths, static_cast<unsigned>(tDate.month()) - 1);
    putTwoDigits(tText + 12, nYear / 100);
    putTwoDigits(tText + 14, nYear % 100);
    putTwoDigits(tText + 17, nSecond / 3600);
    putTwoDigits(tText + 20, nSecond / 60 % 60);
    putTwoDigits(tText + 23, nSecond % 60);
    rBuffer.append(std::wstring_view(tText, s_ksPattern.size()));
}
