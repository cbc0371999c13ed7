#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "support/asserttext.h"
#include "zq/foundation/textencoder.h"
#include "zq/foundation/transcoding.h"

namespace {

using test::filled;

/// Encodes pieces one after the other with one encoder.
std::string encoded(const Handle<const CharacterSet>& hCharset, const std::vector<std::wstring_view>& rPieces,
                    EUnmappable eUnmappable = EUnmappable::kQuestionMark) {
    TextEncoder tEncoder(hCharset);
    return filled<char>([&](NarrowStringBufferBase& r) {
        for (const std::wstring_view sPiece : rPieces) {
            tEncoder.setUnmappable(eUnmappable);
            const std::string sUtf8 = toUtf8(sPiece);
            for (std::string_view s = sUtf8; !s.empty();)
                s.remove_prefix(tEncoder.encodePiece(r, s));
        }
        tEncoder.finish(r);
    });
}

std::string encoded(std::wstring_view sCharset, const std::vector<std::wstring_view>& rPieces,
                    EUnmappable eUnmappable = EUnmappable::kQuestionMark) {
    return encoded(CharacterSet::find(sCharset), rPieces, eUnmappable);
}

std::wstring decoded(const Handle<const CharacterSet>& hCharset, std::string_view sBytes) {
    return filled<wchar_t>(
        [&](WideStringBufferBase& r) { UniversalTranscoding(hCharset).decode(r, sBytes); });
}

std::wstring decoded(std::wstring_view sCharset, std::string_view sBytes) {
    return decoded(CharacterSet::find(sCharset), sBytes);
}

/// Every label that ICU knows. A name of its own that has options cannot be a label.
std::vector<std::wstring> icuLabels() {
    std::vector<std::wstring> tLabels;
    UErrorCode eError = U_ZERO_ERROR;
    for (std::int32_t n = 0; n < ucnv_countAvailable(); ++n) {
        const char* const pName = ucnv_getAvailableName(n);
        for (std::uint16_t i = 0; i < ucnv_countAliases(pName, &eError); ++i) {
            const std::string_view sAlias = ucnv_getAlias(pName, i, &eError);
            tLabels.emplace_back(sAlias.begin(), sAlias.end());
        }
    }
    return tLabels;
}

/// Whether each character has become itself or a question mark.
bool isReadable(std::wstring_view sDecoded, std::wstring_view sText) {
    return std::equal(sDecoded.begin(), sDecoded.end(), sText.begin(), sText.end(),
                      [](wchar_t cDecoded, wchar_t c) { return cDecoded == c || cDecoded == L'?'; });
}

TEST(TextEncoder, EncodesTextAtEveryCutAsTheWholeForEveryLabelOfIcu) {
    // Letters of many scripts, what is invisible, what joins with its neighbour, and what nobody has.
    const std::wstring sText =
        L"a\u00ca\u0304\u0428\u05d0\u0e01\u200d\u65e5\uac00\ufe0f\u3042b\U0001f600\u20ac\u672c\u00e9"
        L"\U00020021z";
    const std::wstring_view s = sText;
    std::size_t nAccepted = 0;
    for (const std::wstring& sLabel : icuLabels()) {
        Handle<const CharacterSet> hCharset;
        try {
            hCharset = CharacterSet::find(sLabel);
        } catch (const CharacterSet::UnknownCharset&) {
            continue;
        }
        ++nAccepted;
        EXPECT_EQ(hCharset->getEncodingLabel(), sLabel);
        const bool bHasAscii = decoded(sLabel, encoded(hCharset, {L"A?"})) == L"A?";
        for (const auto eUnmappable : {EUnmappable::kQuestionMark, EUnmappable::kCharacterReference}) {
            const std::string sWhole = encoded(hCharset, {s}, eUnmappable);
            for (std::size_t n = 1; n < s.size(); ++n)
                ASSERT_EQ(encoded(hCharset, {s.substr(0, n), s.substr(n)}, eUnmappable), sWhole)
                    << toUtf8(sLabel) << ' ' << n;
            const std::wstring sDecoded = decoded(sLabel, sWhole);
            EXPECT_TRUE(!bHasAscii || isReadable(sDecoded, s) || sDecoded.find(L"&#65039;") != sDecoded.npos)
                << toUtf8(sLabel) << ' ' << toUtf8(sDecoded);
        }
    }
    EXPECT_GT(nAccepted, 700u);
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
        {L"UTF8", "A\xE3\x81\x82\xF0\x9F\x98\x80"},
        {L"shift_jis", "A\x82\xA0?"},
        {L"chinese", "!!$\"!!"},  // two bytes each, no question mark
        {L"ISO-2022-JP", "A\x1B$B$\"\x1B(B?"},
    };
    for (const auto& r : kpCases)
        EXPECT_EQ(encoded(r.pCharset, {sText}), r.sBytes) << toUtf8(r.pCharset);
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
        EXPECT_EQ(toUtf8(decoded(r.pCharset, r.sBytes)), toUtf8(r.sText)) << toUtf8(r.pCharset);
}

std::vector<std::wstring> words(const wchar_t* pText) {
    std::wistringstream tText(pText);
    return {std::istream_iterator<std::wstring, wchar_t>(tText), {}};
}

TEST(CharacterSet, KeepsTheLabelAsItWasAskedFor) {
    EXPECT_EQ(CharacterSet::find(L"utf-8"), CharacterSet::utf8());
    for (const wchar_t* const pLabel : {L"UTF-8", L"utf8", L"latin1", L"ISO_8859-1:1987", L"KOI8.R+"})
        EXPECT_EQ(CharacterSet::find(pLabel)->getEncodingLabel(), pLabel);
}

TEST(CharacterSet, IsTheSameByAnyOfItsLabels) {
    struct {
        const wchar_t *pOne, *pOther;
        bool bSame;
    } const kpCases[] = {
        {L"utf-8", L"UTF8", true},
        {L"utf-16", L"UTF16", true},
        {L"latin1", L"ISO-8859-1", true},
        {L"utf-16", L"utf-16le", false},
        {L"unicode", L"unicodeFFFE", false},
        {L"latin1", L"latin2", false},
        {L"iso-2022-kr", L"csISO2022KR", true},
    };
    for (const auto& r : kpCases)
        EXPECT_EQ(CharacterSet::find(r.pOne)->isSameAs(*CharacterSet::find(r.pOther)), r.bSame)
            << toUtf8(r.pOne);
}

TEST(CharacterSet, RefusesLabelsThatNameNothingOrNothingForHttp) {
    auto tLabels = words(
        L"no-such-charset utf-8,x ../iso88591 \u00FCtf-8 koi8-r\";= (utf8\"; utf-7 ibm-037 ibm-930 "
        L"imap-mailbox-name cp803 ebcdic-cp-us scsu bocu-1 hz-gb-2312 lmbcs-1 x-iscii-de "
        L"x11-compound-text COMPOUND_TEXT");
    for (const wchar_t* const pLabel : {L"", L"utf-8\n", L"utf 8"})
        tLabels.emplace_back(pLabel);
    tLabels.emplace_back(10000, L'x');
    tLabels.emplace_back(1, wchar_t{-23});
    for (const std::wstring& sLabel : tLabels)
        EXPECT_THROW(CharacterSet::find(sLabel), CharacterSet::UnknownCharset) << toUtf8(sLabel);
}

TEST(CharacterSet, MeansByTheLabelsOfClientsWhatBrowsersDo) {
    struct {
        const wchar_t* pLabel;
        std::string sBytes;
        const wchar_t* pText;
    } const kpCases[] = {
        {L"utf8", "\xC3\xA9", L"\u00e9"},
        {L"ISO-8859-1", "\x80", L"\u20ac"},
        {L"us-ascii", "\x80", L"\u20ac"},
        {L"latin5", "\x80", L"\u20ac"},
        {L"gb2312", "\x81\x40\x80", L"\u4e02\u20ac"},
        {L"gb18030", "\x81\x30\x81\x30", L"\u0080"},
        {L"euc-kr", "\x81\x41", L"\uac02"},
        {L"shift_jis", "\x87\x40", L"\u2460"},
        {L"tis-620", "\x85", L"\u2026"},
        {L"big5", "\x87\x40", L"\u43f0"},
        {L"utf-16", std::string("A\0", 2), L"A"},
        {L"utf-16be", std::string("\0A", 2), L"A"},
    };
    for (const auto& r : kpCases) {
        const auto hCharset = CharacterSet::findForClient(r.pLabel);
        EXPECT_EQ(hCharset->getEncodingLabel(), r.pLabel);
        EXPECT_EQ(decoded(hCharset, r.sBytes), r.pText) << toUtf8(r.pLabel);
    }
    for (const std::wstring& sLabel :
         words(L"866 l2 l3 l4 cyrillic arabic greek visual l6 iso885913 iso885914 l9 koi koi8-ru mac cp1250 "
               L"cp1251 "
               L"cp1253 cp1255 cp1256 cp1257 cp1258 x-mac-ukrainian x-euc-jp csiso2022jp"))
        EXPECT_NO_THROW(CharacterSet::findForClient(sLabel)) << toUtf8(sLabel);
    for (const std::wstring& sLabel : words(L"8859-2 no-such utf-32 ibm-1252 utf-7 iso-2022-kr hz-gb-2312 "
                                            L"x-user-defined iso-8859-16 replacement"))
        EXPECT_THROW(CharacterSet::findForClient(sLabel), CharacterSet::UnknownCharset) << toUtf8(sLabel);
    EXPECT_THROW(CharacterSet::findForClient(L"utf-8 utf8"), CharacterSet::UnknownCharset);
}

}  // namespace
