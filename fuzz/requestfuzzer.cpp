// However a connection's bytes are divided, the same requests come of them, with the same bodies, and the
// same refusal; another parser reads the same in every head that is accepted; and no body holds more than was
// sent.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

#include "webcontainer/inputfeeder.h"
#include "webcontainer/secondopinion.h"

namespace {

void require(bool bHolds) {
    if (!bHolds) std::abort();
}

/// So small that a few bytes reach them.
webcontainer::Limits smallLimits() {
    using webcontainer::Limits;
    Limits tLimits;
    tLimits.nMaxRequestLineBytes = 64;
    tLimits.nMaxHeadBytes = 256;
    tLimits.nMaxHeaderFields = 6;
    for (unsigned Limits::*pFew :
         {&Limits::nMaxChunkExtensionBytes, &Limits::nMaxTrailerBytes, &Limits::nPrefetchBytes})
        tLimits.*pFew = 30;
    return tLimits;
}

struct Outcome {
    std::vector<std::string> tAnswers;
    bool bClosed;
    bool bWithinRequest;
    bool operator==(const Outcome&) const = default;
};

/// The last size serves for all pieces that follow.
Outcome feed(std::string_view sBytes, const std::vector<std::size_t>& rSizes) {
    test::InputFeeder tFeeder(smallLimits());
    for (std::size_t n = 0; !sBytes.empty(); n += n + 1 < rSizes.size()) {
        tFeeder.feed(sBytes.substr(0, rSizes[n]));
        tFeeder.park();
        sBytes.remove_prefix(std::min(rSizes[n], sBytes.size()));
    }
    return {tFeeder.answers(), tFeeder.isClosed(), !tFeeder.isClosed() && tFeeder.isWithinRequest()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    FuzzedDataProvider tData(pData, nSize);
    std::vector<std::size_t> tSizes;
    for (int n = 0; n < 4; ++n)
        tSizes.push_back(tData.ConsumeIntegralInRange<std::size_t>(1, 100));
    const std::string sBytes = tData.ConsumeRemainingBytesAsString();
    const Outcome tWhole = feed(sBytes, {sBytes.size()});
    require(tWhole == feed(sBytes, {1}));
    require(tWhole == feed(sBytes, tSizes));
    require(test::agree(sBytes, tSizes[0], smallLimits()));
    std::size_t nSeen = 0;
    for (const std::string& sAnswer : tWhole.tAnswers)
        nSeen += sAnswer.size();
    require(nSeen <= 2 * sBytes.size() + 10);
    return 0;
}
