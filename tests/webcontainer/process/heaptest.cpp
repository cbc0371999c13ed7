#include "process/heap.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace test {
namespace {

long residentBytes() {
    long nAll = 0, nResident = 0;
    std::ifstream("/proc/self/statm") >> nAll >> nResident;
    return nResident * ::sysconf(_SC_PAGESIZE);
}

/// Lets a thread allocate and free pieces; returns what it has allocated behind each of them.
std::vector<std::string> takeAndFree(int nPieces, std::size_t nPiece) {
    std::vector<std::string> tPieces, tKept;
    std::thread([&] {
        for (int n = 0; n < nPieces; ++n) {
            tPieces.emplace_back(nPiece, 'x');
            tKept.emplace_back(2000, 'x');
        }
        tPieces.clear();
    }).join();
    return tKept;
}

TEST(Heap, GivesBackWhatABurstTookWhenSomethingWasDone) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers bring a heap of their own";
#endif
    constexpr long knBurst = 600 * 60000;
    webcontainer::Heap tHeap(0), tEarly(60000);
    const long nBefore = residentBytes();
    const auto tKept = takeAndFree(600, 60000);
    const long nTaken = residentBytes() - nBefore;
    tHeap.giveBack(0);
    tEarly.giveBack(1);
    EXPECT_GT(residentBytes() - nBefore, nTaken - knBurst / 5);
    tHeap.giveBack(1);
    EXPECT_LT(residentBytes() - nBefore, nTaken - knBurst * 4 / 5);
}

}  // namespace
}  // namespace test
