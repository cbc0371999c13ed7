#include "zq/applicationkit/staticfiles.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "conditions.h"
#include "filetypes.h"
#include "zq/applicationkit/sendfile.h"

namespace kit {

namespace {

/// How often a path is looked up anew when files are moved in the folder meanwhile.
constexpr int knTries = 100;

/// Errors that mean that nothing of that name is to be had here.
bool meansMissing(int nError) noexcept {
    for (const int n : {ENOENT, ENOTDIR, EXDEV, ELOOP, EACCES, EPERM, ENAMETOOLONG, ENXIO, ENODEV, EISDIR})
        if (nError == n) return true;
    return false;
}

/// A negative result stands for errno.
int openBeneath(int nFolder, const char* pPath) noexcept {
    open_how tHow{};
    // A pipe that nobody writes to must not keep anybody waiting.
    tHow.flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    tHow.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    long n = -1;
    for (int nTry = 0; nTry < knTries && n < 0; ++nTry) {
        n = syscall(SYS_openat2, nFolder, pPath, &tHow, sizeof tHow);
        if (n < 0 && errno != EAGAIN && errno != EINTR) break;
    }
    return n < 0 ? -errno : static_cast<int>(n);
}

[[noreturn]] void fail(int nError, const std::string& sPath) {
    throw std::system_error(nError, std::generic_category(), "cannot open " + sPath);
}

/// Whether every segment of a path is the name of something that may be seen.
bool isVisible(std::string_view sPath) noexcept {
    for (std::size_t nAt = 0; nAt <= sPath.size();) {
        const std::size_t nEnd = std::min(sPath.find('/', nAt), sPath.size());
        if (nEnd == nAt || sPath[nAt] == '.') return false;
        nAt = nEnd + 1;
    }
    return sPath.find('\0') == sPath.npos;
}

/// When a regular file was changed; nothing else has a time.
bool getTime(const Descriptor& rFile, std::timespec& rTime) noexcept {
    struct stat tStatus {};
    if (!rFile || fstat(rFile.get(), &tStatus) != 0 || !S_ISREG(tStatus.st_mode)) return false;
    rTime = tStatus.st_mtim;
    return true;
}

bool isOlder(const std::timespec& a, const std::timespec& b) noexcept {
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

}  // namespace

StaticFiles::StaticFiles(const std::string& sFolder) : StaticFiles(sFolder, Options()) {}

StaticFiles::StaticFiles(const std::string& sFolder, const Options& rOptions)
    : m_tFolder(::open(sFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      m_tOptions(rOptions) {
    if (!m_tFolder) fail(errno, sFolder);
    const Descriptor tProbe(openBeneath(m_tFolder.get(), "."));
    if (!tProbe) fail(-tProbe.get(), sFolder);
}

Descriptor StaticFiles::open(const std::string& sPath) const {
    Descriptor tFile(openBeneath(m_tFolder.get(), sPath.c_str()));
    if (!tFile && !meansMissing(-tFile.get())) fail(-tFile.get(), sPath);
    return tFile;
}

HttpRequestStatus::EStatus StaticFiles::send(ZQHttpStream& rStream, std::wstring_view sPath) const {
    std::string sFile = toUtf8(sPath);
    if (sFile.empty() || sFile.ends_with('/')) sFile += m_tOptions.sIndex;
    if (!isVisible(sFile)) return HttpRequestStatus::kBadCommand;
    Descriptor tFile = open(sFile);
    std::timespec tTime{}, tOther{};
    if (!getTime(tFile, tTime)) return HttpRequestStatus::kBadCommand;

    FileDescription tDescription{.sType = findType(sFile), .nFreshSeconds = m_tOptions.nFreshSeconds};
    const CodingWeights tWeights = readAcceptEncoding(rStream);
    const struct {
        const char* pEnding;
        const wchar_t* pCoding;
        int nWeight;
    } tCodings[] = {{".br", L"br", tWeights.nBrotli}, {".gz", L"gzip", tWeights.nGzip}};
    int nBest = 0;
    for (const auto& r : tCodings) {
        if (r.nWeight <= nBest) continue;
        Descriptor tCompressed = open(sFile + r.pEnding);
        if (!getTime(tCompressed, tOther) || isOlder(tOther, tTime)) continue;
        tFile = std::move(tCompressed);
        tDescription.sEncoding = r.pCoding;
        nBest = r.nWeight;
    }
    rStream.AddHeader(L"Vary", L"Accept-Encoding");
    sendFile(rStream, tFile, tDescription);
    return HttpRequestStatus::kOK;
}

ZQWString StaticFiles::findType(std::string_view sPath) const {
    const std::size_t nDot = sPath.rfind('.');
    std::string sEnding(nDot == sPath.npos ? std::string_view() : sPath.substr(nDot + 1));
    std::ranges::transform(sEnding, sEnding.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const auto it = m_tOptions.tTypes.find(sEnding);
    const std::string* const pType = it == m_tOptions.tTypes.end() ? findFileType(sEnding) : &it->second;
    return pType ? fromUtf8(*pType) : ZQWString(L"application/octet-stream");
}

}  // namespace kit
