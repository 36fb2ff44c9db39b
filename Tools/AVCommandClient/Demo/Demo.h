#pragma once

#include "Core/Commands.h"

namespace Demo
{
/// The walk-through against the simulator that the arguments name. Returns the exit code: success only when every step
/// was as expected.
int Run(const ClientArguments& arguments, IComponentHost& host, const ClientStreams& streams);
} // namespace Demo
