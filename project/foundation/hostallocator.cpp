#include "zq/foundation/hostallocator.h"

#include <new>

#include "zq/foundation/refcounted.h"

void* HostAllocated::operator new(std::size_t nSize) {
    return ::operator new(nSize);
}

void HostAllocated::operator delete(void* p) noexcept {
    ::operator delete(p);
}

RefCounted::~RefCounted() = default;
