#include "exchange/temporarydirectory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdlib>
#include <exception>
#include <filesystem>

#include "exchange/storefiles.h"

namespace sample {

namespace {

const std::string s_ksPattern = "sample-files-XXXXXX";

/// The directory of that path, locked; none when it is not this user's, or in use, or gone meanwhile.
Descriptor lockOwn(const std::string& sPath) {
    Descriptor tDirectory(open(sPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat tStatus {};
    const bool bLocked = tDirectory && flock(tDirectory.get(), LOCK_EX | LOCK_NB) == 0;
    // Whoever had the lock before may have removed the directory.
    const bool bOwn = bLocked && lstat(sPath.c_str(), &tStatus) == 0 && tStatus.st_uid == geteuid() &&
                      (tStatus.st_mode & 07777) == 0700;
    return bOwn ? std::move(tDirectory) : Descriptor();
}

/// Removes what a store puts there, and the directory, if there is nothing else in it.
void removeStore(const Descriptor& rDirectory, const std::string& sPath) {
    for (const char* pEnding : {storefiles::s_ksData, storefiles::s_ksName})
        for (const std::string& sId : storefiles::listIds(rDirectory.get(), pEnding))
            storefiles::unlinkFile(rDirectory.get(), sId);
    rmdir(sPath.c_str());
}

void removeAbandoned(const std::filesystem::path& rParent) {
    const std::string sStem = s_ksPattern.substr(0, s_ksPattern.find('X'));
    std::error_code eIgnored;
    for (std::filesystem::directory_iterator it(rParent, eIgnored), itEnd; it != itEnd;
         it.increment(eIgnored)) {
        const std::string sName = it->path().filename();
        if (sName.size() != s_ksPattern.size() || !sName.starts_with(sStem)) continue;
        if (const Descriptor tDirectory = lockOwn(it->path())) removeStore(tDirectory, it->path());
    }
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    const std::filesystem::path tParent = std::filesystem::temp_directory_path();
    removeAbandoned(tParent);
    // Another process that starts now may take the new directory for an abandoned one before it is locked.
    for (int n = 0; n < 10 && !m_tLocked; ++n) {
        m_sPath = tParent / s_ksPattern;
        if (!mkdtemp(m_sPath.data())) storefiles::fail("cannot make a directory in " + tParent.string());
        m_tLocked = lockOwn(m_sPath);
    }
    if (!m_tLocked) storefiles::fail("cannot lock a directory in " + tParent.string());
}

TemporaryDirectory::~TemporaryDirectory() {
    try {
        removeStore(m_tLocked, m_sPath);
    } catch (const std::exception&) {
        // It stays for the next process to remove.
    }
}

}  // namespace sample
