#include "Demo/Demo.h"

#include "Core/ExitCode.h"
#include "Demo/DemoWalk.h"
#include "Demo/SimulatorClient.h"

#include <ostream>
#include <thread>

namespace Demo
{
namespace
{
void Walk(const ClientArguments& arguments, IComponentHost& host, CDemoReport& report)
{
    CSimulatorClient simulator(arguments.simHost, arguments.simPort);
    // The streams come from where the simulator is: listen on the address that reaches it.
    CUdpStreamReceiver video(simulator.LocalAddress());
    CUdpStreamReceiver audio(simulator.LocalAddress());
    const auto pause = [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); };
    CDemoWalk({host, simulator, video, audio, pause}, report).Run();
}
} // namespace

int Run(const ClientArguments& arguments, IComponentHost& host, const ClientStreams& streams)
{
    CDemoReport report(streams.out, arguments.isJson);
    std::string reason;
    try
    {
        Walk(arguments, host, report);
    }
    catch (const CallFailure& failure)
    {
        reason = failure.call + " failed with " + HResults::Describe(failure.hr);
    }
    catch (const std::exception& error)
    {
        reason = error.what();
    }
    if (!reason.empty())
    {
        report.Abort(reason);
        streams.err << "avcommand: the demo stopped: " << reason << '\n';
    }
    return report.Finish() ? ExitCode::kSuccess : ExitCode::kFailure;
}
} // namespace Demo
