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
    Usage before = {};
    Usage after = {};      ///< when it had settled
    unsigned recovery = 0; ///< the call that went well again, from 1; kNotRecovered
    unsigned runs = 1;     ///< tries that it took
    DWORD releaseMs = 0;   ///< of the object, where the cell has one of its own
    DWORD releaseLimitMs = 0;
    bool isDelivered = false; ///< the camera has misbehaved
    bool isWrong = false;     ///< the method may not return that

    static constexpr unsigned kNotRecovered = 99;

    /// The same cell once more, which has to recover each time.
    void JoinLater(const CellResult& later) noexcept
    {
        const CellResult earlier = *this;
        *this = later;
        recovery = std::max(recovery, earlier.recovery);
        runs = earlier.runs + 1;
    }

    constexpr bool IsCrashed() const noexcept
    {
        return exitCode != 0;
    }
    constexpr bool IsOverLimit() const noexcept
    {
        return tookMs > limitMs || releaseMs > releaseLimitMs;
    }
    constexpr bool IsLeaked() const noexcept
    {
        return after.handles > before.handles || after.threads > before.threads;
    }
    constexpr bool IsNotRecovered() const noexcept
    {
        return recovery == kNotRecovered;
    }
    constexpr bool IsUndelivered() const noexcept
    {
        return isRun && !IsCrashed() && !isDelivered;
    }
    constexpr bool IsGood() const noexcept
    {
        return isRun && !IsCrashed() && !IsOverLimit() && !IsLeaked() && !IsNotRecovered() && isDelivered && !isWrong;
    }
    /// A busy machine may have done it, or something of the system's that comes once.
    constexpr bool DeservesAnotherTry() const noexcept
    {
        return isDelivered && !isWrong && !IsNotRecovered() && (IsOverLimit() || IsLeaked());
    }
};

/// What a process had before its first cell, and has behind its last: a leak too slow for a single cell.
struct ProcessUsage
{
    Usage first = {};
    Usage last = {};

    /// What the system keeps once it has been needed. A leak in each cell, or in each of a method, is more.
    static constexpr int kMayGrowHandles = 16;
    static constexpr int kMayGrowThreads = 4;

    constexpr int GrownHandles() const noexcept
    {
        return static_cast<int>(last.handles) - static_cast<int>(first.handles);
    }
    constexpr int GrownThreads() const noexcept
    {
        return static_cast<int>(last.threads) - static_cast<int>(first.threads);
    }
    constexpr bool IsGrown() const noexcept
    {
        return GrownHandles() > kMayGrowHandles || GrownThreads() > kMayGrowThreads;
    }
};

/// How the process that runs cells tells the one that started it, line by line.
namespace CellProtocol
{
/// Before a cell: nothing more is to be expected from it after that time.
std::string Begin(std::size_t cell, DWORD deadlineMs);
std::string End(std::size_t cell, const CellResult& result);
/// Behind the last cell.
std::string Process(const ProcessUsage& usage);

struct Line
{
    std::size_t cell = 0;
    DWORD deadlineMs = 0;             ///< of a beginning
    std::optional<CellResult> result; ///< of an end
    std::optional<ProcessUsage> process;
};
/// Nothing for any other text.
std::optional<Line> Parse(const std::string& line);
} // namespace CellProtocol
