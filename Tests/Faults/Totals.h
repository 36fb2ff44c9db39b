#pragma once

#include "Tests/Faults/CellResult.h"
#include "Tests/Faults/Matrix.h"

#include <ostream>
#include <vector>

/// The sums of a run. `results` has a result for each of `cells`.
namespace Totals
{
/// A line for each table, "IPELA: 7 cells, 1 without a request, 0 crashed, 0 over their limit, ...", and one for all.
/// True when all of them are good.
bool WriteVerdict(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results);

/// What is no failure of a cell but has to be known: further tries, how soon cells recovered, the longest release.
void WriteEffort(std::ostream& out, const std::vector<CellResult>& results);

/// "101 processes, 0 grown, at most ...". True when none has grown.
bool WriteProcesses(std::ostream& out, const std::vector<ProcessUsage>& processes);
} // namespace Totals
