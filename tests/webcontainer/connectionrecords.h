#pragma once

#include <string>
#include <vector>

#include "http/methodrules.h"

namespace test {

/// What a client sends over one connection and what must come of it, as tests/data/connections/README.md
/// explains.
struct ConnectionRecord {
    enum class EEnd { kOpen, kClosed, kCut };

    std::string sTitle;
    std::string sBytes;
    std::vector<std::string> tAnswers;
    EEnd eEnd = EEnd::kOpen;
    webcontainer::MethodRules tMethods{};
};

/// All records of a folder's files. Throws for what it cannot read.
std::vector<ConnectionRecord> readConnectionRecords(const char* pFolder);

}  // namespace test
