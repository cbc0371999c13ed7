#include "support/allocationcounter.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t s_nAllocations = 0;
thread_local std::size_t s_nFailing = 0;  ///< the count of the allocation that fails; 0: none does
thread_local std::ptrdiff_t s_nHeld = 0, s_nPeak = 0;

std::ptrdiff_t sizeOf(void* p) noexcept {
    return static_cast<std::ptrdiff_t>(malloc_usable_size(p));
}

}  // namespace

AllocationCounter::AllocationCounter() noexcept : m_nStart(s_nAllocations), m_nHeldAtStart(s_nHeld) {
    s_nPeak = s_nHeld;
}

std::size_t AllocationCounter::getCount() const noexcept {
    return s_nAllocations - m_nStart;
}

std::ptrdiff_t AllocationCounter::getLive() const noexcept {
    return s_nHeld - m_nHeldAtStart;
}

std::ptrdiff_t AllocationCounter::getPeak() const noexcept {
    return s_nPeak - m_nHeldAtStart;
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
    if (!p) throw std::bad_alloc();
    s_nHeld += sizeOf(p);
    s_nPeak = std::max(s_nPeak, s_nHeld);
    return p;
}

void* operator new[](std::size_t nSize) {
    return operator new(nSize);
}

void operator delete(void* p) noexcept {
    s_nHeld -= sizeOf(p);
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
