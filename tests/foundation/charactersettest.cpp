#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

#include "support/asserttext.h"
#include "zq/foundation/textencoder.h"
#include "zq/foundation/transcoding.h"

namespace {

using test::filled;
using test::narrow;

constexpr std::wstring_view s_kpCharsets[] = {L"utf-8",      L"unicode",      L"unicodeFFFE",
                                              L"ISO-8859-1", L"windows-1252", L"Shift_JIS",
                                              L"GB18030",    L"ISO-2022-JP",  L"Big5-HKSCS"};

/// Encodes pieces one after the other with one encoder.
std::string encoded(std::wstring_view sCharset, const std::vector<std::wstring_view>& rPieces,
                    EUnmappable eUnmappable = EUnmappable::kQuestionMark) {
    TextEncoder tEncoder(CharacterSet::find(sCharset), eUnmappable);
    return filled<char>([&](NarrowStringBufferBase& r) {
        for (std::wstring_view sPiece : rPieces)
            tEncoder.encode(r, sPiece);
        tEncoder.finish(r);
    });
}

std::wstring decoded(std::wstring_view sCharset, std::string_view sBytes) {
    return filled<wchar_t>([&](WideStringBufferBase& r) {
        UniversalTranscoding(CharacterSet::find(sCharset)).decode(r, sBytes);
    });
}

/// Text that meets every path: ASCII, Latin, Japanese, combining marks, beyond the basic plane, no scalars.
rc::Gen<std::wstring> anyText() {
    const auto tValue = rc::gen::oneOf(
        rc::gen::inRange(0x20, 0x7F), rc::gen::inRange(0x80, 0x180), rc::gen::inRange(0x3041, 0x3100),
        rc::gen::element(0xCA, 0x304, 0x30C, 0x20AC, 0xD800, 0xDFFF, -1, 0x1F600, 0x20021, 0x110000));
    return rc::gen::map(rc::gen::container<std::vector<int>>(tValue),
                        [](const std::vector<int>& r) { return std::wstring(r.begin(), r.end()); });
}

RC_GTEST_PROP(TextEncoder, EncodesPiecesAsTheWhole, ()) {
    const std::wstring sText = *anyText();
    const std::size_t nCut = *rc::gen::inRange<std::size_t>(0, sText.size() + 1);
    const std::wstring_view s = sText;
    for (const std::wstring_view sCharset : s_kpCharsets)
        for (const auto eUnmappable : {EUnmappable::kQuestionMark, EUnmappable::kCharacterReference})
            RC_ASSERT(encoded(sCharset, {s}, eUnmappable) ==
                      encoded(sCharset, {s.substr(0, nCut), s.substr(nCut)}, eUnmappable));
}

RC_GTEST_PROP(TextEncoder, RoundTripsWhereTheCharsetHasEverything, ()) {
    const auto tValues = *rc::gen::container<std::vector<int>>(rc::gen::oneOf(
        rc::gen::inRange(0, 0xD800), rc::gen::inRange(0xF900, 0xFE00), rc::gen::inRange(0x10000, 0x110000)));
    const std::wstring sText(tValues.begin(), tValues.end());
    for (const std::wstring_view sCharset : {L"utf-8", L"unicode", L"unicodeFFFE", L"GB18030", L"UTF-32BE"})
        RC_ASSERT(decoded(sCharset, encoded(sCharset, {sText})) == sText);
}

TEST(TextEncoder, EncodesKnownText) {
    const std::wstring sText{L'A', 0x3042, 0x1F600};
    struct {
        const wchar_t* pCharset;
        std::string sBytes;
    } const kpCases[] = {
        {L"UTF-8", "A\xE3\x81\x82\xF0\x9F\x98\x80"},
        {L"Unicode", std::string("A\0\x42\x30\x3D\xD8\x00\xDE", 8)},
        {L"UNICODEfffe", std::string("\0A\x30\x42\xD8\x3D\xDE\x00", 8)},
        {L"shift_jis", "A\x82\xA0?"},
        {L"ISO-2022-JP", "A\x1B$B$\"\x1B(B?"},
    };
    for (const auto& r : kpCases)
        EXPECT_EQ(encoded(r.pCharset, {sText}), r.sBytes) << narrow(r.pCharset);
    EXPECT_EQ(encoded(L"ISO-8859-1", {L"\u20AC\u00E9"}, EUnmappable::kCharacterReference), "&#8364;\xE9");
    EXPECT_EQ(encoded(L"ISO-2022-JP", {L"\u3042"}), "\x1B$B$\"\x1B(B");  // finish() shifts back to ASCII
}

TEST(TextEncoder, EncodesTextsLongerThanItsBuffers) {
    const std::wstring sLong(5000, 0x20AC);
    EXPECT_EQ(encoded(L"windows-1252", {sLong}), std::string(5000, '\x80'));
    EXPECT_EQ(encoded(L"ISO-8859-1", {sLong}, EUnmappable::kCharacterReference).size(), 5000 * 7u);
    EXPECT_EQ(decoded(L"windows-1252", std::string(5000, '\x80')), sLong);
    // One shift at the start and one at the end, none in between.
    EXPECT_EQ(encoded(L"ISO-2022-JP", {std::wstring(5000, 0x3042)}).size(), 3 + 5000 * 2 + 3u);
}

TEST(Transcoding, ReplacesWhatTheBytesCannotMean) {
    struct {
        const wchar_t* pCharset;
        std::string sBytes;
        std::wstring sText;
    } const kpCases[] = {
        {L"unicode",
         std::string("A\0\x3D\xD8"
                     "B\0",
                     6),
         {L'A', 0xFFFD, L'B'}},  // lone high surrogate
        {L"unicode",
         std::string("\x00\xDE"
                     "A\0",
                     4),
         {0xFFFD, L'A'}},                                           // lone low surrogate
        {L"unicodeFFFE", std::string("\0A\0", 3), {L'A', 0xFFFD}},  // half a unit
        {L"unicode", std::string("\x3D\xD8", 2), {0xFFFD}},
        {L"Shift_JIS",
         "A\xFD"
         "B",
         {L'A', 0xFFFD, L'B'}},                   // no lead byte
        {L"Shift_JIS", "A\x82", {L'A', 0xFFFD}},  // cut off
        {L"GB18030",
         "A\xFF"
         "B",
         {L'A', 0xFFFD, L'B'}},
        {L"US-ASCII",
         "A\xE9"
         "B",
         {L'A', 0xFFFD, L'B'}},
    };
    for (const auto& r : kpCases)
        EXPECT_EQ(narrow(decoded(r.pCharset, r.sBytes)), narrow(r.sText)) << narrow(r.pCharset);
}

TEST(CharacterSet, KeepsTheLabelAsItWasAskedFor) {
    EXPECT_EQ(CharacterSet::find(L"utf-8"), CharacterSet::utf8());
    EXPECT_EQ(CharacterSet::find(L"UTF-8")->getEncodingLabel(), L"UTF-8");
    EXPECT_EQ(CharacterSet::find(L"latin1")->getEncodingLabel(), L"latin1");
}

TEST(CharacterSet, RefusesLabelsThatNameNothing) {
    const std::wstring kpLabels[] = {L"",
                                     L"no-such-charset",
                                     std::wstring(10000, L'x'),
                                     L"utf-8\n",
                                     L"utf-8,version=1",
                                     L"../iso88591",
                                     L"\u00FCtf-8",
                                     {-23},
                                     L"utf 8"};
    for (const std::wstring& sLabel : kpLabels)
        EXPECT_THROW(CharacterSet::find(sLabel), CharacterSet::UnknownCharset) << narrow(sLabel);
}

}  // namespace
