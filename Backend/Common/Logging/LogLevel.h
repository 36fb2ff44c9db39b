#pragma once

#include <cstdint>

/// Levels are single bits, so that a mask selects any set of them.
enum class LogLevel : std::uint32_t
{
    Debug = 1,       ///< routine progress and some expected failures
    Information = 4, ///< a few notices
    Error = 8,       ///< failures of system and library calls, and most other failures
    Trace = 32,      ///< notifications of the HTTP layer
};
