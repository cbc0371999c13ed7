#include <gtest/gtest.h>

#include <string>

#include "serverfixture.h"

namespace {

/// The text between the quotes of the header that a download of this name is sent with.
std::string encodedName(const std::wstring& sName, bool bRFC2047, unsigned int nMaxLength) {
    StreamFixture t;
    t.tStream.setFeatureTable(Handle<const FeatureTable>(
        new FeatureTable({{ZQWString(L"HTTPFeatures.rfc2047Headers"), bRFC2047}})));
    t.tStream.setStatusCode(201);
    t.tStream.setMaxContentDispFilenameLen(nMaxLength);
    t.tStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, ZQWString(sName)));
    t.tStream.Flush();
    const std::string sPrefix = "addHeader Content-Disposition: attachment; filename=\"";
    const std::string& sCall = t.tLog[1];
    EXPECT_TRUE(sCall.starts_with(sPrefix) && sCall.ends_with('"')) << sCall;
    return sCall.substr(sPrefix.size(), sCall.size() - sPrefix.size() - 1);
}

std::wstring times(std::size_t n, wchar_t c) {
    return std::wstring(n, c);
}

TEST(Filename, IsMadeSafeShortenedAndEncodedWhereItMustBe) {
    const struct {
        std::wstring sName;
        unsigned int nMaxLength;
        std::string sRfc2047;
        const char* pUrl = nullptr;  ///< null: plain, the same in both forms
    } tCases[] = {
        {L"Q3 report: final?.xlsx", 116, "Q3 report_ final_.xlsx"},
        {L"a\tb.txt", 116, "a_b.txt"},
        {times(126, L'x') + L".pdf", 116, std::string(112, 'x') + ".pdf"},
        {L"abcdefghij.", 5, "abcd."},
        {L"a.bcdefgh", 4, "a.bc"},
        {L"ab.cdef", 5, "ab.cd"},
        {times(201, L'x'), 116, std::string(116, 'x')},
        {L".hidden-name", 3, ".hi"},
        {L"a.b.txt", 6, "a..txt"},
        {L"a.b.txt", 5, "a.txt"},
        {L"???", 116, "___"},
        {L"\\/:*?\"<>|;#\x1f~ ", 116, "____________~ "},
        {L"name.txt", 0, ""},
        {L"r\u00e9sum\u00e9.pdf", 116, "=?utf-8?b?csOpc3Vtw6kucGRm?=", "r%C3%A9sum%C3%A9.pdf"},
        {times(9, L'\u00e9') + L".txt", 20, "=?utf-8?b?w6nDqcOpw6kudHh0?=", "%C3%A9%C3%A9%C3%A9"},
        {L"a?\u65e5\u672c.x", 116, "=?utf-8?b?YV/ml6XmnKwueA==?=", "a_%E6%97%A5%E6%9C%AC.x"},
        {L"\U0001F600", 116, "=?utf-8?b?8J+YgA==?=", "%F0%9F%98%80"},
        {L"\x7f", 116, "=?utf-8?b?fw==?=", "%7F"},
        {L"\u00e9.txt", 0,
         "=?utf-8?b?"
         "?=",
         ""},
        {{wchar_t(0xD800)}, 116, "=?utf-8?b?77+9?=", "%EF%BF%BD"},
        {{wchar_t(-23), L'a'}, 116, "=?utf-8?b?77+9YQ==?=", "%EF%BF%BDa"},
        {{wchar_t(0x110000)}, 116, "=?utf-8?b?77+9?=", "%EF%BF%BD"},
        {L"a b\u00e9%+", 116, "=?utf-8?b?YSBiw6klKw==?=", "a%20b%C3%A9%25+"},
    };
    for (const auto& c : tCases) {
        EXPECT_EQ(encodedName(c.sName, true, c.nMaxLength), c.sRfc2047) << testing::PrintToString(c.sName);
        EXPECT_EQ(encodedName(c.sName, false, c.nMaxLength), c.pUrl ? c.pUrl : c.sRfc2047)
            << testing::PrintToString(c.sName);
    }
}

TEST(Filename, ShorteningEndsAndFitsForEveryLimit) {
    const std::wstring tNames[] = {times(300, L'\u65e5') + L".xlsx", L"\u00e9" + times(200, L'a'),
                                   times(50, L'.') + L"\u00e9", L"." + times(40, L'\U0010FFFF'),
                                   times(30, wchar_t(-1)) + L"." + times(30, L'\x7f')};
    for (const std::wstring& sName : tNames)
        for (unsigned int nLimit = 0; nLimit <= 200; ++nLimit) {
            EXPECT_LE(encodedName(sName, false, nLimit).size(), nLimit);
            EXPECT_LE(encodedName(sName, true, nLimit).size(), nLimit + 12);
        }
}

}  // namespace
