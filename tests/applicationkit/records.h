#pragma once

#include <fstream>
#include <sstream>

#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

namespace test {

/// The bytes that \r, \n, \\ and \x00 stand for.
inline std::string unescape(std::string s) {
    for (std::size_t n = 0; (n = s.find('\\', n)) != s.npos; ++n) {
        const char c = s[n + 1];
        const bool bHex = c == 'x';
        const char cByte = bHex       ? static_cast<char>(std::stoi(s.substr(n + 2, 2), nullptr, 16))
                           : c == 'r' ? '\r'
                           : c == 'n' ? '\n'
                                      : c;
        s.replace(n, bHex ? 4 : 2, 1, cByte);
    }
    return s;
}

/// Plays the records of a file of tests/data/applicationkit, whose README.md says what they are.
inline void playRecords(const std::string& sFile, MemoryHost& rHost) {
    const auto fSplit = [](std::string sLine) {
        std::vector<std::string> tParts;
        for (std::size_t n = 0; n != sLine.npos; sLine.erase(0, n == sLine.npos ? n : n + 3)) {
            n = sLine.find(" | ");
            tParts.push_back(sLine.substr(0, n));
        }
        return tParts;
    };
    const auto fAddFields = [](const std::vector<std::string>& rParts, MemoryRequest::Fields& rFields) {
        for (std::size_t n = 1; n < rParts.size(); ++n)
            rFields.emplace_back(rParts[n].substr(0, rParts[n].find(": ")),
                                 rParts[n].substr(rParts[n].find(": ") + 2));
    };
    std::ifstream tFile(TEST_RECORDS "/" + sFile);
    int nPlayed = 0;
    for (std::string sLine; std::getline(tFile, sLine);) {
        const std::size_t nArrow = sLine.find(" => ");
        if (sLine.starts_with('#') || nArrow == sLine.npos) continue;
        SCOPED_TRACE(sLine);
        const std::size_t nBody = std::min(sLine.find(" << "), nArrow);
        const auto tSent = fSplit(sLine.substr(0, nBody)), tExpected = fSplit(sLine.substr(nArrow + 4));
        MemoryRequest tRequest;
        std::istringstream(tSent[0]) >> tRequest.sMethod >> tRequest.sTarget;
        fAddFields(tSent, tRequest.tHeaders);
        if (nBody != nArrow) tRequest.tBody = {unescape(sLine.substr(nBody + 4, nArrow - nBody - 4))};
        const MemoryResponse tResponse = rHost.run(tRequest);
        EXPECT_THAT(tResponse, HasStatus(std::stoul(tExpected[0])));
        EXPECT_THAT(tResponse, IsWhole());
        const std::string sBody = tExpected[0].substr(4);
        if (sBody != "*") {
            EXPECT_THAT(tResponse, HasBody(sBody == "-" ? "" : sBody));
        }
        MemoryRequest::Fields tFields;
        fAddFields(tExpected, tFields);
        for (const auto& [sName, sValue] : tFields)
            EXPECT_THAT(tResponse, HasHeader(sName, sValue));
        for (const char* pName : {"Allow", "Content-Range", "Content-Encoding"})
            EXPECT_EQ(tResponse.getValues(pName).size(),
                      std::ranges::count(tFields, pName, &MemoryRequest::Fields::value_type::first));
        ++nPlayed;
    }
    EXPECT_GT(nPlayed, 0);
}

}  // namespace test
