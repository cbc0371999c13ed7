#pragma once

#include <chrono>
#include <string>

#include "connections/container.h"
#include "log/accesslog.h"
#include "log/recorder.h"
#include "zq/services/performancecounters.h"

namespace webcontainer {

/// What the admin pages tell of. Everything referred to outlives them.
struct AdminSubject {
    const Container& rContainer;
    const AccessLog* pAccessLog;                   ///< null: there is none
    std::string sVersion;                          ///< of the host
    std::string sModule;                           ///< name and version of the module that answers
    std::chrono::system_clock::time_point tStart;  ///< of the process
    const Recorder* pRecorder = nullptr;           ///< null: there is none

    static constexpr char s_ksDraining[] = "draining";
    static constexpr char s_ksStuck[] = "no worker makes progress";
    static constexpr char s_ksOutOfResources[] = "out of descriptors or memory";

    /// In a word or some; of several troubles the worst.
    const char* getState() const {
        if (rContainer.isDraining()) return s_ksDraining;
        if (rContainer.isStuck()) return s_ksStuck;
        if (rContainer.isOutOfResources()) return s_ksOutOfResources;
        return rContainer.getSaturation().getSinceMs() != 0 ? "saturated" : "serving";
    }
    std::uint64_t countLostLines() const noexcept { return pAccessLog ? pAccessLog->getLost() : 0; }
    /// Of the log.
    static std::uint64_t countLostEntries() {
        const auto tCounter = performance::CounterRegistry::find("Log/LostEntries");
        return tCounter.pValue ? static_cast<std::uint32_t>(tCounter.getValue()) : 0;
    }
};

}  // namespace webcontainer
