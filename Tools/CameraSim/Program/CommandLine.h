#pragma once

#include "CameraSim/CameraSimulator.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the camerasim program was asked to do.
struct ProgramOptions
{
    CameraSimulatorOptions simulator;
    std::vector<std::pair<std::string, std::string>> settings; ///< put in place before the camera starts
    std::string portFile;                                      ///< empty: none
    bool verbose = false;
    std::optional<std::chrono::seconds> duration; ///< no value: until it is stopped
};

namespace CommandLine
{

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1; ///< could not do what it was asked to
inline constexpr int kExitUsage = 2;   ///< asked for something that makes no sense

/// Either options, or the text to print and the exit code to end with (help and version end with 0).
struct Result
{
    std::optional<ProgramOptions> options;
    std::string text;
    int exitCode = kExitOk;
};

/// `arguments` without the program's name.
Result Parse(std::vector<std::string> arguments);

} // namespace CommandLine
