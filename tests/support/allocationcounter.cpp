#include "support/allocationcounter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t s_nAllocations = 0;
thread_local std::size_t s_nFailing = 0;  ///< the count of the allocation that fails; 0: none does
}  // namespace

AllocationCounter::AllocationCounter() noexcept : m_nStart(s_nAllocations) {}

std::size_t AllocationCounter::getCount() const noexcept {
    return s_nAllocations - m_nStart;
}

AllocationFailure::AllocationFailure(std::size_t nAllocations) noexcept {
    s_nFailing = s_nAllocations + nAllocations + 1;
}

AllocationFailure::~AllocationFailure() {
    s_nFailing = 0;
}

// The replacements of [new.delete]. A sanitizer's own array forms would not come here by themselves.
void* operator new(std::size_t nSize) {
    if (++s_nAllocations == s_nFailing) throw std::bad_alloc();
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
