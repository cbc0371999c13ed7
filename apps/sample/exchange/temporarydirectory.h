#pragma once

#include <string>

#include "zq/applicationkit/descriptor.h"

namespace sample {

/// A new folder for files of a store, "sample-files-XXXXXX" where temporary files belong, which goes with this
/// object and all that it holds. It is locked (flock) while it is in use: a process that is killed leaves its
/// folder behind without a lock, and the next one of the same user removes it, if it holds files of a store and
/// no others. Failures are std::system_error.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& getPath() const noexcept { return m_sPath; }

private:
    std::string m_sPath;
    kit::Descriptor m_tLocked;
};

}  // namespace sample
