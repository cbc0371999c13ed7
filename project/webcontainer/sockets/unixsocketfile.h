#pragma once

#include <sys/types.h>

#include <string>

namespace webcontainer {

/// The name of a unix socket in the file system: made when a socket is bound to it, removed at the end unless
/// another server has put its own there meanwhile.
class UnixSocketFile {
public:
    UnixSocketFile() = default;
    ~UnixSocketFile() { remove(); }
    UnixSocketFile(const UnixSocketFile&) = delete;
    UnixSocketFile& operator=(const UnixSocketFile&) = delete;

    /// Binds the socket to the path, and gives the file the mode. What a dead server left is replaced. Throws
    /// StartError.
    void bind(int nFd, const std::string& sPath, mode_t nMode);
    void remove() noexcept;

private:
    std::string m_sPath;  ///< empty: there is nothing to remove
    dev_t m_nDevice = 0;
    ino_t m_nInode = 0;
};

}  // namespace webcontainer
