#include "zq/applicationkit/temporaryfolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace kit {

namespace {

namespace fs = std::filesystem;

/// The folder of that path, locked; none when it is not this user's, or in use, or gone meanwhile.
Descriptor lockOwn(const std::string& sPath) {
    Descriptor tFolder(open(sPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat tStatus {};
    const bool bLocked = tFolder && flock(tFolder.get(), LOCK_EX | LOCK_NB) == 0;
    // Whoever had the lock before may have removed the folder.
    const bool bOwn = bLocked && lstat(sPath.c_str(), &tStatus) == 0 && tStatus.st_uid == geteuid() &&
                      (tStatus.st_mode & 07777) == 0700;
    return bOwn ? std::move(tFolder) : Descriptor();
}

}  // namespace

TemporaryFolder::TemporaryFolder(const std::string& sName, std::vector<std::string> tEndings)
    : m_sPattern(sName + "XXXXXX"),
      m_tEndings(std::move(tEndings)) {
    const std::string sParent = fs::temp_directory_path();
    removeAbandoned(sParent);
    // Another process that starts now may take the new folder for an abandoned one before it is locked.
    for (int n = 0; n < 10 && !m_tLocked; ++n) {
        m_sPath = fs::path(sParent) / m_sPattern;
        if (!mkdtemp(m_sPath.data())) break;
        m_tLocked = lockOwn(m_sPath);
    }
    if (!m_tLocked)
        throw std::system_error(errno, std::generic_category(), "cannot make a folder in " + sParent);
}

TemporaryFolder::~TemporaryFolder() {
    remove(m_sPath);
}

void TemporaryFolder::removeAbandoned(const std::string& sParent) const {
    const std::string sStem = m_sPattern.substr(0, m_sPattern.size() - 6);
    std::error_code eIgnored;
    for (fs::directory_iterator it(sParent, eIgnored), itEnd; it != itEnd; it.increment(eIgnored)) {
        const std::string sName = it->path().filename();
        if (sName.size() != m_sPattern.size() || !sName.starts_with(sStem)) continue;
        if (const Descriptor tFolder = lockOwn(it->path())) remove(it->path());
    }
}

void TemporaryFolder::remove(const std::string& sPath) const {
    std::error_code eIgnored;  // what cannot be removed stays for the next process
    std::vector<fs::path> tFiles;
    for (fs::directory_iterator it(sPath, eIgnored), itEnd; it != itEnd; it.increment(eIgnored))
        if (std::ranges::find(m_tEndings, it->path().extension().string()) != m_tEndings.end())
            tFiles.push_back(it->path());
    for (const fs::path& rFile : tFiles)
        fs::remove(rFile, eIgnored);
    fs::remove(sPath, eIgnored);
}

}  // namespace kit
