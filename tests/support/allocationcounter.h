#pragma once

#include <cstddef>

/// Counts the heap allocations of the calling thread while it lives: everything that goes through operator
/// new in any library of the process.
class AllocationCounter {
public:
    AllocationCounter() noexcept;
    std::size_t getCount() const noexcept;
    /// The bytes that the thread holds beyond those that it held before. What other threads allocated must
    /// not be freed meanwhile.
    std::ptrdiff_t getLive() const noexcept;
    /// The most that they have been; of the counter made last only.
    std::ptrdiff_t getPeak() const noexcept;

private:
    const std::size_t m_nStart;
    const std::ptrdiff_t m_nHeldAtStart;
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
