#pragma once

namespace ExitCode
{
inline constexpr int kSuccess = 0;
/// The command line was understood; what it asked for failed.
inline constexpr int kFailure = 1;
inline constexpr int kUsage = 2;
} // namespace ExitCode
