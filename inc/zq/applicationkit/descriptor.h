#pragma once

#include <unistd.h>

#include <utility>

namespace kit {

/// Owns a file descriptor and closes it; a negative one stands for none.
///
///     const kit::Descriptor tFile(open(sPath.c_str(), O_RDONLY | O_CLOEXEC));
///     char c = 0;
///     const bool bEmpty = tFile && read(tFile.get(), &c, 1) == 0;
class Descriptor {
public:
    explicit Descriptor(int nDescriptor = -1) noexcept : m_nDescriptor(nDescriptor) {}
    Descriptor(Descriptor&& r) noexcept : m_nDescriptor(std::exchange(r.m_nDescriptor, -1)) {}
    Descriptor& operator=(Descriptor&& r) noexcept {
        std::swap(m_nDescriptor, r.m_nDescriptor);
        return *this;
    }
    ~Descriptor() {
        if (m_nDescriptor >= 0) close(m_nDescriptor);
    }

    int get() const noexcept { return m_nDescriptor; }
    /// Leaves closing it to the caller.
    int release() noexcept { return std::exchange(m_nDescriptor, -1); }
    explicit operator bool() const noexcept { return m_nDescriptor >= 0; }

private:
    int m_nDescriptor;
};

}  // namespace kit
