// Whatever stands in a recording, it is read or refused with the line that is wrong; what was read is written
// so that it reads as the same; and its request, run again, finds a module and a sample application that keep
// to the providers' contract. The text is a recording's, whose checksum and sizes are not looked at.

#include <algorithm>

#include "samplesubject.h"
#include "zq/memoryhost/recorded.h"

using fuzz::require;

namespace {

/// Calls that one line may stand for here; a server can have made any number.
constexpr std::size_t knMostCalls = 1000;

bool isRunnable(const Recording& r) {
    return !r.tRefusal && std::ranges::all_of(r.tEvents, [](const Recording::Event& rEvent) {
        return rEvent.nCalls <= knMostCalls;
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static fuzz::SampleSubject s_tSubject;
    Recording tRecording;
    try {
        tRecording = Recording::read({reinterpret_cast<const char*>(pData), nSize}, true);
    } catch (const Recording::Unreadable& e) {
        require(std::string_view(e.what()).starts_with("line "), "the line");
        return 0;
    }
    require(Recording::read(tRecording.write()) == tRecording, "the same recording");
    (void)toMemoryResponse(tRecording);
    if (isRunnable(tRecording)) s_tSubject.run(toMemoryRequest(tRecording));
    return 0;
}
