#include <cstdlib>

#include "samplefixture.h"

namespace {

/// Checks a long export as it comes and keeps none of it.
class ExportSink final : public kiv::HttpResponseProvider {
public:
    std::size_t nChunks = 0, nWrongNumbers = 0, nBytes = 0;
    unsigned int nStatus = 0;  ///< of an error
    bool bEnded = false;
    HttpApplication* pToStop = nullptr;  ///< told to shut down after the third chunk

    void setStatusCode(unsigned int) override {}
    void setErrorStatusCode(unsigned int n) override { nStatus = n; }
    void setContentLength(std::size_t) override {}
    void addHeader(const char*, std::size_t, const char*, std::size_t) override {}
    void clearHeaders() override {}
    EResponseCode commitHeaders() override { return kRCOK; }
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override {
        const std::string sNumber(static_cast<const char*>(pData), 20);
        if (std::strtoull(sNumber.c_str(), nullptr, 10) != nChunks) ++nWrongNumbers;
        nBytes += nLength;
        if (++nChunks == 3 && pToStop) pToStop->startShutdown();
        return kRCOK;
    }
    EResponseCode endResponse(const void*, std::size_t nLength) override {
        nBytes += nLength;
        bEnded = true;
        return kRCOK;
    }
};

class SampleExport : public testing::Test, protected SampleFixture {
protected:
    void run(const std::string& sSize) {
        FakeRequestProvider tRequest;
        tRequest.tVariables["URL"] = "/export";
        tRequest.sQuery = "gib=" + sSize;
        tServer.processRequest(tRequest, tSink);
    }
    ExportSink tSink;
};

TEST_F(SampleExport, AGibibyteArrivesWhole) {
    run("1");
    EXPECT_EQ(tSink.nBytes, std::size_t{1} << 30);
    EXPECT_EQ(tSink.nWrongNumbers, 0u);
    EXPECT_TRUE(tSink.bEnded);
}

TEST_F(SampleExport, AStoppingServerDoesNotMakeItLookWhole) {
    tSink.pToStop = pApplication.get();
    EXPECT_THROW(run("9999"), Exception);
    EXPECT_EQ(tSink.nChunks, 3u);
    EXPECT_FALSE(tSink.bEnded);
}

TEST_F(SampleExport, SizesThatAreNoneAreRefused) {
    for (const std::string sSize : {"", "0", "-1", "10000", "99999999999999999999", "1e3", " 1", "%D9%A1"}) {
        run(sSize);
        EXPECT_EQ(tSink.nStatus, 400u) << sSize;
        EXPECT_EQ(tSink.nChunks, 0u) << sSize;
    }
}

}  // namespace
