#include "zq/httpstream/multipartreader.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "support/multipartbody.h"

namespace {

using test::knWhole;
using test::MultipartOutcome;
using test::PiecewiseInput;

MultipartOutcome read(std::string_view sBody, const ZQWString& sBoundary, std::vector<std::size_t> tPieces,
                      std::size_t nReadSize = 512, const MultipartLimits::Values& rLimits = {}) {
    return test::readMultipart(Handle<InputStream>(new PiecewiseInput(sBody, std::move(tPieces))), sBoundary,
                               nReadSize, rLimits);
}

struct BodyCase {
    const char* pName;
    std::string sBody;  ///< boundary "b"
    std::string sExpected;
};

const std::string s_ksPadding256(256, ' ');
const std::string s_ksMixed = "!The multipart body ends some of its lines in CRLF and some in LF alone.";

const BodyCase s_tBodies[] = {
    {"emptyContentAndNoHeaders", "--b\r\n\r\n\r\n--b\r\n\r\n--b\r\nH:\r\n\r\n\r\n--b--", "{};{};{H=};"},
    {"preambleAndEpilogue", "x--b\r\n--bx\r\n\r\n--b\r\n\r\nhi\r\n--b--\r\n\r\n--b\r\n\r\nno\r\n--b--",
     "{}hi;"},
    {"paddedDelimiters", "--b \t\r\n\r\nhi\r\n--b" + s_ksPadding256 + "\r\n\r\nho\r\n--b-- \r\n",
     "{}hi;{}ho;"},
    {"paddedTooFar", "--b\r\n\r\nhi\r\n--b" + s_ksPadding256 + "\t\r\n--b--",
     "{}hi\r\n--b" + s_ksPadding256 + "\t;"},
    {"bareLineFeeds", "x\r\n--b\nH: 1\n\nh\ni\r\n--b\nI: 2\n\n\n--b--\n", "{H=1}h\ni\r;{I=2};"},
    {"bareLineFeedsAreContent", "--b\r\n\r\n\n--b\r\n\r\nx\n--b--\r\n--b\ny\r\n--b--\n\r\n--b--",
     "{}\n--b\r\n\r\nx\n--b--\r\n--b\ny\r\n--b--\n;"},
    {"bareLineFeedBeforeContent", "--b\r\n\r\n--b\n\r\n--b--", "{}--b\n;"},
    {"lineEndsMixed", "--b\n\nhi\n--b\r\n\r\nho\r\n--b--\n", "{}hi;" + s_ksMixed},
    {"lineEndsMixedAtTheFirst", "x\n--b\r\n\r\nhi\r\n--b--", s_ksMixed},
    {"lineEndsMixedInHeaders", "--b\r\n\r\nhi\r\n--b\r\nH: 1\nI: 2\r\n\r\n\r\n--b--", "{}hi;" + s_ksMixed},
    {"lineEndsMixedAfterLineFeeds", "--b\nH: 1\n\r\n\n--b--", s_ksMixed},
    {"lineEndsInContent", "--b\r\n\r\n\r\n\r\r\r\n\n\r\r\n--b--", "{}\r\n\r\r\r\n\n\r;"},
    {"longerBoundaryNested", "--b\r\n\r\n--ba\r\n\r\nx\r\n--ba--\r\n--b--b\r\n--b--",
     "{}--ba\r\n\r\nx\r\n--ba--\r\n--b--b;"},
    {"nearBoundaries", "--b\r\n\r\n\r\n-b\r\n--\r\n--b-\r\n--b-- x\r\n--b \rx\n\r--b\r\n--b--",
     "{}\r\n-b\r\n--\r\n--b-\r\n--b-- x\r\n--b \rx\n\r--b;"},
    {"noClosingDelimiter", "--b\r\n\r\nhi\r\n--b\r\n", "{}hi;"},
    {"cutBehindBoundary", "--b\r\n\r\nhi\r\n--b \r", "{}hi\r\n--b ;!The multipart body ended inside part 1."},
    {"noEmptyLine", "--b\r\nH: 1\r\n--b\r\n--b\r\nI: 2\r\n\r\nhi\r\n--b--", "{H=1};{I=2}hi;"},
    {"nothingBetweenDelimiters", "--b\r\n\r\nhi\r\n--b\r\n--b--\r\n", "{}hi;"},
    {"noParts", "--b--\r\n\r\n--b\r\n\r\nhi\r\n--b--", ""},
    {"noDelimiter", "hi\r\n--", ""},
    {"headers",
     "--b\r\ncontent-DISPOSITION :form-data; \r\n\tname=x\r\n  ;a \r\nCONTENT-type:\ttext/plain \r\nOther: "
     "a:b\r\n"
     "no colon\r\nContent-Type: later\r\n: no name\r\n\r\n--b--",
     "{=no name|Content-Disposition=form-data; \tname=x  ;a|Content-Type=text/plain|Other=a:b};"},
    {"cutInContent", "--b\r\n\r\nhi\r\n--b\r\n\r\nho\r\n--",
     "{}hi;{}ho;!The multipart body ended inside part 2."},
    {"cutInClosingDelimiter", "--b\r\n\r\nhi\r\n--b-",
     "{}hi\r\n--b-;!The multipart body ended inside part 1."},
    {"cutBeforeContent", "--b\r\n\r\n", "{};!The multipart body ended inside part 1."},
    {"cutInHeaders", "--b\r\n\r\nhi\r\n--b\r\nH: 1", "{}hi;!The multipart body ended inside part 2."},
};

class MultipartBodies : public testing::TestWithParam<BodyCase> {};
INSTANTIATE_TEST_SUITE_P(, MultipartBodies, testing::ValuesIn(s_tBodies),
                         [](const auto& rInfo) { return std::string(rInfo.param.pName); });

TEST_P(MultipartBodies, AreReadAlikeHoweverTheyComeIn) {
    const auto& [pName, sBody, sExpected] = GetParam();
    for (const std::size_t nReadSize : {1U, 2U, 512U, 16384U}) {
        EXPECT_EQ(read(sBody, L"b", {knWhole}, nReadSize).describe(), sExpected);
        EXPECT_EQ(read(sBody, L"b", {1}, nReadSize).describe(), sExpected);
        for (std::size_t nSplit = 1; nSplit < sBody.size(); ++nSplit)
            EXPECT_EQ(read(sBody, L"b", {nSplit, knWhole}, nReadSize).describe(), sExpected) << nSplit;
    }
}

TEST_P(MultipartBodies, NeverLookWholeWhenCut) {
    const std::string& sBody = GetParam().sBody;
    const MultipartOutcome tWhole = read(sBody, L"b", {knWhole});
    for (std::size_t nCut = 0; nCut < sBody.size(); ++nCut) {
        const std::string sCut = sBody.substr(0, nCut);
        // Behind what looks like the closing delimiter, nobody can tell.
        if (sCut.substr(0, sCut.find_last_not_of(" \r") + 1).ends_with("--b--")) continue;
        MultipartOutcome tCut = read(sCut, L"b", {knWhole});
        if (!tCut.sError.empty() && !tCut.tContents.empty()) tCut.tContents.pop_back();
        ASSERT_LE(tCut.tContents.size(), tWhole.tContents.size()) << nCut;
        EXPECT_TRUE(std::equal(tCut.tContents.begin(), tCut.tContents.end(), tWhole.tContents.begin()))
            << nCut;
    }
}

TEST_P(MultipartBodies, GoOnAfterAFailureOfTheInput) {
    const auto& [pName, sBody, sExpected] = GetParam();
    for (std::size_t nFailing = 0; nFailing <= sBody.size() / 3; ++nFailing) {
        const Handle<InputStream> hInput(new PiecewiseInput(sBody, {3}, nFailing));
        EXPECT_EQ(test::readMultipart(hInput, L"b", nFailing % 2 == 0 ? 1 : 16384).describe(), sExpected)
            << nFailing;
    }
}

TEST(MultipartReaderTest, SkipsWhatIsNotReadAndStaysAtTheEnd) {
    const std::string sBody =
        "--b\r\n\r\n" + std::string(200'000, 'x') + "\r\n--b\r\nH: 1\r\n\r\nhi\r\n--b--\r\n\r\n--b\r\n\r\n";
    MultipartReader tReader(Handle<InputStream>(new PiecewiseInput(sBody)), L"b");
    HeadersN tHeaders;
    char tBuffer[8];
    EXPECT_EQ(tReader.readPart(tBuffer, sizeof tBuffer), 0U);
    EXPECT_EQ(tReader.nextPart(tHeaders), 0U);
    EXPECT_EQ(tReader.readPart(tBuffer, 0), 0U);
    EXPECT_EQ(tReader.readPart(tBuffer, 5), 5U);
    EXPECT_EQ(tReader.nextPart(tHeaders), 1U);
    EXPECT_EQ(tHeaders, (HeadersN{{"H", "1"}}));
    for (int n = 0; n < 2; ++n) {
        EXPECT_EQ(tReader.nextPart(tHeaders), MultipartReader::knNoPart);
        EXPECT_TRUE(tHeaders.empty());
        EXPECT_EQ(tReader.readPart(tBuffer, sizeof tBuffer), 0U);
    }
}

TEST(MultipartReaderTest, TakesTheLowBytesOfUsableBoundaries) {
    EXPECT_EQ(read("--\xE9\r\n\r\nhi\r\n--\xE9--", L"\xE9", {knWhole}).describe(), "{}hi;");
    const std::string sUnusable = "!The multipart boundary is missing or has a line end in it.";
    for (const wchar_t* pBoundary : {L"", L"a\nb", L"a\rb", L"\x10A"})
        EXPECT_EQ(read("--\n\nhi\n----", pBoundary, {knWhole}).describe(), sUnusable);
    const std::wstring sLongest(250, L'b');
    const std::string sBody = "--" + std::string(250, 'b') + "\n\nhi\n--" + std::string(250, 'b') + "--";
    EXPECT_EQ(read(sBody, ZQWString(sLongest), {1}).describe(), "{}hi;");
    EXPECT_EQ(read(sBody, ZQWString(sLongest + L"b"), {1}).describe(),
              "!The multipart boundary has 251 characters; at most 250 are allowed.");
}

TEST(MultipartReaderTest, EnforcesEachLimitExactly) {
    const std::string sTwoHeaders = "--b\r\nH: 1\r\nI: 2\r\n\r\nhi\r\n", sClosing = "--b--";
    const MultipartLimits::Values tExact{14, 2, 2, 2};
    const std::string sExact = sTwoHeaders + sTwoHeaders;
    const std::pair<std::string, std::string> tCases[] = {
        {sExact, ""},
        {sExact + "--b\r\n\r\n\r\n", "The multipart body has more than 2 parts."},
        {sTwoHeaders + "--b\r\nH: 12345678\r\n\r\n\r\n",
         "Part 2 of the multipart body has more than 14 bytes of headers."},
        {"--b\r\nnever ends its line", "Part 1 of the multipart body has more than 14 bytes of headers."},
        {"--b\r\nA:\r\nB:\r\nC:\r\n\r\n\r\n", "Part 1 of the multipart body has more than 2 headers."},
    };
    for (const auto& [sBody, sError] : tCases)
        for (const std::size_t nPiece : {std::size_t{1}, knWhole})
            EXPECT_EQ(read(sBody + sClosing, L"b", {nPiece}, 512, tExact).sError, sError);
    const std::string sLongFile = "--b\r\nContent-Disposition: x; filename=\"\"\r\n\r\n123\r\n";
    const std::string sLongField = "--b\r\nContent-Disposition: x; name=\"filename\"\r\n\r\n123\r\n";
    EXPECT_EQ(read(sLongFile + sLongField + sClosing, L"b", {knWhole}, 512, {100, 2, 2, 2}).describe(),
              "{Content-Disposition=x; filename=\"\"}123;{Content-Disposition=x; name=\"filename\"}12;"
              "!Part 2 of the multipart body is no file and has more than 2 bytes.");
}

// The delimiter straddles the end of the reader's buffer in every way, among content that looks like it.
TEST(MultipartReaderTest, FindsDelimitersAtTheEndOfItsBuffer) {
    std::string sContent;
    while (sContent.size() < 525'000)
        sContent += "\r\n--be";
    for (std::size_t nSize = 262'110; nSize < 262'160; ++nSize)
        for (const std::size_t nPiece : {std::size_t{1500}, knWhole}) {
            sContent.resize(nSize + (nSize % 2) * 262'144);
            const std::string sPart = "--bd\r\n\r\n" + sContent + "\r\n";
            const auto tOutcome = read(sPart + sPart + "--bd--", L"bd", {nPiece}, 400'000);
            EXPECT_TRUE(tOutcome == (MultipartOutcome{{{}, {}}, {sContent, sContent}, ""})) << nSize;
        }
}

// Anything worse than linear would not come to an end here.
TEST(MultipartReaderTest, TakesTimeInProportionToTheBody) {
    constexpr std::size_t knNearBoundaries = 1'000'000, knParts = 100'000;
    std::string sContent, sParts;
    for (std::size_t n = 0; n < knNearBoundaries; ++n)
        sContent += "\r\n--b  x";
    sContent += "\r\n--b" + std::string(200'000, ' ');
    for (std::size_t n = 0; n < knParts; ++n)
        sParts += "--b\r\n\r\nx\r\n";
    EXPECT_TRUE(read("--b\r\n\r\n" + sContent + "\r\n--b--", L"b", {1}).tContents == std::vector{sContent});
    EXPECT_EQ(read(sParts + "--b--", L"b", {1}, 512, {8192, 32, knParts}).tContents.size(), knParts);
}

/// "|" stands for "--bcx", but no client chooses a boundary that its content has at the beginning of a line.
std::string content(const std::string& s, const std::string& sLineEnd) {
    std::string sContent = sLineEnd;
    for (const char c : s)
        sContent += c != '|' ? std::string(1, c) : sContent.ends_with(sLineEnd) ? "-bcx" : "--bcx";
    return sContent.substr(sLineEnd.size());
}

RC_GTEST_PROP(MultipartReaderTest, GivesBackWhatWasPutTogether, (bool bCrLf)) {
    const std::string sLineEnd = bCrLf ? "\r\n" : "\n";
    const auto tBytes = rc::gen::container<std::string>(rc::gen::elementOf(std::string("\r\n|-x \t")));
    auto tContents = *rc::gen::container<std::vector<std::string>>(tBytes);
    std::string sBody = content(*tBytes, "\n") + sLineEnd;
    for (std::string& rsContent : tContents) {
        rsContent = content(rsContent, sLineEnd);
        sBody += "--bcx" + sLineEnd + "H: 1" + sLineEnd + sLineEnd + rsContent + sLineEnd;
    }
    sBody += "--bcx--";
    auto tPieces = *rc::gen::nonEmpty(
        rc::gen::container<std::vector<std::size_t>>(rc::gen::inRange<std::size_t>(1, 40)));
    const auto tOutcome =
        read(sBody, L"bcx", tPieces,
             *rc::gen::inRange<std::size_t>(1, 40) * *rc::gen::elementOf(std::vector<std::size_t>{1, 16384}));
    const std::vector<HeadersN> tHeaders(tContents.size(), {{"H", "1"}});
    RC_ASSERT(tOutcome == (MultipartOutcome{tHeaders, tContents, ""}));
}

}  // namespace
