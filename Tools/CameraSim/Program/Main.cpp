#include "CameraSim/CameraSimulator.h"
#include "CameraSim/Program/CommandLine.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

namespace
{

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void OnSignal(int)
{
    g_interrupted = 1;
}

std::string UrlOf(const std::string& address, std::uint16_t port)
{
    const bool isV6 = address.find(':') != std::string::npos;
    return "http://" + (isV6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

void PrintRequest(const JournalEntry& entry)
{
    std::string line = "#" + std::to_string(entry.number) + " connection " + std::to_string(entry.request.connection);
    line += entry.request.method.empty() ? " (unreadable request)"
                                         : " " + entry.request.method + " " + entry.request.target;
    line += entry.status == 0
                ? " -> no answer"
                : " -> " + std::to_string(entry.status) + ", " + std::to_string(entry.bodyBytes) + " bytes";
    for (const std::string& fault : entry.faults)
        line += ", fault " + fault;
    if (!entry.note.empty())
        line += " (" + entry.note.substr(0, 200) + ")";
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

/// Whole or not at all: a script that waits for the file must not read half of it.
void WritePortFile(const std::string& path, const CCameraSimulator& simulator)
{
    const std::filesystem::path target(path);
    std::filesystem::path draft = target;
    draft += ".new";
    {
        std::ofstream file(draft, std::ios::trunc);
        file << "{\"port\": " << simulator.Port() << ", \"controlPort\": " << simulator.ControlPort() << "}\n";
        if (!file.flush())
            throw std::runtime_error("Cannot write the port file " + path + "; does its folder exist?");
    }
    std::filesystem::rename(draft, target);
}

void PrintWelcome(const ProgramOptions& options, const CCameraSimulator& simulator)
{
    const CameraState state = simulator.State();
    std::printf("camerasim: %s (%s) at %s/\n", state.model.c_str(),
                state.standard == VideoStandard::Ntsc ? "ntsc" : "pal",
                UrlOf(options.simulator.bindAddress, simulator.Port()).c_str());
    if (simulator.ControlPort() != 0)
        std::printf("camerasim: control at %s/state\n", UrlOf("127.0.0.1", simulator.ControlPort()).c_str());
    std::printf("camerasim: Ctrl+C ends it\n");
    std::fflush(stdout);
}

void ServeUntilStopped(const ProgramOptions& options, const CCameraSimulator& simulator)
{
    constexpr std::chrono::milliseconds kSignalCheck{100};
    const auto started = std::chrono::steady_clock::now();
    while (!g_interrupted && !simulator.WaitForStopRequest(kSignalCheck))
    {
        if (options.duration && std::chrono::steady_clock::now() - started >= *options.duration)
            break;
    }
}

int Run(ProgramOptions options)
{
    if (options.verbose)
        options.simulator.onRequest = PrintRequest;
    CCameraSimulator simulator(options.simulator);
    CameraChange change;
    for (const auto& [name, value] : options.settings)
        change.settings.emplace_back(name, value);
    simulator.Change(change);
    simulator.Start();
    if (!options.portFile.empty())
        WritePortFile(options.portFile, simulator);
    PrintWelcome(options, simulator);
    ServeUntilStopped(options, simulator);
    simulator.Stop();
    std::printf("camerasim: %llu requests served\n", static_cast<unsigned long long>(simulator.State().requests));
    return CommandLine::kExitOk;
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    try
    {
        CommandLine::Result result = CommandLine::Parse({argv + 1, argv + argc});
        if (result.options)
            return Run(std::move(*result.options));
        std::fputs(result.text.c_str(), result.exitCode == CommandLine::kExitOk ? stdout : stderr);
        return result.exitCode;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "camerasim: %s\n", error.what());
        return CommandLine::kExitFailure;
    }
}
