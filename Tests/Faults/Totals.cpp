#include "Tests/Faults/Totals.h"

#include <algorithm>
#include <map>

namespace
{
struct Sums
{
    unsigned cells = 0;
    unsigned withoutRequest = 0;
    unsigned crashed = 0;
    unsigned overLimit = 0;
    unsigned leaked = 0;
    unsigned notRecovered = 0;
    unsigned notDelivered = 0;
    unsigned wrong = 0;
    unsigned good = 0;

    void Add(const Cell& cell, const CellResult& result)
    {
        ++cells;
        withoutRequest += cell.method->SendsRequests() ? 0 : 1;
        crashed += result.IsCrashed() ? 1 : 0;
        overLimit += result.IsOverLimit() ? 1 : 0;
        leaked += result.IsLeaked() ? 1 : 0;
        notRecovered += result.IsNotRecovered() ? 1 : 0;
        notDelivered += result.IsUndelivered() ? 1 : 0;
        wrong += result.isWrong ? 1 : 0;
        good += result.IsGood() ? 1 : 0;
    }
};

std::ostream& operator<<(std::ostream& out, const Sums& sums)
{
    return out << sums.cells << " cells, " << sums.withoutRequest << " without a request, " << sums.crashed
               << " crashed, " << sums.overLimit << " over their limit, " << sums.leaked << " leaked, "
               << sums.notRecovered << " not recovered, " << sums.notDelivered << " not delivered, " << sums.wrong
               << " with a wrong result";
}
} // namespace

bool Totals::WriteVerdict(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results)
{
    Sums all;
    std::vector<std::pair<const MatrixTable*, Sums>> tables;
    for (std::size_t i = 0; i < cells.size(); ++i)
    {
        if (tables.empty() || tables.back().first != cells[i].table)
            tables.push_back({cells[i].table, {}});
        tables.back().second.Add(cells[i], results[i]);
        all.Add(cells[i], results[i]);
    }
    for (const auto& [table, sums] : tables)
        out << table->title << ": " << sums << '\n';
    out << "All: " << all << '\n';
    return all.cells != 0 && all.good == all.cells;
}

void Totals::WriteEffort(std::ostream& out, const std::vector<CellResult>& results)
{
    std::map<unsigned, unsigned> runs;
    std::map<unsigned, unsigned> recoveries;
    DWORD longestReleaseMs = 0;
    for (const CellResult& result : results)
    {
        if (!result.isRun || result.IsCrashed())
            continue;
        ++runs[result.runs];
        if (!result.IsNotRecovered())
            ++recoveries[result.recovery];
        longestReleaseMs = std::max(longestReleaseMs, result.releaseMs);
    }
    const auto write = [&](const char* title, const std::map<unsigned, unsigned>& counts) {
        out << title;
        const char* separator = ": ";
        for (const auto& [number, count] : counts)
            out << std::exchange(separator, ", ") << number << ": " << count;
        out << '\n';
    };
    write("Cells by tries", runs);
    write("Cells by the call that went well again", recoveries);
    out << "Longest release: " << longestReleaseMs << " ms\n";
}

bool Totals::WriteProcesses(std::ostream& out, const std::vector<ProcessUsage>& processes)
{
    int handles = 0;
    int threads = 0;
    for (const ProcessUsage& process : processes)
    {
        handles = std::max(handles, process.GrownHandles());
        threads = std::max(threads, process.GrownThreads());
    }
    const auto countGrown = std::count_if(processes.begin(), processes.end(),
                                          [](const ProcessUsage& process) { return process.IsGrown(); });
    out << processes.size() << " processes, " << countGrown << " grown, at most " << handles << " handles of "
        << ProcessUsage::kMayGrowHandles << " and " << threads << " threads of " << ProcessUsage::kMayGrowThreads
        << " more behind the last cell than before the first\n";
    return countGrown == 0;
}
