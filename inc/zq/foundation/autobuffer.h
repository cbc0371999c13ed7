#pragma once

#include <cstddef>
#include <memory>

#include "zq/foundation/zqexport.h"

/// An uninitialised array of nCount elements: inside the object up to nInline of them, else on the heap.
template <class T, unsigned nInline>
class ZQ_EXPORT AutoBuffer {
public:
    /// Throws std::bad_alloc.
    explicit AutoBuffer(std::size_t nCount)
        : m_pHeap(nCount > nInline ? std::make_unique_for_overwrite<T[]>(nCount) : nullptr) {}
    AutoBuffer(const AutoBuffer&) = delete;
    AutoBuffer& operator=(const AutoBuffer&) = delete;

    /// The first element; valid as long as this object.
    T* get() noexcept { return m_pHeap ? m_pHeap.get() : m_tInline; }

private:
    std::unique_ptr<T[]> m_pHeap;
    T m_tInline[nInline];
};
