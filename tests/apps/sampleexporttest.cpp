#include "samplefixture.h"

namespace {

class SampleExport : public testing::Test, protected SampleFixture {
protected:
    /// Checks the export as it comes and keeps none of it.
    void run(const std::string& sSize) {
        tResponse = tHost.run({.sTarget = "/export?gib=" + sSize,
                               .fOnBody = [this](std::string_view sBytes) { take(sBytes); },
                               .bRecords = false});
        EXPECT_THAT(tResponse, KeepsContract());
    }
    std::size_t nChunks = 0, nWrongNumbers = 0, nBytes = 0;
    bool bStops = false;  ///< the server, after the third chunk

private:
    void take(std::string_view sBytes) {
        nBytes += sBytes.size();
        if (sBytes.empty()) return;
        if (std::strtoull(std::string(sBytes.substr(0, 20)).c_str(), nullptr, 10) != nChunks) ++nWrongNumbers;
        if (++nChunks == 3 && bStops) tHost.startShutdown();
    }
};

TEST_F(SampleExport, AGibibyteArrivesWhole) {
    run("1");
    EXPECT_EQ(nBytes, std::size_t{1} << 30);
    EXPECT_EQ(nWrongNumbers, 0u);
    EXPECT_THAT(tResponse, IsWhole());
}

TEST_F(SampleExport, AStoppingServerDoesNotMakeItLookWhole) {
    bStops = true;
    run("9999");
    EXPECT_THAT(tResponse, IsAborted(testing::_));
    EXPECT_EQ(nChunks, 3u);
    EXPECT_FALSE(tResponse.bEnded);
}

}  // namespace
