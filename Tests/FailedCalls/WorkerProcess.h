#pragma once

#include "Tests/FailedCalls/Report.h"

#include <windows.h>

/// Runs the worker until it has let every call fail that it is to, and starts it again behind each one that it died
/// of. Against two cameras in processes of their own.
namespace WorkerProcess
{
/// Adds to the report what a run says, which is ended after `limitMs`. `mode`: see class Mode.
void Run(const std::string& mode, DWORD limitMs, Report& report);
} // namespace WorkerProcess
