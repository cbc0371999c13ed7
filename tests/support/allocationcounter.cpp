#include "support/allocationcounter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t s_nAllocations = 0, s_nFreed = 0;
thread_local std::size_t s_nFailing = 0;  ///< the count of the allocation that fails; 0: none does
}  // namespace

AllocationCounter::AllocationCounter() noexcept : m_nStart(s_nAllocations), m_nFreedAtStart(s_nFreed) {}

std::size_t AllocationCounter::getCount() const noexcept {
    return s_nAllocations - m_nStart;
}

std::ptrdiff_t AllocationCounter::getLive() const noexcept {
    return static_cast<std::ptrdiff_t>(getCount() - (s_nFreed - m_nFreedAtStart));
}

AllocationFailure::AllocationFailure(std::size_t nAllocations) noexcept {
    s_nFailing = s_nAllocations + nAllocations + 1;
}

AllocationFailure::~AllocationFailure() {
    s_nFailing = 0;
}

// The replacements of [new.delete]. A sanitizer's own array forms would not come here by themselves.
void* operator new(std::size_t nSize) {
    void* const p = ++s_nAllocations == s_nFailing ? nullptr : std::malloc(nSize ? nSize : 1);
    if (p) return p;
    ++s_nFreed;
    throw std::bad_alloc();
}

void* operator new[](std::size_t nSize) {
    return operator new(nSize);
}

void operator delete(void* p) noexcept {
    s_nFreed += p != nullptr;
    std::free(p);
}

void operator delete[](void* p) noexcept {
    operator delete(p);
}

void operator delete[](void* p, std::size_t) noexcept {
    operator delete(p);
}

void operator delete(void* p, std::size_t) noexcept {
    operator delete(p);
}
