#pragma once

#include <string>
#include <vector>

#include "zq/applicationkit/descriptor.h"
#include "zq/foundation/zqexport.h"

namespace kit {

/// A new folder for files of this process, NAMEXXXXXX where temporary files belong (TMPDIR), which only
/// this user may use, and which goes with this object.
///
///     const kit::TemporaryFolder tFolder("shop-bills-", {".pdf"});
///     const std::string sPath = tFolder.getPath() + "/1.pdf";
///
/// It is locked (flock) while it is in use: a process that is killed leaves its folder behind without a
/// lock, and the next one of the same user and name removes it. Only files of the endings given are ever
/// removed, and a folder that holds anything else stays. Failures are std::system_error.
class ZQ_EXPORT TemporaryFolder {
public:
    /// sName: what the folder's name begins with. tEndings: those of the files that will be in it, as
    /// ".data".
    TemporaryFolder(const std::string& sName, std::vector<std::string> tEndings);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& getPath() const noexcept { return m_sPath; }

private:
    void removeAbandoned(const std::string& sParent) const;
    void remove(const std::string& sPath) const;

    const std::string m_sPattern;
    const std::vector<std::string> m_tEndings;
    std::string m_sPath;
    Descriptor m_tLocked;
};

}  // namespace kit
