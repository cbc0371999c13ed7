#include "zq/httpstream/multipartparsingutils.h"

#include <gtest/gtest.h>

#include "support/asserttext.h"

namespace {

/// "name=value|name=value"
std::wstring parsed(std::wstring_view sHeader) {
    Headers tAttributes{{L"left", L"over"}};
    MultipartParsingUtils::parseCompositeHeader(ZQWString(sHeader), tAttributes);
    std::wstring sText;
    for (const auto& [sName, sValue] : tAttributes)
        sText.append(sText.empty() ? L"" : L"|").append(sName).append(L"=").append(sValue);
    return sText;
}

TEST(MultipartParsingUtilsTest, ParsesWhatClientsSend) {
    const std::pair<const wchar_t*, const wchar_t*> tCases[] = {
        {L"multipart/form-data; boundary=----WebKit+'()x", L"boundary=----WebKit+'()x"},
        {L"form-data; name=\"a b\"; filename=\"\"", L"filename=|name=a b"},
        {L"form-data; name=\"a;b=c\"; FileName=x", L"filename=x|name=a;b=c"},
        // white space, semicolons, attributes without a value
        {L" ;; form-data ;\tname = \"a\" junk=b ; ; filename\t=  my file.txt \r\n;flag; =nameless",
         L"filename=my file.txt|name=a"},
        {L"name=first; name=second; NAME=\"third\"", L"name=first"},
        {L"form-data; name=; filename", L"name="},
        // backslashes and escapes
        {L"form-data; filename=\"C:\\new\\dir\\x.txt\"", L"filename=C:\\new\\dir\\x.txt"},
        {L"form-data; filename=C:\\dir\\x.txt", L"filename=C:\\dir\\x.txt"},
        {L"form-data; filename=\"\\\\server\\x\"; name=a", L"filename=\\\\server\\x|name=a"},
        {L"form-data; filename=\"a\\\"; b \\\" ;=\\\";c\\\";d e=\\\"f\"; name=c",
         L"filename=a\"; b \" ;=\";c\";d e=\"f|name=c"},
        {L"form-data; name=\"x\\\"; name=y\"", L"name=x\"; name=y"},
        {L"a=\"b\\\"; c=d\"e\"; f=\"g\"", L"a=b\"; c=d|f=g"},
        {L"form-data; filename=\"C:\\\" \t; name=y z;; c = \"d\" ; ", L"c=d|filename=C:\\|name=y z"},
        {L"a=\"b\\\"; c=\"d\\\"\"; e=\"f\\\"; g=\"h\\\"", L"a=b\\|c=d\"|e=f\\|g=h\\"},
        {L"a=\"b\\\"; c=\"d\\\"; e", L"a=b\"; c="},
        {L"a=\"b\\\"; c=\"d", L"a=b\"; c="},
        {L"a=\"b\\\"; =c; d=\"e\"", L"a=b\"; =c; d="},
        {L"a=\"b\\\"; c d=e; f=\"g\"", L"a=b\"; c d=e; f="},
        {L"a=\"b\\\" c; d=\"e\"", L"a=b\" c; d="},
        {L"a=\"b\\\"\" \"", L"a=b\""},
        {L"multipart/form-data, boundary=a,b", L"boundary=a,b"},
        {L"form-data; filename=\"C:\\dir\\\"", L"filename=C:\\dir\\"},
        {L"form-data; name=\"a%22b%\"; filename*=UTF-8''%41", L"filename*=UTF-8''%41|name=a%22b%"},
        // a quote that is never closed, or stands inside a value
        {L"form-data; name=\"a; filename=b", L"name=a; filename=b"},
        {L"form-data; name=\"", L"name="},
        {L"form-data; name=a\"b\"", L"name=a\"b\""},
        // only ASCII letters are folded: U+017F folds to "s" in Unicode
        {L"form-data; N\x17F"
         L"=1; \xC4=2; \xFFFFFFE9=3",
         L"\xFFFFFFE9=3|n\x17F=1|\xC4=2"},
    };
    for (const auto& [pHeader, pExpected] : tCases)
        EXPECT_EQ(parsed(pHeader), pExpected) << toUtf8(pHeader);
}

// Anything worse than linear would not come to an end here.
TEST(MultipartParsingUtilsTest, TakesTimeInProportionToTheHeader) {
    std::wstring sEscapes = L"x; name=\"";
    for (int n = 0; n < 1'000'000; ++n)
        sEscapes += L"\\\";a";
    EXPECT_EQ(parsed(sEscapes).size(), 5 + 3 * 999'999U + 1);
    EXPECT_EQ(parsed(std::wstring(2'000'000, L';') + L"a=b"), L"a=b");
}

}  // namespace
