#pragma once

#include "Tests/FailedCalls/Report.h"

#include <windows.h>

#include <filesystem>

/// Runs the worker until it has let every call fail that it is to, and starts it again behind each one that it died
/// of. Against two cameras in processes of their own.
namespace WorkerProcess
{
/// Adds to the report what a run says, which is ended after `limitMs`. `mode`: see class Mode. The records are added to
/// the file `records`, where they are complete up to the call that is let fail.
void Run(const std::string& mode, DWORD limitMs, const std::filesystem::path& records, Report& report);

/// Adds the records from `position` on, which is moved behind them.
void Read(const std::filesystem::path& records, std::streamoff& position, Report& report);
} // namespace WorkerProcess
