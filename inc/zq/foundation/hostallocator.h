#pragma once

#include <cstddef>

#include "zq/foundation/zqexport.h"

/// Base of classes whose objects are created in one library and deleted in another: both ends use the
/// host's allocator, whatever allocator either library would have been linked with.
struct ZQ_EXPORT HostAllocated {
    /// Returns nSize bytes, aligned for any fundamental type; throws std::bad_alloc when there are none.
    static void* operator new(std::size_t nSize);
    static void* operator new(std::size_t, void* p) noexcept { return p; }
    static void operator delete(void* p) noexcept;
    static void operator delete(void*, void*) noexcept {}
};
