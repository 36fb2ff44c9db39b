#pragma once

#include "Lifetime/Lifetime.h"

#include <atomic>
#include <cstdint>

/// How many hold an object that is deleted by the last of them; whoever makes it is the first. Any thread.
class CReferenceCount
{
public:
    CReferenceCount() noexcept = default;
    CReferenceCount(const CReferenceCount&) = delete;
    CReferenceCount& operator=(const CReferenceCount&) = delete;

    std::uint32_t Add() noexcept
    {
        m_mark.Check("a destroyed object gets a reference");
        const std::uint32_t count = m_count.fetch_add(1, std::memory_order_relaxed);
        Lifetime::Require(count != 0, "an object that nobody holds gets a reference");
        return count + 1;
    }
    /// How many are left. With none, the caller deletes the object.
    [[nodiscard]] std::uint32_t Remove() noexcept
    {
        m_mark.Check("a destroyed object is released");
        const std::uint32_t count = m_count.fetch_sub(1, std::memory_order_acq_rel);
        Lifetime::Require(count != 0, "an object is released more often than it was held");
        return count - 1;
    }

private:
    std::atomic<std::uint32_t> m_count{1};
    [[no_unique_address]] Lifetime::CMark m_mark;
};
