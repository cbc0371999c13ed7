#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "zq/httpstream/httpdateutils.h"

namespace {

using namespace std::chrono;

std::optional<std::time_t> parse(std::wstring_view sDate) {
    std::time_t nTime = -1;
    if (HttpDateUtils::parseHttpDate(sDate, nTime)) return nTime;
    EXPECT_EQ(nTime, -1) << "touched by a text that it refused";
    return std::nullopt;
}

std::time_t at(int nYear, unsigned int nMonth, unsigned int nDay, int nSecondOfDay = 0) {
    const sys_days tDay = year(nYear) / month(nMonth) / day(nDay);
    return tDay.time_since_epoch() / seconds(1) + nSecondOfDay;
}

TEST(HttpDate, EveryFormMeansTheSameInstantAndOnlyWhenItIsWhole) {
    // The examples of RFC 9110 section 5.6.7.
    for (const std::wstring_view sDate :
         {L"Sun, 06 Nov 1994 08:49:37 GMT", L"Sunday, 06-Nov-94 08:49:37 GMT", L"Sun Nov  6 08:49:37 1994"}) {
        EXPECT_EQ(parse(sDate), 784111777);
        for (std::size_t n = 0; n < sDate.size(); ++n)
            EXPECT_EQ(parse(sDate.substr(0, n)), std::nullopt) << n;
        EXPECT_EQ(parse(std::wstring(sDate) + L'0'), std::nullopt);
    }
}

TEST(HttpDate, CalendarAndClockEdges) {
    EXPECT_EQ(parse(L"Thu, 29 Feb 2024 23:59:59 GMT"), at(2024, 2, 29, 86399));
    EXPECT_EQ(parse(L"Tue, 29 Feb 2000 00:00:00 GMT"), at(2000, 2, 29));
    EXPECT_EQ(parse(L"Sat, 31 Dec 2016 23:59:60 GMT"), at(2017, 1, 1)) << "a leap second";
    EXPECT_EQ(parse(L"Thu Jan  1 00:00:00 1970"), 0);
    EXPECT_EQ(parse(L"Fri Dec 31 23:59:59 9999"), 253402300799);
    EXPECT_EQ(parse(L"Mon, 06 Nov 1994 08:49:37 GMT"), 784111777) << "the wrong day of the week";
}

TEST(HttpDate, TwoDigitYearsReachFiftyYearsAhead) {
    const int nThisYear = static_cast<int>(year_month_day(floor<days>(system_clock::now())).year());
    for (int nYear = nThisYear - 49; nYear <= nThisYear + 50; ++nYear) {
        const std::wstring sYear = {wchar_t(L'0' + nYear / 10 % 10), wchar_t(L'0' + nYear % 10)};
        EXPECT_EQ(parse(L"Monday, 01-Mar-" + sYear + L" 00:00:00 GMT"), at(nYear, 3, 1)) << nYear;
    }
}

TEST(HttpDate, FormattedDatesComeBack) {
    constexpr std::time_t knFirst = -62167219200, knLast = 253402300799;
    const auto fParseFormatted = [](std::time_t nTime) {
        StringBuffer tText;
        HttpDateUtils::formatHttpDate(tText, nTime);
        return parse(tText.view());
    };
    for (std::time_t nTime = knFirst; nTime < knLast; nTime += 86400 * 97 + 3601)
        for (const std::time_t nOther : {nTime, nTime + 11 * 97, nTime})
            ASSERT_EQ(fParseFormatted(nOther), std::min(nOther, knLast));
    EXPECT_EQ(fParseFormatted(knFirst - 1), knFirst) << "years have four digits";
    EXPECT_EQ(fParseFormatted(knLast + 1), knLast);
}

TEST(HttpDate, EverythingElseIsRefused) {
    const std::wstring_view tRefused[] = {
        L"Sun, 00 Nov 1994 08:49:37 GMT",     L"Sun, 31 Nov 1994 08:49:37 GMT",
        L"Wed, 29 Feb 2023 08:49:37 GMT",     L"Mon, 29 Feb 1900 08:49:37 GMT",
        L"Sun, 06 Nov 1994 24:00:00 GMT",     L"Sun, 06 Nov 1994 08:60:00 GMT",
        L"Sun, 06 Nov 1994 08:49:61 GMT",     L"sun, 06 Nov 1994 08:49:37 GMT",
        L"Sun, 06 nov 1994 08:49:37 GMT",     L"Sun, 06 Nov 1994 08:49:37 UTC",
        L"Sun,  6 Nov 1994 08:49:37 GMT",     L"Sun, 06 Nov 94 08:49:37 GMT",
        L"Sun, 06-Nov-94 08:49:37 GMT",       L"Sunday, 06 Nov 1994 08:49:37 GMT",
        L"Sun Nov 6 08:49:37 1994",           L"Sun Nov  0 08:49:37 1994",
        L"Sun, 06 Nov -994 08:49:37 GMT",     L"784111777",
        L"Sun, 06 Nov 1994 08:49:3\u0667 GMT"};
    for (const std::wstring_view sDate : tRefused)
        EXPECT_EQ(parse(sDate), std::nullopt) << std::string(sDate.begin(), sDate.end());
}

}  // namespace
