#pragma once

#include "Tests/Faults/Method.h"
#include "Tests/Faults/Misbehaviour.h"

#include <cstddef>
#include <string>
#include <vector>

/// One table of the matrix: every misbehaviour against every method.
struct MatrixTable
{
    const char* title;
    const char* model; ///< of the simulated camera
    std::vector<Misbehaviour> rows;
    std::vector<Method> columns;
};

/// One misbehaviour, one method; the rest of the program speaks of cells by their place in the list of all.
struct Cell
{
    const MatrixTable* table;
    const Misbehaviour* row;
    const Method* method;
};

namespace Matrix
{
/// Every table. The broken ones instead have a method for every way in which a cell can fail; they test the program.
std::vector<MatrixTable> Tables(bool isBroken);

/// All cells in their order, those left out for which a misbehaviour means nothing. Names must contain `part`.
std::vector<Cell> Cells(const std::vector<MatrixTable>& tables, const std::string& part);

std::string NameOf(const Cell& cell);
} // namespace Matrix
