#include "Tests/Faults/MatrixRunner.h"

#include "Tests/Faults/CellProcess.h"

#include <algorithm>
#include <atomic>
#include <iostream>
#include <thread>

namespace
{
/// Few enough that the last process does not keep everybody waiting, many enough that starting one costs little.
constexpr std::size_t kRangeCells = 60;
/// For a process that has not begun its first cell, or has ended its last.
constexpr DWORD kIdleLimitMs = 120'000;
} // namespace

CMatrixRunner::CMatrixRunner(const std::vector<Cell>& cells, std::wstring childOptions)
    : m_cells(cells), m_childOptions(std::move(childOptions)), m_results(cells.size())
{
}

void CMatrixRunner::Run(unsigned processes)
{
    const std::vector<Range> ranges = Ranges();
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> countDone{0};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < processes; ++i)
    {
        threads.emplace_back([&] {
            for (std::size_t mine = next++; mine < ranges.size(); mine = next++)
            {
                RunRange(ranges[mine]);
                std::cerr << "faults: " << ++countDone << " of " << ranges.size() << " parts done\n";
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

std::vector<CMatrixRunner::Range> CMatrixRunner::Ranges() const
{
    std::vector<Range> ranges;
    for (std::size_t begin = 0; begin < m_cells.size();)
    {
        std::size_t end = begin;
        while (end < m_cells.size() && end - begin < kRangeCells && m_cells[end].table == m_cells[begin].table)
            ++end;
        ranges.push_back({begin, end});
        begin = end;
    }
    // The last table takes the longest, and nobody shall have to wait for its last cells.
    std::reverse(ranges.begin(), ranges.end());
    return ranges;
}

void CMatrixRunner::RunRange(Range range)
{
    while (range.begin < range.end)
        range.begin = RunProcess(range);
}

std::size_t CMatrixRunner::RunProcess(Range range)
{
    CCellProcess process(m_childOptions, range.begin, range.end);
    std::size_t current = range.begin;
    bool isInCell = false;
    process.SetDeadline(kIdleLimitMs);
    while (const auto text = process.NextLine())
    {
        const auto line = CellProtocol::Parse(*text);
        if (line && line->process)
        {
            const std::lock_guard lock(m_lock);
            m_processes.push_back(*line->process);
            continue;
        }
        if (!line || line->cell < range.begin || line->cell >= range.end)
            continue;
        isInCell = !line->result;
        current = isInCell ? line->cell : line->cell + 1;
        process.SetDeadline(isInCell ? line->deadlineMs : kIdleLimitMs);
        if (!isInCell)
            m_results[line->cell] = *line->result;
    }
    if (current == range.end && !isInCell)
        return current;
    // Ended by itself or by us, in this cell or on the way to it. Should it have ended well, it has told lies.
    CellResult& result = m_results[current];
    result.isRun = true;
    result.exitCode = process.ExitCode() != 0 ? process.ExitCode() : 1;
    std::cerr << "faults: " << Matrix::NameOf(m_cells[current]) << ": " << process.LastWords() << '\n';
    return current + 1;
}
