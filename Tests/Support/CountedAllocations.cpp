#include "Tests/Support/CountedAllocations.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace
{
constexpr unsigned kUnlimited = std::numeric_limits<unsigned>::max();

constinit std::atomic<unsigned> s_count{0};
constinit thread_local unsigned t_allowed = kUnlimited;
constinit thread_local bool t_hasFailed = false;

/// Whether this allocation is one that the thread's test lets fail.
bool IsRefused() noexcept
{
    if (t_allowed == kUnlimited)
        return false;
    if (t_allowed == 0)
        return t_hasFailed = true;
    --t_allowed;
    return false;
}
} // namespace

unsigned CountedAllocations::Count() noexcept
{
    return s_count;
}

CountedAllocations::CFailAfter::CFailAfter(unsigned allowed) noexcept
{
    t_hasFailed = false;
    t_allowed = allowed;
}

CountedAllocations::CFailAfter::~CFailAfter()
{
    t_allowed = kUnlimited;
}

bool CountedAllocations::CFailAfter::HasFailed() const noexcept
{
    return t_hasFailed;
}

void* operator new(std::size_t sizeBytes)
{
    ++s_count;
    void* const block = IsRefused() ? nullptr : std::malloc(sizeBytes != 0 ? sizeBytes : 1);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
