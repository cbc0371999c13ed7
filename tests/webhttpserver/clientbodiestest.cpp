// Multipart bodies as real clients sent them, recorded in tests/data/multipart.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "serverfixture.h"
#include "support/recorders.h"

namespace {

using Param = ZQHttpStream::Param;

std::string readData(const std::string& sName) {
    std::ostringstream tContents;
    tContents << std::ifstream(ZQ_TEST_DATA "/multipart/" + sName, std::ios::binary).rdbuf();
    EXPECT_FALSE(tContents.view().empty()) << sName;
    return tContents.str();
}

/// "name 'file name' content-type: content" of a file, "name content-type: content" of a field.
std::string describe(const Param& rParam) {
    const bool bFile = rParam.eValue == Param::kUseStream;
    std::string s = toUtf8(rParam.sParamName) + (bFile ? " '" + toUtf8(rParam.sFileName) + "' " : " ") +
                    toUtf8(rParam.sParamContentType) + ": " + (bFile ? "" : toUtf8(rParam.sParamValue));
    char tBuffer[100];
    while (const std::size_t n = rParam.hStream->readBytes(tBuffer, sizeof tBuffer))
        s.append(tBuffer, n);
    return s;
}

/// The parts of a body that arrives in pieces of nPiece bytes, the first one of nFirst.
std::vector<std::string> parse(const std::string& sContentType, const std::string& sBody, std::size_t nFirst,
                               std::size_t nPiece) {
    StreamFixture t;
    t.tRequest.tHeaders = {{"Content-Type", sContentType}};
    t.tRequest.tBody = {sBody.substr(0, nFirst)};
    for (std::size_t n = nFirst; n < sBody.size(); n += nPiece)
        t.tRequest.tBody.push_back(sBody.substr(n, nPiece));
    std::vector<std::string> tParts;
    Param tParam;
    for (int n = t.tStream.getFirstParam(tParam, CharacterSet::utf8()); n >= 0;
         n = t.tStream.getNextParam(tParam, CharacterSet::utf8()))
        tParts.push_back(describe(tParam));
    return tParts;
}

TEST(ClientBodies, ComeOutAsTheyWereSent) {
    const std::string sBytes = "application/octet-stream: ", sText = "line 1\r\nline 2",
                      sTitle = "Grüße & 5 €",
                      sMixed = "files 'mixed €.bin' " + sBytes + readData("sent/mixed.bin"),
                      sTable = "files 'plain.csv' text/csv: " + readData("sent/plain.csv"),
                      sQuote = "files 'quo%22te.dat' " + sBytes;
    const std::pair<std::string, std::vector<std::string>> tCases[] = {
        {"curl", {"title : " + sTitle, "text : line 1\nline 2", sMixed, sTable, sQuote}},
        {"node", {"title : " + sTitle, "text : " + sText, sMixed, sTable, sQuote}},
        {"chromium",
         {"title : " + sTitle, "text : " + sText, sMixed, sTable, sQuote, "none '' " + sBytes, "go : yes"}},
        {"python",
         {"title text/plain: " + sTitle, "text text/plain: " + sText, sTable,
          "files 'mixed.bin' " + sBytes + readData("sent/mixed.base64")}},
    };
    for (const auto& [sClient, tParts] : tCases) {
        const std::string sType = readData(sClient + ".txt"), sBody = readData(sClient + ".bin");
        EXPECT_EQ(parse(sType, sBody, 1, 1), tParts) << sClient;
        for (std::size_t nFirst = 1; nFirst <= sBody.size(); ++nFirst)
            ASSERT_EQ(parse(sType, sBody, nFirst, sBody.size()), tParts) << sClient << nFirst;
    }
}

}  // namespace
