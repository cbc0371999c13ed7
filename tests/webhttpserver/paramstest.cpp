#include <gmock/gmock.h>

#include "serverfixture.h"
#include "support/recorders.h"
#include "zq/httpstream/multiparterrors.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Param = ZQHttpStream::Param;

/// A stream over a multipart request with the boundary "X" that arrives in one piece.
struct ParamsFixture : StreamFixture {
    AssertionRecorder tAssertions;
    Param tParam;

    explicit ParamsFixture(const std::string& sParts,
                           const char* pContentType = "multipart/form-data; boundary=X") {
        if (pContentType) tRequest.tHeaders = {{"Content-Type", pContentType}};
        tRequest.tBody = {sParts.empty() ? "--X--\r\n" : sParts + "\r\n--X--\r\n"};
    }
    int first(const Handle<const CharacterSet>& h = CharacterSet::utf8()) {
        return tStream.getFirstParam(tParam, h);
    }
    int next(const Handle<const CharacterSet>& h = CharacterSet::utf8()) {
        return tStream.getNextParam(tParam, h);
    }
};

std::string part(const std::string& sHeaders, const std::string& sContent) {
    return "--X\r\nContent-Disposition: " + sHeaders + "\r\n\r\n" + sContent;
}

TEST(Params, WhatAPartDoesNotSetStaysAsItWas) {
    ParamsFixture t(
        part("form-data; name=\"a\"", "hi") + "\r\n" +
        part("form-data; name=\"f\"; filename=\"C:\\dir\\x.txt\"\r\nContent-Type: x/y; z=\xC3\xA9", "data") +
        "\r\n" + part("form-data; name=\"b\"", std::string(2000, 'b')));
    EXPECT_GE(t.first(), 0);
    EXPECT_TRUE(t.tParam.sParamContentType.empty());
    EXPECT_GE(t.next(), 0);
    EXPECT_EQ(t.tParam.sFileName, L"x.txt");
    EXPECT_EQ(t.tParam.sParamValue, L"hi") << "a file leaves the value alone";
    EXPECT_EQ(t.tParam.sParamContentType, L"x/y; z=\u00e9");
    EXPECT_GE(t.next(), 0);
    EXPECT_EQ(t.tParam.sParamValue, ZQWString(std::wstring(2000, L'b')));
    EXPECT_EQ(t.tParam.sFileName, L"x.txt") << "a field leaves the file name alone";
    EXPECT_EQ(t.next(), -1);
    EXPECT_EQ(t.tParam.sParamName, L"b") << "the end leaves the record alone";
    EXPECT_THAT(t.tAssertions.takeTexts(), IsEmpty());
}

TEST(Params, FileNamesLoseTheirDirectories) {
    for (const auto& [pSent, pExpected] : {std::pair<const char*, const wchar_t*>{"x", L"x"},
                                           {"/tmp/", L""},
                                           {"", L""},
                                           {"a/b\\c", L"c"},
                                           {"..\\..\\etc", L"etc"},
                                           {"\xE6\x97\xA5.txt", L"\u65e5.txt"}}) {
        ParamsFixture t(part("form-data; name=\"f\"; filename=\"" + std::string(pSent) + "\"", ""));
        EXPECT_GE(t.first(CharacterSet::find(L"iso-8859-1")), 0);
        EXPECT_EQ(t.tParam.sFileName, pExpected);
        EXPECT_EQ(t.tParam.eValue, Param::kUseStream);
    }
}

TEST(Params, CharsetAppliesToValuesAndItsAbsenceIsLoggedForEachPart) {
    const std::string sParts =
        part("form-data; name=\"a\"", "\xE9") + "\r\n" + part("form-data; name=\"b\"", "\xC3\xA9");
    LogRecorder tLog(kSevWarning);
    ParamsFixture tLatin(sParts);
    tLatin.first(CharacterSet::find(L"iso-8859-1"));
    EXPECT_EQ(tLatin.tParam.sParamValue, L"\u00e9");
    EXPECT_THAT(tLog.takeEntries(), IsEmpty());
    ParamsFixture tNone(sParts);
    tNone.first({});
    EXPECT_EQ(tNone.tParam.sParamValue, L"\uFFFD");
    tNone.next({});
    EXPECT_EQ(tNone.tParam.sParamValue, L"\u00e9");
    const std::string sWarning =
        "warning kiv.serverstream.populateparam: A charset was not specified. Falling back to utf-8";
    EXPECT_THAT(tLog.takeEntries(), ElementsAre(sWarning, sWarning));
}

TEST(Params, PartsWithoutANameEndTheEnumeration) {
    ParamsFixture tFile(part("form-data; filename=\"x\"", "data"));
    EXPECT_EQ(tFile.first(), -1);
    EXPECT_EQ(tFile.tParam.sFileName, L"x");
    EXPECT_THAT(tFile.tAssertions.takeTexts(), IsEmpty());

    for (const char* pParts : {"", "--X\r\n\r\ndata"}) {
        ParamsFixture tNothing(pParts);
        tNothing.tParam.sParamContentType = ZQWString(L"before");
        EXPECT_EQ(tNothing.first(), -1);
        EXPECT_TRUE(tNothing.tParam.sParamContentType.empty());
        EXPECT_FALSE(tNothing.tParam.hStream.isNull());
        EXPECT_THAT(tNothing.tAssertions.takeTexts(), ElementsAre("false"));
    }

    ParamsFixture tLater(part("form-data; name=\"a\"", "1") + "\r\n--X\r\nContent-Type: x/y\r\n\r\ndata");
    EXPECT_GE(tLater.first(), 0);
    EXPECT_GE(tLater.next(), 0) << "the record still holds the earlier name";
    EXPECT_THAT(tLater.tAssertions.takeTexts(), ElementsAre("false"));
    EXPECT_EQ(tLater.tParam.sParamContentType, L"x/y");
}

TEST(Params, ErrorsOfTheReaderPass) {
    for (const char* pType :
         {"multipart/form-data; boundary=X", "multipart/form-data", static_cast<const char*>(nullptr)}) {
        ParamsFixture t("", pType);
        t.tRequest.tBody = {"--X\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nhal"};
        EXPECT_THROW(t.first(), MultipartError);
        EXPECT_THROW(t.next(), MultipartError) << "there is an enumeration";
    }
}

TEST(Params, MisuseIsAnException) {
    ParamsFixture t(part("form-data; name=\"a\"", "1") + "\r\n" + part("form-data; name=\"b\"", "2"));
    EXPECT_THROW(t.next(), InvalidHandleException);
    EXPECT_GE(t.first(), 0);
    t.tParam.hStream.reset();
    EXPECT_THROW(t.next(), InvalidHandleException);
    EXPECT_THAT(t.tAssertions.takeTexts(), ElementsAre("!rParam.hStream.isNull()"));
}

TEST(Params, SecondEnumerationGoesOnWithTheUnreadRest) {
    // Larger than what a reader takes at once, so that there is an unread rest.
    ParamsFixture t(part("form-data; name=\"a\"; filename=\"f\"", std::string(300000, 'a')) + "\r\n" +
                    part("form-data; name=\"b\"", "2"));
    EXPECT_GE(t.first(), 0);
    EXPECT_GE(t.first(), 0);
    EXPECT_EQ(t.tParam.sParamName, L"b");
}

}  // namespace
