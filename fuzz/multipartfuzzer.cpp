// However a multipart body comes in and however it is read, its parts and its error are the same, and no part
// of it is delivered twice. The first line of the text is the boundary.

#include "fuzzinput.h"
#include "support/multipartbody.h"

using fuzz::require;

namespace {

/// Bodies up to this length are cut at every place.
constexpr std::size_t knMostForAllCuts = 64;

std::size_t countContent(const test::MultipartOutcome& rOutcome) {
    std::size_t nBytes = 0;
    for (const std::string& sContent : rOutcome.tContents)
        nBytes += sContent.size();
    return nBytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    fuzz::FuzzInput tInput(pData, nSize);
    const std::size_t nReadSize = tInput.takeSizes(1, 40)[0];
    std::vector<std::size_t> tPieces = tInput.takeSizes(4, 40);
    const ZQWString sBoundary = fromUtf8(tInput.takeLine());
    const std::string_view sBody = tInput.getText();

    const MultipartLimits::Values tSmall = {100, 4, 6, 30};
    const auto readIn = [&](std::vector<std::size_t> tSizes, std::size_t nRead) {
        const Handle<InputStream> hInput(new test::PiecewiseInput(sBody, std::move(tSizes)));
        return test::readMultipart(hInput, sBoundary, nRead, tSmall);
    };
    const test::MultipartOutcome tWhole = readIn({test::knWhole}, 512);
    require(tWhole == readIn({1}, 512), "the same byte by byte");
    require(tWhole == readIn(tPieces, nReadSize), "the same in pieces");
    require(tWhole == readIn(std::move(tPieces), 16384), "the same past the reader's own buffer");
    for (std::size_t n = 1; sBody.size() <= knMostForAllCuts && n < sBody.size(); ++n)
        require(tWhole == readIn({n, test::knWhole}, 512), "the same in two pieces");
    require(countContent(tWhole) <= sBody.size(), "no more than there is");
    return 0;
}
