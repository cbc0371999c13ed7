#include "filestore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <tuple>
#include <utility>

#include "zq/applicationkit/requesterror.h"
#include "zq/httpstream/zqhttpstream.h"

namespace sample {

namespace {

namespace fs = std::filesystem;

constexpr const char *s_ksData = ".data", *s_ksName = ".name";
constexpr std::size_t knIdLength = 32;
/// A name is there this long, at the most, before its data.
constexpr std::chrono::minutes knOrphanAge(10);

bool isId(std::string_view s) noexcept {
    return s.size() == knIdLength && s.find_first_not_of("0123456789abcdef") == s.npos;
}

std::string nextId(const std::string& sId) {
    char tId[knIdLength + 1];
    const unsigned long long nLow = std::stoull(sId.substr(knIdLength / 2), nullptr, 16);
    (void)std::snprintf(tId, sizeof tId, "%.16s%016llx", sId.c_str(), nLow + 1);
    return tId;
}

/// The ids that have a file of that ending.
std::vector<std::string> listIds(const std::string& sFolder, std::string_view sEnding) {
    std::vector<std::string> tIds;
    for (const fs::directory_entry& rEntry : fs::directory_iterator(sFolder)) {
        const std::string sName = rEntry.path().filename();
        const std::string sId = sName.substr(0, knIdLength);
        if (isId(sId) && std::string_view(sName).substr(knIdLength) == sEnding) tIds.push_back(sId);
    }
    return tIds;
}

/// Names that are none, or would mean a folder to whoever saves the file, are replaced.
std::wstring_view displayName(std::wstring_view sName) {
    return sName.find_first_not_of(L". ") == sName.npos ? L"unnamed" : sName;
}

}  // namespace

FileStore::FileStore() {
    // Nothing changes the environment of a server that starts.
    const char* pConfigured = std::getenv("SAMPLE_FILES");  // NOLINT(concurrency-mt-unsafe)
    m_sFolder = pConfigured ? pConfigured : "";
    if (m_sFolder.empty())
        m_sFolder =
            m_tTemporary.emplace("sample-files-", std::vector<std::string>{s_ksData, s_ksName}).getPath();
    else
        fs::create_directories(m_sFolder);
    try {
        kit::NamelessFile{m_sFolder};
    } catch (const std::system_error& e) {
        throw std::system_error(e.code(), "no files can be kept in " + m_sFolder +
                                              ", which must be writable, on a file system that supports "
                                              "O_TMPFILE (name another folder in SAMPLE_FILES)");
    }
    removeOrphans();
}

/// A process that is killed while it adds a file leaves its name.
void FileStore::removeOrphans() const {
    std::error_code eGone;
    for (const std::string& sId : listIds(m_sFolder, s_ksName)) {
        const auto tTime = fs::last_write_time(path(sId, s_ksName), eGone);
        if (!eGone && !fs::exists(path(sId, s_ksData)) &&
            tTime < fs::file_time_type::clock::now() - knOrphanAge)
            fs::remove(path(sId, s_ksName), eGone);
    }
}

std::string FileStore::path(const std::string& sId, const char* pEnding) const {
    return m_sFolder + '/' + sId + pEnding;
}

std::vector<StoredFile> FileStore::list() const {
    std::vector<StoredFile> tFiles;
    for (const std::string& sId : listIds(m_sFolder, s_ksData)) {
        StoredFile tFile;
        if (!openId(sId, tFile)) continue;
        tFile.tContent = kit::Descriptor();
        tFiles.push_back(std::move(tFile));
    }
    std::ranges::sort(tFiles, [](const StoredFile& a, const StoredFile& b) {
        return std::tie(b.tTime.tv_sec, b.tTime.tv_nsec) < std::tie(a.tTime.tv_sec, a.tTime.tv_nsec);
    });
    return tFiles;
}

bool FileStore::open(std::wstring_view sId, StoredFile& rFile) const {
    const std::string s = toUtf8(sId);
    return isId(s) && openId(s, rFile);
}

bool FileStore::openId(const std::string& sId, StoredFile& rFile) const {
    constexpr int knFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    rFile.tContent = kit::Descriptor(::open(path(sId, s_ksData).c_str(), knFlags));
    struct stat tStatus {};
    if (fstat(rFile.tContent.get(), &tStatus) != 0 || !S_ISREG(tStatus.st_mode)) return false;
    std::ostringstream tName;
    tName << std::ifstream(path(sId, s_ksName)).rdbuf();
    rFile.sId = sId;
    rFile.sName = fromUtf8(tName.str());
    rFile.nSize = static_cast<std::uint64_t>(tStatus.st_size);
    rFile.tTime = tStatus.st_mtim;
    return true;
}

bool FileStore::remove(std::wstring_view sId) const {
    const std::string s = toUtf8(sId);
    return isId(s) && removeId(s);
}

bool FileStore::removeId(const std::string& sId) const {
    std::error_code eMissing;
    const bool bThere = fs::remove(path(sId, s_ksData), eMissing);
    fs::remove(path(sId, s_ksName), eMissing);
    return bThere;
}

void FileStore::add(const std::vector<kit::UploadedFile>& rFiles, const std::string& sRequestId) const {
    const std::lock_guard tLock(m_tAdding);
    if (listIds(m_sFolder, s_ksData).size() + rFiles.size() > knMostFiles)
        throw kit::RequestError(507, L"There is no room for these files. Nothing was kept of them.");
    std::vector<std::string> tIds(rFiles.size());
    std::string sNext = isId(sRequestId) ? sRequestId : std::string(knIdLength, '0');
    for (std::string& rsId : tIds) {
        while (fs::exists(path(sNext, s_ksName)))
            sNext = nextId(sNext);
        rsId = std::exchange(sNext, nextId(sNext));
    }
    try {
        link(rFiles, tIds);
    } catch (...) {
        for (const std::string& sId : tIds)
            removeId(sId);
        throw;
    }
}

void FileStore::link(const std::vector<kit::UploadedFile>& rFiles,
                     const std::vector<std::string>& rIds) const {
    for (std::size_t n = 0; n < rFiles.size(); ++n) {
        kit::NamelessFile tName(m_sFolder);
        tName.append(toUtf8(displayName(rFiles[n].sName)));
        tName.keepAs(path(rIds[n], s_ksName));
    }
    for (std::size_t n = 0; n < rFiles.size(); ++n) {
        // The file system's own clock is too coarse to tell which of two files came first.
        std::timespec tNow{};
        clock_gettime(CLOCK_REALTIME, &tNow);
        const std::timespec tTimes[] = {tNow, tNow};
        if (futimens(rFiles[n].tContent.getDescriptor().get(), tTimes) != 0)
            throw std::system_error(errno, std::generic_category(), "cannot date a file");
        rFiles[n].tContent.keepAs(path(rIds[n], s_ksData));
    }
}

}  // namespace sample
