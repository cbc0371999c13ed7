#pragma once

#include <cstddef>
#include <new>

#include "zq/foundation/zqexport.h"

/// Memory for the nodes of one container, inside the object that owns both: nBytes, handed out once each.
/// What does not fit comes from the heap.
template <std::size_t nBytes>
class ZQ_EXPORT NodeStorage {
public:
    NodeStorage() noexcept {}  // leaves the bytes as they are
    NodeStorage(const NodeStorage&) = delete;
    NodeStorage& operator=(const NodeStorage&) = delete;

    void* take(std::size_t nSize) {
        nSize =
            (nSize + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
        if (nSize > nBytes - m_nUsed) return ::operator new(nSize);
        m_nUsed += nSize;
        return m_tBytes + m_nUsed - nSize;
    }
    void giveBack(void* p) noexcept {
        if (p < m_tBytes || p >= m_tBytes + nBytes) ::operator delete(p);
    }
    /// Hands the bytes out anew. The container must be empty.
    void reuse() noexcept { m_nUsed = 0; }

private:
    std::size_t m_nUsed = 0;
    alignas(std::max_align_t) std::byte m_tBytes[nBytes];
};

/// The allocator of a container with such a storage, which must outlive the container.
template <class T, class StorageT>
class ZQ_EXPORT NodeAllocator {
public:
    using value_type = T;

    explicit NodeAllocator(StorageT& rStorage) noexcept : m_pStorage(&rStorage) {}
    template <class U>
    NodeAllocator(const NodeAllocator<U, StorageT>& r) noexcept : m_pStorage(r.m_pStorage) {}

    T* allocate(std::size_t nCount) { return static_cast<T*>(m_pStorage->take(nCount * sizeof(T))); }
    void deallocate(T* p, std::size_t) noexcept { m_pStorage->giveBack(p); }

    friend bool operator==(const NodeAllocator&, const NodeAllocator&) noexcept = default;

private:
    template <class, class>
    friend class NodeAllocator;

    StorageT* m_pStorage;
};
