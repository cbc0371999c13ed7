#include "exchange/storefiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

namespace sample::storefiles {

namespace {

constexpr std::string_view s_ksDigits = "0123456789abcdef";
constexpr std::size_t knIdBytes = 16;
constexpr mode_t knMode = 0600;

bool isId(std::string_view s) noexcept {
    return s.size() == 2 * knIdBytes && s.find_first_not_of(s_ksDigits) == s.npos;
}

}  // namespace

void fail(const std::string& sWhat) {
    throw std::system_error(errno, std::generic_category(), sWhat);
}

std::string makeId() {
    std::array<unsigned char, knIdBytes> tBytes{};
    if (getrandom(tBytes.data(), tBytes.size(), 0) != static_cast<ssize_t>(tBytes.size())) fail("getrandom");
    std::string sId;
    for (const unsigned char n : tBytes)
        sId.append({s_ksDigits[n >> 4], s_ksDigits[n & 15]});
    return sId;
}

std::string toId(std::wstring_view s) {
    std::string sId;
    for (const wchar_t c : s.substr(0, 2 * knIdBytes + 1))
        sId += c > 0 && c < 0x80 ? static_cast<char>(c) : '?';
    return isId(sId) ? sId : std::string();
}

std::vector<std::string> listIds(int nDirectory, std::string_view sEnding) {
    // Its own position in the directory, as other threads list it too.
    Descriptor tDirectory(openat(nDirectory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> pDirectory(fdopendir(tDirectory.get()), closedir);
    if (!pDirectory) fail("cannot list the files");
    tDirectory.release();
    std::vector<std::string> tIds;
    // In glibc, threads with streams of their own do not meet.
    while (const dirent* pEntry = readdir(pDirectory.get())) {  // NOLINT(concurrency-mt-unsafe)
        std::string_view sName = pEntry->d_name;
        if (!sName.ends_with(sEnding)) continue;
        sName.remove_suffix(sEnding.size());
        if (isId(sName)) tIds.emplace_back(sName);
    }
    return tIds;
}

Descriptor makeNameless(int nDirectory) {
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

void linkFile(const Descriptor& rFile, int nDirectory, const std::string& sName) {
    const std::string sSelf = "/proc/self/fd/" + std::to_string(rFile.get());
    if (linkat(AT_FDCWD, sSelf.c_str(), nDirectory, sName.c_str(), AT_SYMLINK_FOLLOW) != 0)
        fail("cannot name a file");
}

bool unlinkFile(int nDirectory, const std::string& sId) {
    const bool bThere = unlinkat(nDirectory, (sId + s_ksData).c_str(), 0) == 0;
    unlinkat(nDirectory, (sId + s_ksName).c_str(), 0);
    return bThere;
}

}  // namespace sample::storefiles
