#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "properties/modelcheck.h"
#include "support/multipartbody.h"
#include "support/recorders.h"
#include "zq/memoryhost/memoryhost.h"

namespace test {
namespace {

constexpr int knSequencesPerRound = 100;  ///< of 100 rounds

/// Streams take their caching from a configuration; the first host loads the default one.
void configure() {
    static const MemoryHost s_tHost(
        [](ZQHttpStream&, const HttpApplicationRequest&) { return HttpApplication::kOK; });
}

RC_GTEST_PROP(StreamModel, AgreesWhateverIsCalledFailsAndThrows, ()) {
    configure();
    AssertionRecorder tAssertions;
    const QuietExceptions tQuiet;
    const auto tCall = rc::gen::map(rc::gen::inRange(0u, StreamCall::knKinds * StreamCall::knValues),
                                    [](unsigned n) { return StreamCall(n); });
    const auto tResult = rc::gen::map(rc::gen::inRange(0, 12), [](int n) {
        return static_cast<StreamModel::EResponseCode>(n < 8 ? 0 : n - 8);
    });
    for (int n = 0; n < knSequencesPerRound; ++n) {
        const auto tCalls = *rc::gen::container<std::vector<StreamCall>>(tCall);
        const auto tResults = *rc::gen::container<std::vector<StreamModel::EResponseCode>>(3, tResult);
        RC_ASSERT(findDifference(tCalls, tResults, *rc::gen::inRange<std::size_t>(0, 60)) == "");
    }
}

}  // namespace
}  // namespace test
