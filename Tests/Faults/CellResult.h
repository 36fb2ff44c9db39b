#pragma once

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>

/// Handles and threads of a process.
struct Usage
{
    unsigned handles = 0;
    unsigned threads = 0;
};

/// What became of a cell.
struct CellResult
{
    bool isRun = false;
    DWORD exitCode = 0; ///< of the process that died in the cell, else 0
    HRESULT hr = S_OK;
    DWORD tookMs = 0;
    DWORD limitMs = 0;
    Usage before;
    Usage after;           ///< when it had settled
    unsigned recovery = 0; ///< the call that went well again, from 1; kNotRecovered

    static constexpr unsigned kNotRecovered = 99;

    /// The same cell once more, which has to recover each time.
    void JoinLater(const CellResult& later) noexcept
    {
        const unsigned earlier = recovery;
        *this = later;
        recovery = std::max(recovery, earlier);
    }

    bool IsCrashed() const noexcept
    {
        return exitCode != 0;
    }
    bool IsOverLimit() const noexcept
    {
        return tookMs > limitMs;
    }
    bool IsLeaked() const noexcept
    {
        return after.handles > before.handles || after.threads > before.threads;
    }
    bool IsNotRecovered() const noexcept
    {
        return recovery == kNotRecovered;
    }
    bool IsGood() const noexcept
    {
        return isRun && !IsCrashed() && !IsOverLimit() && !IsLeaked() && !IsNotRecovered();
    }
};

/// How the process that runs cells tells the one that started it, line by line.
namespace CellProtocol
{
/// Before a cell: nothing more is to be expected from it after that time.
std::string Begin(std::size_t cell, DWORD deadlineMs);
std::string End(std::size_t cell, const CellResult& result);

struct Line
{
    std::size_t cell = 0;
    DWORD deadlineMs = 0;             ///< of a beginning
    std::optional<CellResult> result; ///< of an end
};
/// Nothing for any other text.
std::optional<Line> Parse(const std::string& line);
} // namespace CellProtocol
