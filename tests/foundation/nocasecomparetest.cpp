#include <gtest/gtest.h>

#include <string>

#include "zq/foundation/nocasecompareless.h"
#include "zq/foundation/posixstrsupport.h"

namespace {

TEST(CompareNoCase, IgnoresCaseAsUnicodeFoldsIt) {
    struct {
        std::wstring a, b;
        int nOrder;
    } const kpCases[] = {
        {L"", L"", 0},
        {L"", L"a", -1},
        {L"Content-Type", L"CONTENT-TYPE", 0},
        {L"abc", L"ABCD", -1},
        {L"aXc", L"AXB", 1},
        {L"k", L"\u212A", 0},  // the Kelvin sign
        {L"b", L"A", 1},
        {L"[", L"a", -1},  // '[' stands between the cases
        {L"\u00C4\u03A9\u0416", L"\u00E4\u03C9\u0436", 0},
        {L"\u03C3", L"\u03C2", 0},        // both sigmas
        {L"stra\u00DFe", L"STRASSE", 1},  // simple folding keeps lengths
        {{0x10400}, {0x10428}, 0},
        {{-23}, {-55}, 1},  // header bytes E9 and C9, widened with their sign: not folded
        {{-23}, L"A", -1},
        {{0x7FFFFFFF}, L"a", 1},
    };
    for (const auto& r : kpCases) {
        EXPECT_EQ(compareNoCase(r.a, r.b), r.nOrder) << testing::PrintToString(r.a);
        EXPECT_EQ(compareNoCase(r.b, r.a), -r.nOrder) << testing::PrintToString(r.a);
        EXPECT_EQ(equalNoCase(r.a, r.b), r.nOrder == 0) << testing::PrintToString(r.a);
    }
}

TEST(PosixStrSupport, ComparesAtMostN) {
    EXPECT_EQ(posixstrsupport::wcsnicmp(L"application/xml; x", L"APPLICATION/XML", 15), 0);
    EXPECT_LT(posixstrsupport::wcsnicmp(L"soa", L"soap", 4), 0);
    EXPECT_EQ(posixstrsupport::wcsnicmp(L"a", L"b", 0), 0);
    EXPECT_GT(posixstrsupport::wcsicmp(L"Beta", L"alpha"), 0);
    EXPECT_EQ(posixstrsupport::wcsicmp(L"NOSTORE", L"nostore"), 0);
}

}  // namespace
