#pragma once

#include <cstdint>

namespace webcontainer {

/// What the process takes of the machine.
struct ProcessUse {
    std::uint64_t nResidentBytes = 0;
    std::uint64_t nDescriptors = 0;
    std::uint64_t nMostDescriptors = 0;
    double nProcessorSeconds = 0;
};

/// Also when no descriptor is left to be opened.
ProcessUse readProcessUse();

}  // namespace webcontainer
