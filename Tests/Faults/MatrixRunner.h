#pragma once

#include "Tests/Faults/CellResult.h"
#include "Tests/Faults/Matrix.h"

#include <mutex>
#include <string>
#include <vector>

/// Runs all cells in processes of their own, several at a time, a range of cells in each: whatever a cell does to its
/// process is seen as that cell's failure, and the next process goes on behind it.
class CMatrixRunner
{
public:
    /// `childOptions` makes a process see the same cells.
    CMatrixRunner(const std::vector<Cell>& cells, std::wstring childOptions);

    /// Once.
    void Run(unsigned processes);

    const std::vector<CellResult>& Results() const noexcept
    {
        return m_results;
    }
    /// Of the processes that came to their end.
    const std::vector<ProcessUsage>& Processes() const noexcept
    {
        return m_processes;
    }

private:
    struct Range
    {
        std::size_t begin;
        std::size_t end;
    };

    std::vector<Range> Ranges() const;
    void RunRange(Range range);
    /// Where the next process goes on.
    std::size_t RunProcess(Range range);

    const std::vector<Cell>& m_cells;
    const std::wstring m_childOptions;
    std::vector<CellResult> m_results; ///< each written by the one thread that has its range
    std::mutex m_lock;
    std::vector<ProcessUsage> m_processes; ///< under the lock
};
