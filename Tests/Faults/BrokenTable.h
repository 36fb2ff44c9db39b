#pragma once

#include <vector>

struct MatrixTable;

/// Tables whose methods fail on purpose, each in one way: proof that the program sees it.
namespace BrokenTable
{
std::vector<MatrixTable> Make();
}
