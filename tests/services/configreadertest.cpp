#include "zq/services/configreader.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/asserttext.h"
#include "support/temporarydirectory.h"

namespace {

ConfigReader reader(std::string_view sToml) {
    return ConfigReader(ConfigReaderInstance::fromText(sToml, "test.toml"));
}

/// The text of the ConfigError that f throws.
template <class F>
std::string errorOf(F f) {
    try {
        f();
    } catch (const ConfigError& e) {
        const std::unique_ptr<Exception> pClone(e.clone());
        return toUtf8(pClone->getMessageText());
    }
    return "(no error)";
}

constexpr std::string_view s_ksToml = R"(top = 1
most = 4_294_967_295
yes = true
text = " as it st\u00E4nds \n"
texts = ["b", "", "a"]
empty = []
[A]
x = 0x10
[A.B]
C = "deep"
)";

TEST(ConfigReader, ReadsValuesOfEveryType) {
    const ConfigReader r = reader(s_ksToml);
    EXPECT_EQ((ConfigValueExtractor<PathFilter, unsigned int>::extract(r, L"top", 7)), 1u);
    EXPECT_EQ(r.getConfigValue(L"most", 7u), 4294967295u);
    EXPECT_EQ(r.getConfigValue(L"A/x", 7u), 16u);
    EXPECT_TRUE(r.getConfigValue(L"yes", false));
    EXPECT_EQ(r.getConfigValue(L"text", L""), L" as it st\u00E4nds \n");
    EXPECT_EQ(r.getConfigValue(L"A/B/C", ZQWString()), L"deep");
    EXPECT_EQ(r.getConfigValue(L"texts", tl::vector<ZQWString>()), (tl::vector<ZQWString>{L"b", L"", L"a"}));
    EXPECT_TRUE(r.getConfigValue(L"empty", tl::vector<ZQWString>{L"x"}).empty());
    EXPECT_EQ(r.getFileName(), "test.toml");
}

TEST(ConfigReader, TakesDefaultsForAbsentKeys) {
    const ConfigReader r = reader(s_ksToml);
    for (const wchar_t* pKey : {L"none", L"A/none", L"none/x", L"A/B/none", L"", L"/top", L"A/", L"TOP"}) {
        EXPECT_EQ(r.getConfigValue(pKey, 7u), 7u) << toUtf8(pKey);
        EXPECT_TRUE(r.getConfigValue(pKey, true));
        EXPECT_EQ(r.getConfigValue(pKey, L"default"), L"default");
        EXPECT_EQ(r.getConfigValue(pKey, tl::vector<ZQWString>{L"x"}).size(), 1u);
    }
}

TEST(ConfigReader, NamesPlaceKeyAndRemedyOfAWrongValue) {
    const std::string sWrite = "write a whole number from 2 to 9";
    struct {
        const char* pValue;
        std::string sProblem;
    } const kpCases[] = {{"\"10\"", "is a string; "},
                         {"-1", "is -1; "},
                         {"1", "is 1; "},
                         {"10", "is 10; "},
                         {"4294967298", "is 4294967298; "},
                         {"9223372036854775807", "is 9223372036854775807; "},
                         {"1.5", "is a floating-point number; "},
                         {"true", "is a boolean; "},
                         {"[1]", "is an array; "},
                         {"{a = 1}", "is a table; "},
                         {"1979-05-27", "is a date or time; "}};
    for (const auto& [pValue, sProblem] : kpCases) {
        const ConfigReader r = reader(std::string("\n[HTTP]\nMinutes = ") + pValue);
        EXPECT_EQ(errorOf([&] { r.getConfigValue(L"HTTP/Minutes", 5u, 2, 9); }),
                  "test.toml:3: the value of \"HTTP/Minutes\" " + sProblem + sWrite);
    }
    const ConfigReader r = reader("least = 2\nmost = 9\nlarge = 4294967296");
    EXPECT_EQ(r.getConfigValue(L"least", 5u, 2, 9) + r.getConfigValue(L"most", 5u, 2, 9), 11u);
    EXPECT_EQ(errorOf([&] { r.getConfigValue(L"large", 5u); }),
              "test.toml:3: the value of \"large\" is 4294967296; write a whole number from 0 to 4294967295");
}

TEST(ConfigReader, RefusesEveryOtherMismatch) {
    const ConfigReader r = reader("n = 1\ns = \"x\"\ntexts = [\"a\",\n2]");
    EXPECT_EQ(errorOf([&] { r.getConfigValue(L"n", true); }),
              "test.toml:1: the value of \"n\" is a whole number; write true or false");
    EXPECT_EQ(errorOf([&] { r.getConfigValue(L"n", L""); }),
              "test.toml:1: the value of \"n\" is a whole number; write a string");
    EXPECT_EQ(errorOf([&] { r.getConfigValue(L"s", tl::vector<ZQWString>()); }),
              "test.toml:2: the value of \"s\" is a string; write an array of strings");
    EXPECT_EQ(errorOf([&] { r.getConfigValue(L"texts", tl::vector<ZQWString>()); }),
              "test.toml:4: the value of \"texts\" holds a whole number; write an array of strings");
    EXPECT_EQ(errorOf([&] { r.getConfigValue(L"s/deeper/still", 1u); }),
              "test.toml:2: the value of \"s\" is a string; make it a table");
    EXPECT_EQ(errorOf([&] { r.getNames(L"s"); }),
              "test.toml:2: the value of \"s\" is a string; make it a table");
    EXPECT_EQ(errorOf([&] { r.throwBadValue(L"s", ZQWString(L"write 100%% or %1")); }),
              "test.toml:2: the value of \"s\" cannot be used: write 100%% or %1");
    EXPECT_EQ(errorOf([&] { r.throwBadValue(L"none", ZQWString(L"it must be there")); }),
              "test.toml: the value of \"none\" cannot be used: it must be there");
}

TEST(ConfigReader, NamesThePlaceOfASyntaxError) {
    EXPECT_TRUE(
        errorOf([] { reader("a = 1\nb = = 2\n"); }).starts_with("test.toml:2:5: Error while parsing"));
    for (const char* pToml : {"a = 1\na = 2", "a = \"\xFF\"", "[t", "a = \"open\n"})
        EXPECT_TRUE(errorOf([&] { reader(pToml); }).starts_with("test.toml:")) << pToml;
}

TEST(ConfigReader, SaysWhyAFileCannotBeRead) {
    const test::TemporaryDirectory tDirectory;
    EXPECT_EQ(errorOf([&] { ConfigReaderInstance::fromFile(tDirectory.path()); }),
              tDirectory.path() +
                  ": the file cannot be read: Is a directory; name one that exists and may be read");
}

}  // namespace
