#include "Tests/Support/CountedAllocations.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace
{
constexpr unsigned kUnlimited = std::numeric_limits<unsigned>::max();

constinit std::atomic<unsigned> s_count{0};
constinit std::atomic<unsigned> s_lastAllowed{kUnlimited};
constinit std::atomic<bool> s_hasFailed{false};
} // namespace

unsigned CountedAllocations::Count() noexcept
{
    return s_count;
}

CountedAllocations::CFailAfter::CFailAfter(unsigned allowed) noexcept
{
    s_hasFailed = false;
    s_lastAllowed = s_count + allowed;
}

CountedAllocations::CFailAfter::~CFailAfter()
{
    s_lastAllowed = kUnlimited;
}

bool CountedAllocations::CFailAfter::HasFailed() const noexcept
{
    return s_hasFailed;
}

void* operator new(std::size_t sizeBytes)
{
    const bool refused = ++s_count > s_lastAllowed;
    if (refused)
        s_hasFailed = true;
    void* const block = refused ? nullptr : std::malloc(sizeBytes != 0 ? sizeBytes : 1);
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
