#include "zq/httpstream/httputils.h"

#include <gmock/gmock.h>

#include "support/recorders.h"
#include "zq/foundation/i18nutils.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

TEST(HttpUtilsTest, ConvertsAndNamesTheParameterThatIsNotValid) {
    LogRecorder tLog(kSevDebug);
    ZQWString sResult;
    const UniversalTranscoding tLatin1(CharacterSet::find(L"windows-1252"));
    HttpUtils::convertHttpInputToUnicode(tLatin1, L"price", "\x80 1", sResult);
    EXPECT_EQ(sResult, L"\x20AC 1");
    EXPECT_THAT(tLog.takeEntries(), IsEmpty());
    HttpUtils::convertHttpInputToUnicode(I18NUtils::kUTF8, L"price", "\x80 1", sResult);
    EXPECT_EQ(sResult, L"\xFFFD 1");
    EXPECT_THAT(tLog.takeEntries(),
                ElementsAre(EndsWith("The parameter \"price\" is not valid in its character set")));
}

}  // namespace
