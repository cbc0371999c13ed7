#pragma once

#include <unistd.h>

#include <utility>

namespace webcontainer {

/// Owns a descriptor and closes it.
class FileDescriptor {
public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int nFd) noexcept : m_nFd(nFd) {}
    FileDescriptor(FileDescriptor&& r) noexcept : m_nFd(std::exchange(r.m_nFd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& r) noexcept {
        std::swap(m_nFd, r.m_nFd);
        return *this;
    }
    ~FileDescriptor() {
        if (m_nFd >= 0) ::close(m_nFd);
    }

    int get() const noexcept { return m_nFd; }
    /// The descriptor, which the caller closes from now on.
    int release() noexcept { return std::exchange(m_nFd, -1); }
    bool isOpen() const noexcept { return m_nFd >= 0; }

private:
    int m_nFd = -1;
};

}  // namespace webcontainer
