#include "sockets/unixsocketfile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

#include "base/filedescriptor.h"
#include "base/starterror.h"

namespace webcontainer {

namespace {

[[noreturn]] void throwCannotListen(const std::string& sPath, const std::string& sWhy) {
    throwStartError("cannot listen on unix:" + sPath + ": " + sWhy);
}

sockaddr_un toSocketAddress(const std::string& sPath) {
    sockaddr_un tAddress{};
    tAddress.sun_family = AF_UNIX;
    sPath.copy(tAddress.sun_path, sizeof tAddress.sun_path - 1);
    return tAddress;
}

template <int (*F)(int, const sockaddr*, socklen_t)>
int call(int nFd, const sockaddr_un& rAddress) {
    return F(nFd, reinterpret_cast<const sockaddr*>(&rAddress), sizeof rAddress) == 0 ? 0 : errno;
}

/// Takes away a socket that nobody listens on; throws when it is anything else.
void removeStale(const std::string& sPath) {
    struct stat tStatus {};
    if (::lstat(sPath.c_str(), &tStatus) != 0) return;  // gone meanwhile
    if (!S_ISSOCK(tStatus.st_mode))
        throwCannotListen(sPath, "there is a file that is no socket; remove it or choose another path");
    const FileDescriptor tProbe(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int nError = call<::connect>(tProbe.get(), toSocketAddress(sPath));
    if (nError == 0 || nError == EAGAIN)
        throwCannotListen(sPath, "another server listens there; stop it or choose another path");
    if (nError != ECONNREFUSED)
        throwCannotListen(sPath, "whether a server listens there cannot be found out: " +
                                     describeError(nError) + "; remove the file or choose another path");
    ::unlink(sPath.c_str());
}

}  // namespace

void UnixSocketFile::bind(int nFd, const std::string& sPath, mode_t nMode) {
    // The file is made with the mode of the socket, so that nobody else can connect before it is set below.
    ::fchmod(nFd, nMode);
    int nError = call<::bind>(nFd, toSocketAddress(sPath));
    if (nError == EADDRINUSE) {
        removeStale(sPath);
        nError = call<::bind>(nFd, toSocketAddress(sPath));
    }
    if (nError != 0)
        throwCannotListen(sPath, describeError(nError) +
                                     "; make its directory one that exists and that the server may write to");
    struct stat tStatus {};
    // The mask of the process may have taken away too much.
    if (::chmod(sPath.c_str(), nMode) != 0 || ::lstat(sPath.c_str(), &tStatus) != 0)
        throwCannotListen(sPath, describeError(errno));
    m_sPath = sPath;
    m_nDevice = tStatus.st_dev;
    m_nInode = tStatus.st_ino;
}

void UnixSocketFile::remove() noexcept {
    struct stat tStatus {};
    if (!m_sPath.empty() && ::lstat(m_sPath.c_str(), &tStatus) == 0 && tStatus.st_dev == m_nDevice &&
        tStatus.st_ino == m_nInode)
        ::unlink(m_sPath.c_str());
    m_sPath.clear();
}

}  // namespace webcontainer
