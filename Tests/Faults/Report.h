#pragma once

#include "Tests/Faults/CellResult.h"
#include "Tests/Faults/Matrix.h"

#include <ostream>
#include <string>
#include <vector>

/// What came out, for people and for programs. `results` has a result for each of `cells`.
namespace Report
{
/// A line for each misbehaviour, a column for each kind of request; what happened to the methods of a column is joined.
/// Misbehaviours of one kind with the same outcome share a line.
void WriteTables(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results);

/// Every cell that failed, with its numbers.
void WriteFailures(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results);

void WriteJson(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results);
} // namespace Report
