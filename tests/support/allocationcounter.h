#pragma once

#include <cstddef>

/// Counts the heap allocations of the calling thread while it lives: everything that goes through operator
/// new and delete in any library of the process.
class AllocationCounter {
public:
    AllocationCounter() noexcept;
    std::size_t getCount() const noexcept;
    /// How many more were made than freed.
    std::ptrdiff_t getLive() const noexcept;

private:
    const std::size_t m_nStart, m_nFreedAtStart;
};

/// Lets an allocation of the calling thread fail: the one that nAllocations others have gone before in this
/// object's life.
class AllocationFailure {
public:
    explicit AllocationFailure(std::size_t nAllocations) noexcept;
    ~AllocationFailure();
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
};
