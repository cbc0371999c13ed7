#include "exchange/temporarydirectory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

namespace sample {

namespace {

namespace fs = std::filesystem;

const std::string s_ksPattern = "sample-files-XXXXXX";

/// The folder of that path, locked; none when it is not this user's, or in use, or gone meanwhile.
kit::Descriptor lockOwn(const std::string& sPath) {
    kit::Descriptor tFolder(open(sPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat tStatus {};
    const bool bLocked = tFolder && flock(tFolder.get(), LOCK_EX | LOCK_NB) == 0;
    // Whoever had the lock before may have removed the folder.
    const bool bOwn = bLocked && lstat(sPath.c_str(), &tStatus) == 0 && tStatus.st_uid == geteuid() &&
                      (tStatus.st_mode & 07777) == 0700;
    return bOwn ? std::move(tFolder) : kit::Descriptor();
}

/// Removes what a store puts there, and the folder, if there is nothing else in it.
void removeStore(const std::string& sPath) {
    std::error_code eIgnored;  // it stays for the next process to remove
    std::vector<fs::path> tFiles;
    for (fs::directory_iterator it(sPath, eIgnored), itEnd; it != itEnd; it.increment(eIgnored))
        if (it->path().extension() == ".data" || it->path().extension() == ".name")
            tFiles.push_back(it->path());
    for (const fs::path& rFile : tFiles)
        fs::remove(rFile, eIgnored);
    fs::remove(sPath, eIgnored);
}

void removeAbandoned(const fs::path& rParent) {
    const std::string sStem = s_ksPattern.substr(0, s_ksPattern.find('X'));
    std::error_code eIgnored;
    for (fs::directory_iterator it(rParent, eIgnored), itEnd; it != itEnd; it.increment(eIgnored)) {
        const std::string sName = it->path().filename();
        if (sName.size() != s_ksPattern.size() || !sName.starts_with(sStem)) continue;
        if (const kit::Descriptor tFolder = lockOwn(it->path())) removeStore(it->path());
    }
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    const fs::path tParent = fs::temp_directory_path();
    removeAbandoned(tParent);
    // Another process that starts now may take the new folder for an abandoned one before it is locked.
    for (int n = 0; n < 10 && !m_tLocked; ++n) {
        m_sPath = tParent / s_ksPattern;
        if (!mkdtemp(m_sPath.data())) break;
        m_tLocked = lockOwn(m_sPath);
    }
    if (!m_tLocked)
        throw std::system_error(errno, std::generic_category(),
                                "cannot make a folder in " + tParent.string());
}

TemporaryDirectory::~TemporaryDirectory() {
    removeStore(m_sPath);
}

}  // namespace sample
