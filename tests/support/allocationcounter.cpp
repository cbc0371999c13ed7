#include "support/allocationcounter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t s_nAllocations = 0;
}  // namespace

AllocationCounter::AllocationCounter() noexcept : m_nStart(s_nAllocations) {}

std::size_t AllocationCounter::getCount() const noexcept {
    return s_nAllocations - m_nStart;
}

// The replacements of [new.delete]. A sanitizer's own array forms would not come here by themselves.
void* operator new(std::size_t nSize) {
    ++s_nAllocations;
    if (void* const p = std::malloc(nSize ? nSize : 1)) return p;
    throw std::bad_alloc();
}

void* operator new[](std::size_t nSize) {
    return operator new(nSize);
}

void operator delete(void* p) noexcept {
    std::free(p);
}

void operator delete[](void* p) noexcept {
    std::free(p);
}

void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
