#include "connectionrecords.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace test {

namespace {

std::string unescape(const std::string& s) {
    std::string sBytes;
    for (std::size_t n = 0; n < s.size(); ++n) {
        if (s[n] != '\\') {
            sBytes += s[n];
            continue;
        }
        const char c = s.at(++n);
        if (const std::size_t nPlain = std::string("rnt\\").find(c); nPlain != std::string::npos) {
            sBytes += "\r\n\t\\"[nPlain];
        } else if (c == 'x') {
            sBytes += static_cast<char>(std::stoul(s.substr(n + 1, 2), nullptr, 16));
            n += 2;
        } else if (c == '{') {
            const std::size_t nStar = s.find('*', n);
            const std::size_t nEnd = s.find('}', nStar);
            const std::string sRepeated = unescape(s.substr(nStar + 1, nEnd - nStar - 1));
            for (unsigned long nTimes = std::stoul(s.substr(n + 1)); nTimes > 0; --nTimes)
                sBytes += sRepeated;
            n = nEnd;
        } else {
            throw std::runtime_error("no such escape: " + s);
        }
    }
    return sBytes;
}

void readLine(const std::string& sLine, ConnectionRecord& rRecord) {
    const std::string sText = sLine.size() < 2 ? "" : sLine.substr(2);
    if (sLine[0] == '>')
        rRecord.sBytes += unescape(sText);
    else if (sLine[0] == '<')
        rRecord.tAnswers.push_back(unescape(sText));
    else if (sLine == "% Head off")
        rRecord.tMethods.bHead = false;
    else if (sLine == "% MethodNotAllowed on")
        rRecord.tMethods.bStrict = true;
    else if (sLine == "! open" || sLine == "! closed" || sLine == "! cut")
        rRecord.eEnd = sText == "open"     ? ConnectionRecord::EEnd::kOpen
                       : sText == "closed" ? ConnectionRecord::EEnd::kClosed
                                           : ConnectionRecord::EEnd::kCut;
    else
        throw std::runtime_error("no such line: " + sLine);
}

}  // namespace

std::vector<ConnectionRecord> readConnectionRecords(const char* pFolder) {
    std::vector<ConnectionRecord> tRecords;
    for (const auto& rEntry : std::filesystem::directory_iterator(pFolder)) {
        if (rEntry.path().extension() != ".txt") continue;
        std::ifstream tFile(rEntry.path());
        for (std::string sLine; std::getline(tFile, sLine);) {
            if (sLine.starts_with("= "))
                tRecords.push_back({rEntry.path().stem().string() + ": " + sLine.substr(2), {}, {}, {}});
            else
                readLine(sLine, tRecords.at(tRecords.size() - 1));
        }
    }
    return tRecords;
}

}  // namespace test
