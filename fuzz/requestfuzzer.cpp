// However a connection's bytes are divided, the same requests come of them, with the same bodies, and the
// same refusal; another parser reads the same in every head that is accepted; and no body holds more than was
// sent.

#include "fuzzinput.h"
#include "webcontainer/inputfeeder.h"
#include "webcontainer/secondopinion.h"

using fuzz::require;

namespace {

/// Bytes up to this length are cut at every place.
constexpr std::size_t knMostForAllCuts = 64;

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
Outcome feed(std::string_view sBytes, const std::vector<std::size_t>& rSizes,
             const webcontainer::MethodRules& rMethods) {
    test::InputFeeder tFeeder(smallLimits(), rMethods);
    for (std::size_t n = 0; !sBytes.empty(); n += n + 1 < rSizes.size()) {
        tFeeder.feed(sBytes.substr(0, rSizes[n]));
        tFeeder.park();
        sBytes.remove_prefix(std::min(rSizes[n], sBytes.size()));
    }
    return {tFeeder.answers(), tFeeder.isClosed(), !tFeeder.isClosed() && tFeeder.isWithinRequest()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    fuzz::FuzzInput tInput(pData, nSize);
    const std::size_t nRules = tInput.takeNumber(7);
    const webcontainer::MethodRules tMethods = {(nRules & 1) == 0, (nRules & 2) != 0, (nRules & 4) == 0};
    const std::vector<std::size_t> tSizes = tInput.takeSizes(4, 100);
    const std::string_view sBytes = tInput.getText();
    const Outcome tWhole = feed(sBytes, {sBytes.size()}, tMethods);
    require(tWhole == feed(sBytes, {1}, tMethods), "the same byte by byte");
    require(tWhole == feed(sBytes, tSizes, tMethods), "the same in pieces");
    for (std::size_t n = 1; sBytes.size() <= knMostForAllCuts && n < sBytes.size(); ++n)
        require(tWhole == feed(sBytes, {n, sBytes.size()}, tMethods), "the same in two pieces");
    require(test::agree(sBytes, tSizes[0], smallLimits()), "the other parser agrees");
    std::size_t nSeen = 0;
    for (const std::string& sAnswer : tWhole.tAnswers)
        nSeen += sAnswer.size();
    require(nSeen <= 2 * sBytes.size() + 20 * tWhole.tAnswers.size() + 10, "no more than was sent");
    return 0;
}
