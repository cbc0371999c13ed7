// However a multipart body comes in and however it is read, its parts and its error are the same, and no part
// of it is delivered twice.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

#include "support/multipartbody.h"

namespace {

void require(bool bHolds) {
    if (!bHolds) std::abort();
}

std::size_t countContent(const test::MultipartOutcome& rOutcome) {
    std::size_t nBytes = 0;
    for (const std::string& sContent : rOutcome.tContents)
        nBytes += sContent.size();
    return nBytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    FuzzedDataProvider tData(pData, nSize);
    const std::size_t nReadSize = tData.ConsumeIntegralInRange<std::size_t>(1, 40);
    std::vector<std::size_t> tPieces;
    for (int n = 0; n < 4; ++n)
        tPieces.push_back(tData.ConsumeIntegralInRange<std::size_t>(1, 40));
    const std::string sBody = tData.ConsumeRemainingBytesAsString();

    const MultipartLimits::Values tSmall = {100, 4, 6, 30};
    const auto readIn = [&](std::vector<std::size_t> tSizes, std::size_t nRead) {
        const Handle<InputStream> hInput(new test::PiecewiseInput(sBody, std::move(tSizes)));
        return test::readMultipart(hInput, L"b", nRead, tSmall);
    };
    const test::MultipartOutcome tWhole = readIn({test::knWhole}, 512);
    require(tWhole == readIn({1}, 512));
    require(tWhole == readIn(tPieces, nReadSize));
    require(tWhole == readIn(std::move(tPieces), 16384));  // past the reader's own buffer
    require(countContent(tWhole) <= sBody.size());
    return 0;
}
