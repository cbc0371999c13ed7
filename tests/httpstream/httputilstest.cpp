#include "zq/httpstream/httputils.h"

#include <gmock/gmock.h>

#include <tuple>

#include "support/recorders.h"
#include "zq/foundation/i18nutils.h"
#include "zq/httpstream/webcontentformat.h"

namespace {

using namespace testing;

/// A character set with more characters than bytes.
class Doubling final : public Transcoding {
    void decode(WideStringBufferBase& rBuffer, std::string_view s) const override {
        for (const char c : s)
            rBuffer.append(std::wstring(2, static_cast<wchar_t>(c)));
    }
};

TEST(HttpUtilsTest, ConvertsAndNamesTheParameterThatIsNotValid) {
    const UniversalTranscoding tLatin1(CharacterSet::find(L"windows-1252"));
    const Doubling tDoubling;
    const std::tuple<const Transcoding&, const char*, std::wstring> tCases[] = {
        {tLatin1, "\x80 1", L"\x20AC 1"},
        {tDoubling, "12", L"1122"},
        {I18NUtils::kUTF8, "\xE2\x82\xAC", L"\x20AC"},
        {I18NUtils::kUTF8, "", L""},
        {I18NUtils::kUTF8, "\x80 1", L"\xFFFD 1"},
    };
    LogRecorder tLog(kSevDebug);
    ZQWString sResult;
    for (const auto& [rTranscoding, pRaw, sExpected] : tCases) {
        EXPECT_THAT(tLog.takeEntries(), IsEmpty());
        HttpUtils::convertHttpInputToUnicode(rTranscoding, L"price", pRaw, sResult);
        EXPECT_EQ(sResult.view(), sExpected);
        EXPECT_EQ(sResult.empty(), sExpected.empty());
    }
    EXPECT_THAT(tLog.takeEntries(),
                ElementsAre(EndsWith("The parameter \"price\" is not valid in its character set")));
}

TEST(WebContentFormat, IsThatOfTheMediaType) {
    using Format = WebContentFormat;
    for (const auto& [pType, eFormat] : {std::pair{L"TEXT/html ; charset=x", Format::kHTML},
                                         {L"text/xml", Format::kXML},
                                         {L"a/b+XML", Format::kXML},
                                         {L"Text/htm", Format::kText},
                                         {L"text", Format::kUnknown},
                                         {L"", Format::kUnknown}})
        EXPECT_EQ(Format::fromContentType(pType), eFormat) << pType;
    for (const auto eFormat : {Format::kUnknown, Format::kHTML, Format::kXML, Format::kText})
        EXPECT_EQ(Format::fromContentType(Format::getContentType(eFormat)), eFormat);
}

}  // namespace
