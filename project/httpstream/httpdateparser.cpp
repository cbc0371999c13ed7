#include <array>
#include <chrono>
#include <span>
#include <string_view>

#include "zq/httpstream/httpdateutils.h"

namespace {

using namespace std::chrono;

using Names = std::span<const std::wstring_view>;

constexpr std::array<std::wstring_view, 7> s_ksDays = {L"Mon", L"Tue", L"Wed", L"Thu",
                                                       L"Fri", L"Sat", L"Sun"};
constexpr std::array<std::wstring_view, 7> s_ksLongDays = {L"Monday", L"Tuesday",  L"Wednesday", L"Thursday",
                                                           L"Friday", L"Saturday", L"Sunday"};
constexpr std::array<std::wstring_view, 12> s_ksMonths = {L"Jan", L"Feb", L"Mar", L"Apr", L"May", L"Jun",
                                                          L"Jul", L"Aug", L"Sep", L"Oct", L"Nov", L"Dec"};

/// Reads a date from front to back. Each operation takes what it names off the front, or fails; after a
/// failure the reader is of no more use.
class DateReader {
public:
    explicit DateReader(std::wstring_view s) noexcept : m_s(s) {}

    bool literal(std::wstring_view sExpected) noexcept {
        if (!m_s.starts_with(sExpected)) return false;
        m_s.remove_prefix(sExpected.size());
        return true;
    }
    bool day() noexcept { return name(s_ksDays, m_nDayOfWeek); }
    bool longDay() noexcept { return name(s_ksLongDays, m_nDayOfWeek); }
    bool month() noexcept { return name(s_ksMonths, m_nMonth); }
    bool dayOfMonth() noexcept { return digits(2, m_nDay); }
    /// Two places, the first one blank below ten.
    bool paddedDayOfMonth() noexcept { return literal(L" ") ? digits(1, m_nDay) : digits(2, m_nDay); }
    bool year() noexcept { return digits(4, m_nYear); }
    bool shortYear() noexcept;
    bool time() noexcept;
    bool end() const noexcept { return m_s.empty(); }

    /// The instant that was read. False when there is no such day or time of day.
    bool get(std::time_t& rTime) const noexcept;

private:
    bool digits(std::size_t nCount, unsigned int& rValue) noexcept;
    bool name(Names tNames, unsigned int& rNumber) noexcept;

    std::wstring_view m_s;
    unsigned int m_nDayOfWeek = 0, m_nDay = 0, m_nMonth = 0, m_nYear = 0;
    unsigned int m_nHour = 0, m_nMinute = 0, m_nSecond = 0;
};

bool DateReader::digits(std::size_t nCount, unsigned int& rValue) noexcept {
    if (m_s.size() < nCount) return false;
    rValue = 0;
    for (const wchar_t c : m_s.substr(0, nCount)) {
        if (c < L'0' || c > L'9') return false;
        rValue = rValue * 10 + static_cast<unsigned int>(c - L'0');
    }
    m_s.remove_prefix(nCount);
    return true;
}

bool DateReader::name(Names tNames, unsigned int& rNumber) noexcept {
    for (std::size_t n = 0; n < tNames.size(); ++n) {
        rNumber = static_cast<unsigned int>(n + 1);
        if (literal(tNames[n])) return true;
    }
    return false;
}

bool DateReader::shortYear() noexcept {
    if (!digits(2, m_nYear)) return false;
    const auto tToday = year_month_day(floor<days>(system_clock::now()));
    const auto nLatest = static_cast<unsigned int>(static_cast<int>(tToday.year())) + 50;
    m_nYear += (nLatest - m_nYear) / 100 * 100;
    return true;
}

bool DateReader::time() noexcept {
    return digits(2, m_nHour) && literal(L":") && digits(2, m_nMinute) && literal(L":") &&
           digits(2, m_nSecond);
}

bool DateReader::get(std::time_t& rTime) const noexcept {
    const year_month_day tDate(std::chrono::year(static_cast<int>(m_nYear)), std::chrono::month(m_nMonth),
                               std::chrono::day(m_nDay));
    // The sixtieth second is a leap second.
    if (!tDate.ok() || m_nHour > 23 || m_nMinute > 59 || m_nSecond > 60) return false;
    const sys_seconds tTime = sys_days(tDate) + hours(m_nHour) + minutes(m_nMinute) + seconds(m_nSecond);
    rTime = static_cast<std::time_t>(tTime.time_since_epoch().count());
    return true;
}

/// IMF-fixdate: Sun, 06 Nov 1994 08:49:37 GMT
bool readFixdate(DateReader& r) {
    return r.day() && r.literal(L", ") && r.dayOfMonth() && r.literal(L" ") && r.month() && r.literal(L" ") &&
           r.year() && r.literal(L" ") && r.time() && r.literal(L" GMT") && r.end();
}

/// rfc850-date: Sunday, 06-Nov-94 08:49:37 GMT
bool readRfc850Date(DateReader& r) {
    return r.longDay() && r.literal(L", ") && r.dayOfMonth() && r.literal(L"-") && r.month() &&
           r.literal(L"-") && r.shortYear() && r.literal(L" ") && r.time() && r.literal(L" GMT") && r.end();
}

/// asctime-date: Sun Nov  6 08:49:37 1994
bool readAsctimeDate(DateReader& r) {
    return r.day() && r.literal(L" ") && r.month() && r.literal(L" ") && r.paddedDayOfMonth() &&
           r.literal(L" ") && r.time() && r.literal(L" ") && r.year() && r.end();
}

}  // namespace

bool HttpDateUtils::parseHttpDate(std::wstring_view sDate, std::time_t& rTime) {
    for (const auto pRead : {readFixdate, readRfc850Date, readAsctimeDate}) {
        DateReader tReader(sDate);
        if (pRead(tReader)) return tReader.get(rTime);
    }
    return false;
}
