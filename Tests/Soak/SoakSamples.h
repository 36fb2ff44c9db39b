#pragma once

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <vector>

/// What one look at the process found. One look a second.
struct SoakSample
{
    std::uint32_t second = 0;
    std::uint32_t handles = 0;
    std::uint32_t threads = 0;
    std::uint32_t held = 0;       ///< by the component itself: blocks of memory, handles, locks, timers
    std::uint32_t heapBlocks = 0; ///< in use, of all heaps, but for the next
    /// Records of connections that WinInet of Wine 8 has lost, one for each that a camera breaks off during an answer.
    std::uint32_t lostConnections = 0;
    std::uint32_t heapKilobytes = 0;
    std::uint32_t privateKilobytes = 0;
    std::uint32_t visits = 0;       ///< how often an object was made, used and released so far
    std::uint32_t quietSeconds = 0; ///< for how long nobody has had an object
};

/// One count over a run: whether it is flat, and by which figures.
struct SoakTrend
{
    std::string name;
    std::uint32_t first = 0; ///< the least of the settled looks of the first pause
    std::uint32_t last = 0;  ///< the least of those of the last one
    std::uint32_t bound = 0; ///< by how much the last may exceed the first
    double perMinute = 0;    ///< slope of the straight line through all looks of the run's second half (least squares)

    [[nodiscard]] bool IsFlat() const noexcept
    {
        return last <= first || last - first <= bound;
    }
};

/// Judges the samples of a run. Portable: it has tests that need no run.
namespace SoakVerdict
{
/// A look is settled when nobody has had an object for so long: longer than WinInet may go on reading from a camera for
/// a tunnel that was closed (CAsyncHttpRequestStream::kReceiveLimitMs).
inline constexpr std::uint32_t kSettledSeconds = 35;

/// What is there in settled looks is what stays. The first pause must come after the first work: what the system keeps
/// after the first requests it keeps once. Throws std::runtime_error when there are not two pauses with settled looks.
std::vector<SoakTrend> Judge(std::span<const SoakSample> samples);

void WriteCsvHead(std::ostream& out);
void WriteCsvLine(std::ostream& out, const SoakSample& sample);
} // namespace SoakVerdict
