// Whatever an application calls in whatever order, and whichever call of the host fails or throws, the stream
// does what its model does. The numbers are three results of calls and the index of the call that throws;
// each byte of the text is a call of the application, by its distance from '0'.

#include <optional>

#include "fuzzinput.h"
#include "properties/modelcheck.h"
#include "support/multipartbody.h"
#include "support/recorders.h"
#include "zq/memoryhost/memoryhost.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    // The first host loads the default configuration.
    static const MemoryHost s_tHost(
        [](ZQHttpStream&, const HttpApplicationRequest&) { return HttpApplication::kOK; });
    const test::QuietExceptions tQuiet;
    const AssertionRecorder tAssertions;
    fuzz::FuzzInput tInput(pData, nSize);
    std::vector<test::StreamModel::EResponseCode> tResults;
    while (tResults.size() < 3)
        tResults.push_back(static_cast<test::StreamModel::EResponseCode>(tInput.takeNumber(3)));
    const std::size_t nThrowing = tInput.takeNumber(75) - 1;
    const bool bLogged = tInput.takeNumber(1) == 1;
    std::optional<LogRecorder> tLog;
    if (bLogged) tLog.emplace(kSevInfoMinor);
    std::vector<test::StreamCall> tCalls;
    for (const char c : tInput.getText())
        tCalls.emplace_back(static_cast<unsigned char>(c - '0'));
    fuzz::require(test::findDifference(tCalls, tResults, nThrowing).empty(), "no difference");
    return 0;
}
