#pragma once

#include "Core/CommandLine.h"
#include "Core/Commands.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What the program gets from its surroundings; the tests bring their own.
struct ClientSurroundings
{
    std::optional<std::string> environmentPassword;
    std::istream& in;
    ClientStreams streams;
    /// Makes the way to the component that the arguments ask for; `trace` (null without --verbose) outlives it.
    std::function<std::unique_ptr<IComponentHost>(const ClientArguments& arguments, std::ostream* trace)> makeHost;
    StreamSurroundings streaming = {};
};

namespace Client
{
/// The whole program but for the operating system: `words` is the command line in UTF-8 without the program's name.
/// Returns the exit code.
int Run(const std::vector<std::string>& words, const ClientSurroundings& surroundings);
} // namespace Client
