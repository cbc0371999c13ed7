// Multipart bodies as real clients sent them, recorded in tests/data/multipart.

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "serverfixture.h"
#include "support/asserttext.h"
#include "support/recorders.h"
#include "zq/foundation/encodingbase64.h"

using testing::ElementsAreArray;

namespace {

using Param = ZQHttpStream::Param;

std::string readData(const std::string& sName) {
    std::ostringstream tContents;
    tContents << std::ifstream(ZQ_TEST_DATA "/multipart/" + sName, std::ios::binary).rdbuf();
    EXPECT_FALSE(tContents.view().empty()) << sName;
    return tContents.str();
}

struct Part {
    std::string sName, sFileName, sContentType, sContent;
    bool bFile = true;

    bool operator==(const Part&) const = default;
    friend void PrintTo(const Part& r, std::ostream* pStream) {
        *pStream << r.sName << " '" << r.sFileName << "' " << r.sContentType << " " << r.bFile << ": "
                 << testing::PrintToString(r.sContent);
    }
};

Part takePart(const Param& rParam) {
    const bool bFile = rParam.eValue == Param::kUseStream;
    Part tPart{toUtf8(rParam.sParamName), bFile ? toUtf8(rParam.sFileName) : "",
               toUtf8(rParam.sParamContentType), bFile ? "" : toUtf8(rParam.sParamValue), bFile};
    char tBuffer[100];
    while (const std::size_t n = rParam.hStream->readBytes(tBuffer, sizeof tBuffer))
        tPart.sContent.append(tBuffer, n);
    return tPart;
}

/// A body that arrives in pieces of nPiece bytes, the first one of nFirst.
std::vector<std::string> cut(const std::string& sBody, std::size_t nFirst, std::size_t nPiece) {
    std::vector<std::string> tPieces{sBody.substr(0, nFirst)};
    for (std::size_t n = nFirst; n < sBody.size(); n += nPiece)
        tPieces.push_back(sBody.substr(n, nPiece));
    return tPieces;
}

std::vector<Part> parse(const std::string& sContentType, const std::vector<std::string>& rPieces) {
    StreamFixture t;
    t.tRequest.tHeaders = {{"Content-Type", sContentType}};
    t.tRequest.tBody = rPieces;
    std::vector<Part> tParts;
    Param tParam;
    for (int n = t.tStream.getFirstParam(tParam, CharacterSet::utf8()); n >= 0;
         n = t.tStream.getNextParam(tParam, CharacterSet::utf8()))
        tParts.push_back(takePart(tParam));
    return tParts;
}

/// As MIME has it: lines of 76 characters (RFC 2045 section 6.8).
std::string base64Lines(std::string_view sBytes) {
    const std::string sLine = test::filled<char>([sBytes](NarrowStringBufferBase& r) {
        const B2NEncodingBase64 tEncoding;
        B2NEncodingBase64::State tState;
        tEncoding.update(tState, r, sBytes);
        tEncoding.finalize(tState, r);
    });
    std::string sLines;
    for (std::size_t n = 0; n < sLine.size(); n += 76)
        sLines += sLine.substr(n, 76) + "\r\n";
    return sLines;
}

TEST(ClientBodies, ComeOutAsTheyWereSent) {
    const std::string sMixed = readData("sent/mixed.bin"), sTable = readData("sent/plain.csv");
    const std::string sBytes = "application/octet-stream", sTitle = "Grüße & 5 €";
    const Part tTitle{"title", "", "", sTitle, false}, tLf{"text", "", "", "line 1\nline 2", false},
        tCrLf{"text", "", "", "line 1\r\nline 2", false}, tMixed{"files", "mixed €.bin", sBytes, sMixed},
        tTable{"files", "plain.csv", "text/csv", sTable}, tQuote{"files", "quo%22te.dat", sBytes, ""};
    const struct {
        std::string sClient;
        std::vector<Part> tParts;
    } tCases[] = {
        {"curl", {tTitle, tLf, tMixed, tTable, tQuote}},
        {"node", {tTitle, tCrLf, tMixed, tTable, tQuote}},
        {"chromium",
         {tTitle, tCrLf, tMixed, tTable, tQuote, {"none", "", sBytes, ""}, {"go", "", "", "yes", false}}},
        {"python",
         {{"title", "", "text/plain", sTitle, false},
          {"text", "", "text/plain", tCrLf.sContent, false},
          tTable,
          {"files", "mixed.bin", sBytes, base64Lines(sMixed)}}},
    };
    for (const auto& rCase : tCases) {
        SCOPED_TRACE(rCase.sClient);
        const std::string sType = readData(rCase.sClient + ".txt"), sBody = readData(rCase.sClient + ".bin");
        EXPECT_THAT(parse(sType, cut(sBody, 1, 1)), ElementsAreArray(rCase.tParts)) << "byte by byte";
        for (std::size_t nFirst = 1; nFirst <= sBody.size(); ++nFirst)
            ASSERT_THAT(parse(sType, cut(sBody, nFirst, sBody.size())), ElementsAreArray(rCase.tParts))
                << "cut at " << nFirst;
    }
}

}  // namespace
