#include "filestore.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <tuple>

#include "zq/httpstream/unicodebuffer.h"

namespace sample {

namespace {

constexpr std::string_view s_ksDigits = "0123456789abcdef";
constexpr std::size_t knIdBytes = 16;
constexpr mode_t knMode = 0600;
constexpr const char* s_ksData = ".data";
constexpr const char* s_ksName = ".name";

[[noreturn]] void fail(const char* pWhat) {
    throw std::system_error(errno, std::generic_category(), pWhat);
}

bool isId(std::string_view s) noexcept {
    return s.size() == 2 * knIdBytes && s.find_first_not_of(s_ksDigits) == s.npos;
}

/// The id that a text is, or nothing.
std::string toId(std::wstring_view s) {
    std::string sId;
    for (const wchar_t c : s.substr(0, 2 * knIdBytes + 1))
        sId += c > 0 && c < 0x80 ? static_cast<char>(c) : '?';
    return isId(sId) ? sId : std::string();
}

std::string makeId() {
    std::array<unsigned char, knIdBytes> tBytes{};
    if (getrandom(tBytes.data(), tBytes.size(), 0) != static_cast<ssize_t>(tBytes.size())) fail("getrandom");
    std::string sId;
    for (const unsigned char n : tBytes)
        sId.append({s_ksDigits[n >> 4], s_ksDigits[n & 15]});
    return sId;
}

Descriptor openNameless(int nDirectory) {
    Descriptor tFile(openat(nDirectory, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, knMode));
    if (!tFile) fail("cannot make a file");
    return tFile;
}

void writeAll(const Descriptor& rFile, const char* pData, std::size_t nLength) {
    while (nLength > 0) {
        const ssize_t nWritten = write(rFile.get(), pData, nLength);
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) fail("cannot write a file");
        pData += nWritten;
        nLength -= static_cast<std::size_t>(nWritten);
    }
}

/// Gives a nameless file its name, which must be free.
void linkFile(const Descriptor& rFile, int nDirectory, const std::string& sName) {
    const std::string sSelf = "/proc/self/fd/" + std::to_string(rFile.get());
    if (linkat(AT_FDCWD, sSelf.c_str(), nDirectory, sName.c_str(), AT_SYMLINK_FOLLOW) != 0)
        fail("cannot name a file");
}

/// The text of a small file; empty when it cannot be read.
ZQWString readName(int nDirectory, const std::string& sName) {
    const Descriptor tFile(openat(nDirectory, sName.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    NarrowStringBuffer tBytes;
    std::array<char, 512> tChunk;
    for (ssize_t n = 0; (n = read(tFile.get(), tChunk.data(), tChunk.size())) > 0;)
        tBytes.append(tChunk.data(), static_cast<std::size_t>(n));
    StringBuffer tText;
    N2WEncodingUTF8().encode(tText, tBytes.view());
    return tText.toString();
}

}  // namespace

FileStore::FileStore() {
    const char* pConfigured = std::getenv("SAMPLE_FILES");
    std::string sPath = pConfigured ? pConfigured : "";
    if (sPath.empty()) {
        sPath = std::filesystem::temp_directory_path() / "sample-files-XXXXXX";
        if (!mkdtemp(sPath.data())) fail("cannot make a directory for files");
        m_sTemporary = sPath;
    } else {
        std::filesystem::create_directories(sPath);
    }
    m_tDirectory = Descriptor(::open(sPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_tDirectory) fail("cannot open the directory for files");
}

FileStore::~FileStore() {
    std::error_code eIgnored;
    if (!m_sTemporary.empty()) std::filesystem::remove_all(m_sTemporary, eIgnored);
}

std::vector<std::string> FileStore::listIds() const {
    // Its own position in the directory, as other threads list it too.
    const int nDirectory = openat(m_tDirectory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (nDirectory < 0) fail("cannot list the files");
    const std::unique_ptr<DIR, int (*)(DIR*)> pDirectory(fdopendir(nDirectory), closedir);
    std::vector<std::string> tIds;
    while (const dirent* pEntry = readdir(pDirectory.get())) {
        const std::string_view sName = pEntry->d_name;
        if (!sName.ends_with(s_ksData)) continue;
        const std::string_view sId = sName.substr(0, sName.size() - std::string_view(s_ksData).size());
        if (isId(sId)) tIds.emplace_back(sId);
    }
    return tIds;
}

std::size_t FileStore::count() const {
    return listIds().size();
}

std::vector<StoredFile> FileStore::list() const {
    std::vector<StoredFile> tFiles;
    for (const std::string& sId : listIds()) {
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
    const std::string sKnown = toId(sId);
    return !sKnown.empty() && openId(sKnown, rFile);
}

bool FileStore::openId(const std::string& sId, StoredFile& rFile) const {
    Descriptor tContent(
        openat(m_tDirectory.get(), (sId + s_ksData).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat tStatus {};
    if (!tContent || fstat(tContent.get(), &tStatus) != 0 || !S_ISREG(tStatus.st_mode)) return false;
    rFile.sId = sId;
    rFile.sName = readName(m_tDirectory.get(), sId + s_ksName);
    rFile.nSize = static_cast<std::uint64_t>(tStatus.st_size);
    rFile.tTime = tStatus.st_mtim;
    rFile.tContent = std::move(tContent);
    return true;
}

bool FileStore::remove(std::wstring_view sId) const {
    const std::string sKnown = toId(sId);
    if (sKnown.empty() || unlinkat(m_tDirectory.get(), (sKnown + s_ksData).c_str(), 0) != 0) return false;
    unlinkat(m_tDirectory.get(), (sKnown + s_ksName).c_str(), 0);
    return true;
}

FileUpload::FileUpload(const FileStore& rStore)
    : m_rStore(rStore),
      m_tFile(openNameless(rStore.m_tDirectory.get())) {}

void FileUpload::write(const char* pData, std::size_t nLength) {
    writeAll(m_tFile, pData, nLength);
}

std::wstring FileUpload::publish(std::wstring_view sName) {
    const int nDirectory = m_rStore.m_tDirectory.get();
    const Descriptor tName = openNameless(nDirectory);
    NarrowStringBuffer tBytes;
    W2NEncodingUTF8().encode(tBytes, sName);
    writeAll(tName, tBytes.data(), tBytes.length());
    // The file system's own clock is too coarse to tell which of two files came first.
    std::timespec tNow{};
    clock_gettime(CLOCK_REALTIME, &tNow);
    const std::timespec tTimes[] = {tNow, tNow};
    if (futimens(m_tFile.get(), tTimes) != 0) fail("cannot date a file");
    const std::string sId = makeId();
    linkFile(tName, nDirectory, sId + s_ksName);
    try {
        linkFile(m_tFile, nDirectory, sId + s_ksData);
    } catch (...) {
        unlinkat(nDirectory, (sId + s_ksName).c_str(), 0);
        throw;
    }
    return {sId.begin(), sId.end()};
}

}  // namespace sample
