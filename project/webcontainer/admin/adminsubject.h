#pragma once

#include <chrono>
#include <string>

#include "connections/container.h"
#include "log/accesslog.h"

namespace webcontainer {

/// What the admin pages tell of. Everything referred to outlives them.
struct AdminSubject {
    const Container& rContainer;
    const AccessLog* pAccessLog;                   ///< null: there is none
    std::string sVersion;                          ///< of the host
    std::string sModule;                           ///< name and version of the module that answers
    std::chrono::system_clock::time_point tStart;  ///< of the process

    std::uint64_t countLostLines() const noexcept { return pAccessLog ? pAccessLog->getLost() : 0; }
};

}  // namespace webcontainer
