#include "Client.h"

#include "Core/ExitCode.h"
#include "Demo/Demo.h"

#include <ostream>

namespace Client
{
int Run(const std::vector<std::string>& words, const ClientSurroundings& surroundings)
{
    const ClientStreams& streams = surroundings.streams;
    const ParseOutcome outcome = CommandLine::Parse(words, surroundings.environmentPassword, surroundings.in);
    if (!outcome.arguments)
    {
        std::ostream& stream = outcome.exitCode == ExitCode::kSuccess ? streams.out : streams.err;
        stream << outcome.message << (outcome.message.ends_with('\n') ? "" : "\n");
        return outcome.exitCode;
    }
    const ClientArguments& arguments = *outcome.arguments;
    const std::unique_ptr<IComponentHost> host =
        surroundings.makeHost(arguments, arguments.isVerbose ? &streams.err : nullptr);
    return arguments.verb == Verb::kDemo ? Demo::Run(arguments, *host, streams)
                                         : Commands::Run(arguments, *host, streams, surroundings.streaming);
}
} // namespace Client
