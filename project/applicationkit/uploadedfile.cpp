#include "zq/applicationkit/uploadedfile.h"

#include <fcntl.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "zq/applicationkit/requesterror.h"

namespace kit {

namespace {

[[noreturn]] void fail(const std::string& sWhat) {
    if (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)
        throw RequestError(507, L"There is no room for this file.");
    throw std::system_error(errno, std::generic_category(), sWhat);
}

}  // namespace

NamelessFile::NamelessFile(const std::string& sFolder) {
    constexpr mode_t knOwnOnly = 0600;
    const std::string sWhere = sFolder.empty() ? std::filesystem::temp_directory_path().string() : sFolder;
    m_tDescriptor = Descriptor(open(sWhere.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, knOwnOnly));
    if (!m_tDescriptor) fail("cannot make a file without a name in " + sWhere);
}

void NamelessFile::append(std::string_view sBytes) {
    while (!sBytes.empty()) {
        const ssize_t n =
            pwrite(m_tDescriptor.get(), sBytes.data(), sBytes.size(), static_cast<off_t>(m_nSize));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) fail("cannot write a file");
        m_nSize += static_cast<std::size_t>(n);
        sBytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

void NamelessFile::keepAs(const std::string& sPath) const {
    const std::string sSelf = "/proc/self/fd/" + std::to_string(m_tDescriptor.get());
    if (linkat(AT_FDCWD, sSelf.c_str(), AT_FDCWD, sPath.c_str(), AT_SYMLINK_FOLLOW) != 0)
        fail("cannot keep a file as " + sPath);
}

}  // namespace kit
