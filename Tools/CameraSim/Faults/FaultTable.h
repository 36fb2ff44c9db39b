#pragma once

#include "CameraSim/Faults/Fault.h"

#include <string_view>
#include <vector>

/// The faults that wait for requests, in the order in which they were added. Not thread-safe; the owner serialises.
class CFaultTable
{
public:
    static constexpr std::size_t kMaxFaults = 1000;

    /// Throws std::invalid_argument when the fault makes no sense or the table is full.
    void Add(Fault fault);
    void Clear() noexcept;

    const std::vector<Fault>& Waiting() const noexcept
    {
        return m_faults;
    }

    /// The faults that hit this request, used up as their counts say. A request is asked for twice: before its
    /// credentials are checked, and once more when they were accepted.
    std::vector<Fault> Take(std::string_view target, bool authenticated);

private:
    std::vector<Fault> m_faults;
};
