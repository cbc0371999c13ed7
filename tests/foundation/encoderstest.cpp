#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <unicode/unistr.h>

#include <climits>
#include <string>

#include "support/asserttext.h"
#include "zq/foundation/encodingbase64.h"
#include "zq/foundation/encodingcopy.h"
#include "zq/foundation/encodingurl.h"
#include "zq/foundation/encodingutf8.h"

namespace {

using test::filled;

std::wstring widen(std::string_view s) {
    return filled<wchar_t>([s](WideStringBufferBase& r) { N2WEncodingUTF8().encode(r, s); });
}

constexpr wchar_t R = kReplacementCharacter;

struct Utf8Case {
    std::string sBytes;
    std::wstring sText;
};

const Utf8Case s_kpWellFormed[] = {
    {"", {}},
    {"\x7F", {0x7F}},
    {"\xC2\x80", {0x80}},
    {"\xDF\xBF", {0x7FF}},
    {"\xE0\xA0\x80", {0x800}},
    {"\xED\x9F\xBF", {0xD7FF}},
    {"\xEE\x80\x80", {0xE000}},
    {"\xEF\xBF\xBF", {0xFFFF}},
    {"\xF0\x90\x80\x80", {0x10000}},
    {"\xF4\x8F\xBF\xBF", {0x10FFFF}},
    {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", {0xE9, 0x20AC, 0x1F600}},
};

/// Among them the examples of Unicode 15, tables 3-8 to 3-11.
const Utf8Case s_kpIllFormed[] = {
    {"\x80", {R}},
    {"\xBF\x80", {R, R}},
    {"\xC0\xAF", {R, R}},                              // overlong, two bytes
    {"\xE0\x80\xAF", {R, R, R}},                       // overlong, three bytes
    {"\xF0\x80\x80\xAF", {R, R, R, R}},                // overlong, four bytes
    {"\xED\xA0\x80\xED\xBF\xBF", {R, R, R, R, R, R}},  // surrogates
    {"\xF4\x91\x92\x93\xFF"
     "A\x80"
     "B",
     {R, R, R, R, R, 'A', R, 'B'}},  // above U+10FFFF
    {"\xF5\xFE\xFF", {R, R, R}},
    {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF@", {R, R, R, R, '@'}},  // cut off by the next lead byte
    {"\xC2", {R}},
    {"\xE2\x82", {R}},
    {"\xF0\x9F\x98", {R}},
};

TEST(EncodingUtf8, ConvertsBehindAsciiRunsOfAnyLength) {
    for (std::size_t nRun = 0; nRun < 40; ++nRun) {
        const std::string sRun = std::string("The quick brown fox jumps over the lazy dogs").substr(0, nRun);
        const std::wstring sWideRun(sRun.begin(), sRun.end());
        for (const auto& [sBytes, sText] : s_kpWellFormed) {
            const std::string sNarrow = sRun + sBytes;
            ASSERT_EQ(widen(sNarrow), sWideRun + sText);
            ASSERT_EQ(toUtf8(sWideRun + sText), sNarrow);
            const ZQWString sCopy = EncodingCopy<char, wchar_t>().toString(sNarrow);
            ASSERT_EQ(sCopy, std::wstring(sNarrow.begin(), sNarrow.end()));
            ASSERT_EQ(filled<char>([&](auto& r) { EncodingCopy<wchar_t, char>().encode(r, sCopy); }),
                      sNarrow);
        }
        for (const auto& [sBytes, sText] : s_kpIllFormed)
            ASSERT_EQ(toUtf8(widen(sRun + sBytes)), sRun + toUtf8(sText)) << testing::PrintToString(sBytes);
    }
}

TEST(EncodingUtf8, ReplacesWhatIsNoScalarValue) {
    for (wchar_t c : {0xD800, 0xDBFF, 0xDC00, 0xDFFF, -1, -23, 0x110000, INT_MAX, INT_MIN})
        EXPECT_EQ(toUtf8(std::wstring{L'a', c, L'b'}),
                  "a\xEF\xBF\xBD"
                  "b")
            << static_cast<int>(c);
}

RC_GTEST_PROP(EncodingUtf8, RoundTripsScalarValues, ()) {
    const auto tValues = *rc::gen::container<std::vector<unsigned>>(rc::gen::oneOf(
        rc::gen::inRange(0u, 0x80u), rc::gen::inRange(0u, 0xD800u), rc::gen::inRange(0xE000u, 0x110000u)));
    const std::wstring sText(tValues.begin(), tValues.end());
    RC_ASSERT(widen(toUtf8(sText)) == sText);
}

RC_GTEST_PROP(EncodingUtf8, DecodesAnyBytesAsIcuDoes, ()) {
    const auto tBytes = *rc::gen::container<std::vector<int>>(
        rc::gen::element(0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1,
                         0xED, 0xEF, 0xF0, 0xF1, 0xF4, 0xF5, 0xFF));
    const std::string sBytes(tBytes.begin(), tBytes.end());
    const auto tIcu = icu::UnicodeString::fromUTF8(sBytes);
    std::wstring sByIcu(static_cast<std::size_t>(tIcu.countChar32()), L'\0');
    UErrorCode eError = U_ZERO_ERROR;
    tIcu.toUTF32(reinterpret_cast<UChar32*>(sByIcu.data()), static_cast<std::int32_t>(sByIcu.size()), eError);
    RC_ASSERT(widen(sBytes) == sByIcu);
}

TEST(EncodingCopy, KeepsTheLowByteAndTheSign) {
    const std::wstring sWide{0x20AC, 0xE9, L'A', -23};
    const EncodingCopy<char, wchar_t> tWiden;
    EXPECT_EQ(
        filled<char>([&](NarrowStringBufferBase& r) { EncodingCopy<wchar_t, char>().encode(r, sWide); }),
        "\xAC\xE9"
        "A\xE9");
    EXPECT_EQ(filled<wchar_t>([&](WideStringBufferBase& r) { tWiden.encode(r, "\xE9z"); }),
              (std::wstring{-23, L'z'}));
    for (const std::string_view s :
         {"", "1", "Host", "Hosts", "HOST", "gzip, deflate, br, zstd", "\xE9\x7F\x80",
          "application/x-www-form-urlencoded, and what is longer than usual"})
        EXPECT_EQ(tWiden.toString(s), std::wstring(s.begin(), s.end()));
}

/// Encodes two pieces, and then both again with the same state.
template <class CharT>
std::basic_string<CharT> base64Twice(std::string_view sFirst, std::string_view sSecond, EBase64Fill eFill) {
    const B2TEncodingBase64<CharT> tEncoder(eFill);
    return filled<CharT>([&](StringBufferBaseTemplate<CharT>& r) {
        typename B2TEncodingBase64<CharT>::State tState;
        for (int n = 0; n < 2; ++n) {
            tEncoder.update(tState, r, sFirst);
            tEncoder.update(tState, r, sSecond);
            tEncoder.finalize(tState, r);
        }
    });
}

TEST(EncodingBase64, GivesTheVectorsOfRfc4648HoweverTheyAreSplit) {
    struct {
        std::string_view sBytes;
        std::string sPadded;
    } const kpCases[] = {{"", ""},
                         {"f", "Zg=="},
                         {"fo", "Zm8="},
                         {"foo", "Zm9v"},
                         {"foob", "Zm9vYg=="},
                         {"fooba", "Zm9vYmE="},
                         {"foobar", "Zm9vYmFy"},
                         {"\xFB\xFF\xBF\xFF", "+/+//w=="}};
    for (const auto& [sBytes, sPadded] : kpCases)
        for (std::size_t n = 0; n <= sBytes.size(); ++n) {
            const std::string_view sFirst = sBytes.substr(0, n), sSecond = sBytes.substr(n);
            EXPECT_EQ(base64Twice<char>(sFirst, sSecond, EBase64Fill::kPad), sPadded + sPadded);
            EXPECT_EQ(base64Twice<wchar_t>(sFirst, sSecond, EBase64Fill::kPad), widen(sPadded + sPadded));
            const std::string sCut = sPadded.substr(0, sPadded.find('='));
            EXPECT_EQ(base64Twice<char>(sFirst, sSecond, EBase64Fill::kNoPad), sCut + sCut);
        }
}

TEST(EncodingUrl, EscapesWhatIsNeitherUnreservedNorSpared) {
    struct {
        std::wstring sText;
        std::string_view sAll, sSparing;
    } const kpCases[] = {
        {L"AZaz09-._~", "AZaz09-._~", "AZaz09-._~"},
        {L":/?#[]@!$&'()*+,;=", "%3A%2F%3F%23%5B%5D%40%21%24%26%27%28%29%2A%2B%2C%3B%3D",
         ":/?#[]@!$&'()*+,;="},
        {L" \"%<>\\^`{|}\x7F", "%20%22%25%3C%3E%5C%5E%60%7B%7C%7D%7F",
         "%20%22%25%3C%3E%5C%5E%60%7B%7C%7D%7F"},
        {{0, 0xE9, 0x20AC, 0x1F600}, "%00%C3%A9%E2%82%AC%F0%9F%98%80", "%00%C3%A9%E2%82%AC%F0%9F%98%80"},
        {{0xD800, -23}, "%EF%BF%BD%EF%BF%BD", "%EF%BF%BD%EF%BF%BD"},
    };
    const W2NEncodingURL tAll, tSparing(EUrlEncoding::kNotEncodeReservedChars);
    for (const auto& r : kpCases) {
        EXPECT_EQ(filled<char>([&](NarrowStringBufferBase& rBuffer) { tAll.encode(rBuffer, r.sText); }),
                  r.sAll);
        EXPECT_EQ(filled<char>([&](NarrowStringBufferBase& rBuffer) { tSparing.encode(rBuffer, r.sText); }),
                  r.sSparing);
    }
}

// The fast paths work on 32, 16 and single characters, forwards and reaching back.
TEST(EncodingUtf8, FindsTheOneCharacterThatIsNotAsciiWhereverItStands) {
    for (std::size_t nLength = 1; nLength <= 100; ++nLength)
        for (std::size_t nPos = 0; nPos < nLength; ++nPos) {
            std::wstring sText(nLength, L'a');
            for (std::size_t n = 0; n < nLength; ++n)
                sText[n] = static_cast<wchar_t>(L' ' + n % 90);
            sText[nPos] = L'\u20ac';
            std::string sExpected(sText.begin(), sText.end());
            sExpected.replace(nPos, 1, "\xE2\x82\xAC");
            NarrowStringBuffer tBytes;
            W2NEncodingUTF8().encode(tBytes, sText);
            ASSERT_EQ(tBytes.view(), sExpected) << nLength << ' ' << nPos;
            StringBuffer tWide;
            N2WEncodingUTF8().encode(tWide, sExpected);
            ASSERT_EQ(tWide.view(), sText) << nLength << ' ' << nPos;
        }
}

}  // namespace
