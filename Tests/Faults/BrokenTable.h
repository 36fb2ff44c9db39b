#pragma once

struct MatrixTable;

/// A table whose methods fail on purpose, each in one way: proof that the program sees it.
namespace BrokenTable
{
MatrixTable Make();
}
