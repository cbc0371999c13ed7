#include "zq/httpstream/httputils.h"

#include <gmock/gmock.h>

#include "support/recorders.h"
#include "zq/foundation/i18nutils.h"

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
    LogRecorder tLog(kSevDebug);
    ZQWString sResult;
    const UniversalTranscoding tLatin1(CharacterSet::find(L"windows-1252"));
    HttpUtils::convertHttpInputToUnicode(tLatin1, L"price", "\x80 1", sResult);
    EXPECT_EQ(sResult, L"\x20AC 1");
    HttpUtils::convertHttpInputToUnicode(Doubling(), L"price", "12", sResult);
    EXPECT_EQ(sResult, L"1122");
    HttpUtils::convertHttpInputToUnicode(I18NUtils::kUTF8, L"price", "\xE2\x82\xAC", sResult);
    EXPECT_STREQ(sResult.c_str(), L"\x20AC");
    EXPECT_EQ(sResult.length(), 1U);
    HttpUtils::convertHttpInputToUnicode(I18NUtils::kUTF8, L"price", "", sResult);
    EXPECT_TRUE(sResult.empty());
    EXPECT_THAT(tLog.takeEntries(), IsEmpty());
    HttpUtils::convertHttpInputToUnicode(I18NUtils::kUTF8, L"price", "\x80 1", sResult);
    EXPECT_EQ(sResult, L"\xFFFD 1");
    EXPECT_THAT(tLog.takeEntries(),
                ElementsAre(EndsWith("The parameter \"price\" is not valid in its character set")));
}

}  // namespace
