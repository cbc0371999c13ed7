#include "exchange/filestore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "exchange/storefiles.h"
#include "zq/httpstream/unicodebuffer.h"

namespace sample {

namespace {

/// A name is linked this long, at the most, before its data, in seconds.
constexpr std::time_t knOrphanAge = 600;

/// The text of a small file; empty when it cannot be read.
ZQWString readName(int nDirectory, const std::string& sName) {
    const Descriptor tFile(openat(nDirectory, sName.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    NarrowStringBuffer tBytes;
    std::array<char, 512> tChunk;
    for (ssize_t n = 0; (n = read(tFile.get(), tChunk.data(), tChunk.size())) > 0;)
        tBytes.append(tChunk.data(), static_cast<std::size_t>(n));
    return fromUtf8(tBytes.view());
}

void checkNameless(const Descriptor& rDirectory, const std::string& sPath) {
    try {
        storefiles::makeNameless(rDirectory.get());
    } catch (const std::system_error& e) {
        throw std::system_error(e.code(), "no files can be kept in " + sPath +
                                              ", which must be writable, on a file system that supports "
                                              "O_TMPFILE (name another directory in SAMPLE_FILES)");
    }
}

}  // namespace

FileStore::FileStore() {
    // Nothing changes the environment of a server that starts.
    const char* pConfigured = std::getenv("SAMPLE_FILES");  // NOLINT(concurrency-mt-unsafe)
    std::string sPath = pConfigured ? pConfigured : "";
    if (sPath.empty())
        sPath = m_tTemporary.emplace().getPath();
    else
        std::filesystem::create_directories(sPath);
    m_tDirectory = Descriptor(::open(sPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_tDirectory) storefiles::fail("cannot open the directory " + sPath);
    checkNameless(m_tDirectory, sPath);
    removeOrphans();
}

/// A process that is killed between the two links of a file leaves its name.
void FileStore::removeOrphans() const {
    for (const std::string& sId : storefiles::listIds(getDirectory(), storefiles::s_ksName)) {
        struct stat tName {
        }, tData{};
        if (fstatat(getDirectory(), (sId + storefiles::s_ksData).c_str(), &tData, AT_SYMLINK_NOFOLLOW) == 0)
            continue;
        const std::string sName = sId + storefiles::s_ksName;
        const bool bThere = fstatat(getDirectory(), sName.c_str(), &tName, AT_SYMLINK_NOFOLLOW) == 0;
        if (bThere && tName.st_mtim.tv_sec < std::time(nullptr) - knOrphanAge)
            unlinkat(getDirectory(), sName.c_str(), 0);
    }
}

std::size_t FileStore::count() const {
    return storefiles::listIds(getDirectory(), storefiles::s_ksData).size();
}

std::vector<StoredFile> FileStore::list() const {
    std::vector<StoredFile> tFiles;
    for (const std::string& sId : storefiles::listIds(getDirectory(), storefiles::s_ksData)) {
        StoredFile tFile;
        if (!openId(sId, tFile)) continue;
        tFile.tContent = Descriptor();
        tFiles.push_back(std::move(tFile));
    }
    std::sort(tFiles.begin(), tFiles.end(), [](const StoredFile& a, const StoredFile& b) {
        return std::tie(b.tTime.tv_sec, b.tTime.tv_nsec) < std::tie(a.tTime.tv_sec, a.tTime.tv_nsec);
    });
    return tFiles;
}

bool FileStore::open(std::wstring_view sId, StoredFile& rFile) const {
    const std::string sKnown = storefiles::toId(sId);
    return !sKnown.empty() && openId(sKnown, rFile);
}

bool FileStore::openId(const std::string& sId, StoredFile& rFile) const {
    Descriptor tContent(openat(getDirectory(), (sId + storefiles::s_ksData).c_str(),
                               O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat tStatus {};
    if (!tContent || fstat(tContent.get(), &tStatus) != 0 || !S_ISREG(tStatus.st_mode)) return false;
    rFile.sId = sId;
    rFile.sName = readName(getDirectory(), sId + storefiles::s_ksName);
    rFile.nSize = static_cast<std::uint64_t>(tStatus.st_size);
    rFile.tTime = tStatus.st_mtim;
    rFile.tContent = std::move(tContent);
    return true;
}

bool FileStore::remove(std::wstring_view sId) const {
    const std::string sKnown = storefiles::toId(sId);
    return !sKnown.empty() && storefiles::unlinkFile(getDirectory(), sKnown);
}

}  // namespace sample
