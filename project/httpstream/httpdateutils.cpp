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

/// The text of an instant in the years 0 to 9999. Not with gmtime_r(), which takes a lock of the C library's.
void format(wchar_t* pTo, std::time_t nTime) {
    const sys_seconds tTime{seconds{nTime}};
    const sys_days tDay = floor<days>(tTime);
    const year_month_day tDate{tDay};
    const auto nYear = static_cast<unsigned>(static_cast<int>(tDate.year()));
    const auto nSecond = static_cast<unsigned>((tTime - tDay).count());
    s_ksPattern.copy(pTo, s_ksPattern.size());
    putName(pTo, s_ksDays, weekday{tDay}.c_encoding());
    putTwoDigits(pTo + 5, static_cast<unsigned>(tDate.day()));
    putName(pTo + 8, s_ksMonths, static_cast<unsigned>(tDate.month()) - 1);
    putTwoDigits(pTo + 12, nYear / 100);
    putTwoDigits(pTo + 14, nYear % 100);
    putTwoDigits(pTo + 17, nSecond / 3600);
    putTwoDigits(pTo + 20, nSecond / 60 % 60);
    putTwoDigits(pTo + 23, nSecond % 60);
}

/// A date that the thread has formatted: responses have the same ones for a second, or for ever.
struct FormattedDate {
    std::time_t nTime = knLatest + 1;
    wchar_t tText[s_ksPattern.size()] = {};
};

/// Usual distances between dates (whole minutes, hours, days and weeks but one) are no multiples of it.
constexpr std::time_t knDates = 11;

}  // namespace

void HttpDateUtils::formatHttpDate(WideStringBufferBase& rBuffer, std::time_t nTime) {
    thread_local FormattedDate t_tDates[knDates];
    nTime = std::clamp(nTime, knEarliest, knLatest);
    FormattedDate& rDate = t_tDates[(nTime - knEarliest) % knDates];
    if (rDate.nTime != nTime) format(rDate.tText, rDate.nTime = nTime);
    rBuffer.append(std::wstring_view(rDate.tText, s_ksPattern.size()));
}
