#pragma once

/// Counts and fails the allocations of operator new. A program that adds CountedAllocations.cpp to its sources gets
/// the replaced operators; they are in a file of their own because the compiler warns when it can look into them.
namespace CountedAllocations
{
/// Calls of operator new so far, on all threads.
unsigned Count() noexcept;

/// While one lives, its thread's calls of operator new from number `allowed` + 1 on throw std::bad_alloc. Other
/// threads, a test's camera for instance, go on as they are. One at a time on a thread.
class CFailAfter
{
public:
    explicit CFailAfter(unsigned allowed) noexcept;
    ~CFailAfter();
    CFailAfter(const CFailAfter&) = delete;
    CFailAfter& operator=(const CFailAfter&) = delete;

    /// True once an allocation has been refused.
    bool HasFailed() const noexcept;
};
} // namespace CountedAllocations
