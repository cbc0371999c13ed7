#include "zq/httpstream/queryparameters.h"

#include <gmock/gmock.h>

#include "support/asserttext.h"
#include "zq/foundation/i18nutils.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// "name=value|name=value"
std::wstring parsed(std::string_view sQuery, const Handle<const CharacterSet>& hCharset = {}) {
    std::wstring sText;
    for (const auto& [sName, sValue] : QueryParameters(sQuery, hCharset))
        sText.append(sText.empty() ? L"" : L"|").append(sName).append(L"=").append(sValue);
    return sText;
}

TEST(QueryParametersTest, ParsesNamesAndValues) {
    const std::pair<const char*, const wchar_t*> tCases[] = {
        {"", L""},
        {"a=1&b=2&a=3", L"a=1|b=2|a=3"},
        {"&&a=1&&", L"a=1"},
        {"a&b=&=c&=", L"a=|b=|=c|="},
        {"a=1=2?3;4", L"a=1=2?3;4"},
        {"a+b%20c=%2B+%26%3d", L"a b c=+ &="},
        {"a=0123456789abcdef+&b=0123456789abcde%41&c=0123456789abcdefg",
         L"a=0123456789abcdef |b=0123456789abcdeA|c=0123456789abcdefg"},
        {"x=%&y=%4&z=%4g%g4%%41&w=%+1", L"x=%|y=%4|z=%4g%g4%A|w=% 1"},
        {"q=%E2%82%AC\xE2\x82\xAC&bad=%E2x", L"q=\x20AC\x20AC|bad=\xFFFDx"},
    };
    for (const auto& [pQuery, pExpected] : tCases)
        EXPECT_EQ(parsed(pQuery), pExpected) << pQuery;
    EXPECT_EQ(parsed("a=%80", CharacterSet::find(L"windows-1252")), L"a=\x20AC");
    EXPECT_EQ(parsed(std::string_view("a=%41", 4)), L"a=%4");
    EXPECT_EQ(parsed("a=%00b"), std::wstring(L"a=\0b", 4));
}

TEST(QueryParametersTest, FindsValuesByName) {
    const QueryParameters tParameters("a=1&b=2&a=3", I18NUtils::kUTF8);
    EXPECT_EQ(*tParameters.find(L"a"), L"1");
    EXPECT_EQ(tParameters.find(L"A"), nullptr);
    EXPECT_EQ(tParameters.get(L"b", L"none"), L"2");
    EXPECT_EQ(tParameters.get(L"c", L"none"), L"none");
    EXPECT_THAT(tParameters.getAll(L"a"), ElementsAre(L"1", L"3"));
    EXPECT_THAT(tParameters.getAll(L"c"), IsEmpty());
}

TEST(QueryParametersTest, AllowsSoManyAndNoMore) {
    EXPECT_EQ(QueryParameters("a&&b", I18NUtils::kUTF8, 2).size(), 2U);
    try {
        QueryParameters("a&b&c", I18NUtils::kUTF8, 2);
        ADD_FAILURE() << "a third parameter was taken";
    } catch (const QueryParameters::TooManyParameters& e) {
        EXPECT_EQ(e.getMessageText(), L"There are more than 2 parameters.");
    }
}

// Anything worse than linear would not come to an end here.
TEST(QueryParametersTest, TakesTimeInProportionToTheQuery) {
    std::string sQuery(3'000'000, '%');
    EXPECT_EQ(parsed(sQuery).size(), sQuery.size() + 1);
    sQuery.clear();
    for (int n = 0; n < 1'000'000; ++n)
        sQuery += "a&";
    EXPECT_EQ(QueryParameters(std::string_view(sQuery), I18NUtils::kUTF8, 1'000'000).size(), 1'000'000U);
}

}  // namespace
