// Loads the library, uses it on several threads at cameras that misbehave, and unloads it as soon as it says that it
// may be unloaded, again and again: whatever of WinInet is on its way out of our code then must not find it gone.
//
// usage: LoadSoak --seconds N --seed N [--fault FAULT]... CAMERA...      runs children, eight at least, for so long
//        LoadSoak --cycles N --seed N [--fault FAULT]... CAMERA...       is such a child
// With --fault the cameras have those faults only, as "KIND@PATH*COUNT".
// A library that had to stay in memory stays until its process ends: hence the children, which then end.
// Exit codes: 0 every child ended well and the library has left memory often enough, 1 not; others for wrong options.

#include "Tests/Soak/LoopbackPort.h"
#include "Tests/Soak/SoakVisitor.h"
#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/HandleCount.h"
#include "Tests/Support/RegistryValues.h"

#include <objbase.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{
constexpr DWORD kRequestLimitMs = 300;
constexpr int kVisitors = 3;
constexpr int kChildCycles = 6;
constexpr DWORD kBadChild = 200;       ///< exit code; a good child's is how often the library has left memory
constexpr unsigned kLeastUnloads = 1;  ///< in each process on average
constexpr unsigned kLeastChildren = 8; ///< for an average; each of them may be kept at its first cycle
constexpr DWORD kChildLimitMs = 300'000;
constexpr DWORD kUnloadableLimitMs = 60'000; ///< WinInet gives up a read after 30 s
/// The component keeps the library for good when a request is still dying as its object is released: a request that was
/// given up for half a second (WinInet's limit lies so much above ours), and under Wine any request for a moment behind
/// its end, which is reported before WinInet's thread is done with it. Whoever stays up to four times as long lets the
/// library mostly leave memory, at any distance from those moments.
constexpr int kLongestStayMs = 4 * 500;
constexpr unsigned kHandleBound = 24; ///< kept-alive connections and workers of the system come and go

struct Options
{
    std::uint32_t seconds = 0;
    int cycles = 0;
    unsigned seed = 1;
    std::vector<std::string> faults; ///< empty: any
    std::vector<std::string> cameraTexts;
    std::vector<SoakCamera> cameras;
};

/// Of the children of one kind.
struct Tally
{
    unsigned children = 0;
    DWORD unloads = 0; ///< how often the library left memory in them
};

void UseOnThreads(const CComponentLibrary& library, const Options& options, CCallBook& book, SoakRandom& random)
{
    const CallLimits limits{.requestMs = kRequestLimitMs, .sharingCalls = kVisitors - 1};
    std::vector<std::thread> threads;
    for (int i = 0; i < kVisitors; ++i)
    {
        Mischief::Make(RandomElement(random, options.cameras), random, options.faults);
        threads.emplace_back([&, seed = random()] {
            if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
                std::terminate();
            {
                const CLoopbackPort media(SOCK_DGRAM);
                const auto make = [&] {
                    CComPointer<IAVCommand5> command;
                    if (FAILED(library.Factory(CLSID_AVCommand)
                                   ->CreateInstance(nullptr, IID_IAVCommand5, command.putVoid())))
                        std::terminate();
                    return command;
                };
                CSoakVisitor(make, options.cameras, book, limits, media.Number(), seed).Visit(kLongestStayMs);
            }
            ::CoUninitialize();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

void WaitUntilUnloadable(const CComponentLibrary& library)
{
    const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const ULONGLONG end = ::GetTickCount64() + kUnloadableLimitMs;
    while (library.CanUnloadNow() != S_OK)
    {
        if (::GetTickCount64() >= end)
            throw std::runtime_error("the library cannot be unloaded");
        ::WaitForSingleObject(never.get(), 1);
    }
}

bool IsLoaded()
{
    return ::GetModuleHandleW(L"Quorvane.dll") != nullptr;
}

/// Until so many cycles are over, or the library stays in memory. Returns the exit code: how often it has left memory.
DWORD RunCycles(const Options& options)
{
    SoakRandom random(options.seed);
    CCallBook book;
    DWORD unloads = 0;
    unsigned firstHandles = 0;
    for (int cycle = 0; cycle < options.cycles && unloads == static_cast<DWORD>(cycle); ++cycle)
    {
        {
            const CComponentLibrary library;
            UseOnThreads(library, options, book, random);
            WaitUntilUnloadable(library);
        }
        unloads += IsLoaded() ? 0 : 1;
        if (cycle == 0)
            firstHandles = CountOwnHandles();
    }
    const unsigned lastHandles = CountOwnHandles();
    const std::string late = book.FindLate();
    std::cout << "seed " << options.seed << ": left memory " << unloads << " times"
              << (IsLoaded() ? " and was then kept" : "") << ", handles " << firstHandles << " -> " << lastHandles
              << (late.empty() ? "" : ", " + late) << std::endl;
    return late.empty() && lastHandles <= firstHandles + kHandleBound ? unloads : kBadChild;
}

/// Under Wine a thread of WinInet's is inside every tunnel's POST when the tunnel is closed, and the library is then
/// kept: one child in four has cameras with tunnels.
bool HasTunnels(unsigned seed)
{
    return seed % 4 == 0;
}

DWORD RunChild(const Options& options, unsigned seed)
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring commandLine = L"\"" + std::wstring(path) + L"\" --cycles " + std::to_wstring(kChildCycles) +
                               L" --seed " + std::to_wstring(seed);
    for (const std::string& fault : options.faults)
        commandLine += L" --fault " + std::wstring(fault.begin(), fault.end());
    for (std::size_t i = 0; i < options.cameras.size(); ++i)
        if (HasTunnels(seed) || options.cameras[i].family == SoakFamily::Ipela)
            commandLine += L" " + std::wstring(options.cameraTexts[i].begin(), options.cameraTexts[i].end());
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
        throw std::runtime_error("no child can be started");
    const CKernelHandle thread(process.hThread);
    const CKernelHandle child(process.hProcess);
    DWORD exitCode = STILL_ACTIVE;
    if (::WaitForSingleObject(child.get(), kChildLimitMs) != WAIT_OBJECT_0)
        ::TerminateProcess(child.get(), exitCode);
    else
        ::GetExitCodeProcess(child.get(), &exitCode);
    return exitCode;
}

int RunChildren(const Options& options)
{
    CTestRegistryKey settings(L"Software\\Orbell\\Video");
    settings.SetText(L"CameraCGICommandTimeout", std::to_wstring(kRequestLimitMs));
    Tally withTunnels;
    Tally without;
    unsigned children = 0;
    unsigned failures = 0;
    const ULONGLONG end = ::GetTickCount64() + options.seconds * 1000ull;
    do
    {
        const unsigned seed = options.seed + children;
        ++children;
        Tally& tally = HasTunnels(seed) ? withTunnels : without;
        ++tally.children;
        if (const DWORD exitCode = RunChild(options, seed); exitCode <= kChildCycles)
            tally.unloads += exitCode;
        else
        {
            std::cout << "FAILED: the child with seed " << seed << " ended with " << exitCode << std::endl;
            ++failures;
        }
    } while (::GetTickCount64() < end || children < kLeastChildren);
    for (const SoakCamera& camera : options.cameras)
        Mischief::End(camera);
    const DWORD unloads = withTunnels.unloads + without.unloads;
    std::cout << children << " processes, " << failures << " failed; the library left memory " << unloads
              << " times: " << without.unloads << " in " << without.children << " without tunnels, "
              << withTunnels.unloads << " in " << withTunnels.children << " with\n";
    const bool hasUnloaded = unloads >= children * kLeastUnloads;
    if (!hasUnloaded)
        std::cout << "FAILED: it stays in memory too often\n";
    return failures == 0 && hasUnloaded ? 0 : 1;
}
} // namespace

int main(int count, char** arguments)
try
{
    WSADATA data = {};
    if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
        throw std::runtime_error("no Winsock");
    Options options;
    CLI::App app("Loads, uses and unloads the library while requests are dying", "LoadSoak");
    app.add_option("--seconds", options.seconds);
    app.add_option("--cycles", options.cycles);
    app.add_option("--seed", options.seed);
    app.add_option("--fault", options.faults)->allow_extra_args(false);
    app.add_option("cameras", options.cameraTexts)->required();
    CLI11_PARSE(app, count, arguments);
    std::ranges::transform(options.cameraTexts, std::back_inserter(options.cameras), &ParseCamera);
    return options.cycles != 0 ? static_cast<int>(RunCycles(options)) : RunChildren(options);
}
catch (const std::exception& exception)
{
    std::cerr << "load soak: " << exception.what() << '\n';
    return kBadChild;
}
