// The component in a host that never rests: several objects on several threads, each in an apartment of its own, at
// cameras that misbehave at random. What the process holds is looked at every second.
//
// usage: Soak --seconds N --seed N --samples FILE [--leak handle|thread|memory] [--fault FAULT]... CAMERA...
// N seconds of work, and pauses on top. The cameras are simulators that run already. With --leak the visitors lose
// something on purpose after every visit, to show that it is noticed. With --fault the cameras have those faults only,
// as "KIND@PATH*COUNT", to find out which one it is that something comes of. Exit codes: 0 flat, in time and kept
// alive, 1 not, 2 no run; others for wrong options.

#include "Tests/Soak/LoopbackPort.h"
#include "Tests/Soak/OwnUsage.h"
#include "Tests/Soak/SoakVisitor.h"
#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/RegistryValues.h"

#include <objbase.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <thread>

namespace
{
constexpr DWORD kRequestLimitMs = 700;
constexpr std::uint32_t kWorkSeconds = 20; ///< from one pause to the next
constexpr std::uint32_t kShortPauseSeconds = 4;
constexpr std::uint32_t kLongPauseSeconds = SoakVerdict::kSettledSeconds + 10; ///< after the first work and at the end
constexpr std::uint32_t kEndSeconds = 120;                                     ///< for a visit to end
constexpr int kVisitorsPerCamera = 2;

struct Options
{
    std::uint32_t seconds = 120;
    unsigned seed = 1;
    std::string samplesFile;
    std::string leak;
    std::vector<std::string> faults; ///< empty: any
    std::vector<std::string> cameraTexts;
    std::vector<SoakCamera> cameras;
};

DWORD WINAPI WaitForHours(void*)
{
    ::WaitForSingleObject(::GetCurrentProcess(), 24 * 3600 * 1000);
    return 0;
}

/// Loses something: a host with a leak as small as leaks are.
void Leak(const std::string& kind)
{
    if (kind == "handle")
        (void)::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    else if (kind == "thread")
        (void)CKernelHandle(
            ::CreateThread(nullptr, 64 * 1024, &WaitForHours, nullptr, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
    else if (kind == "memory")
        for (int i = 0; i < 2; ++i) // an object and its text
            (void)::HeapAlloc(::GetProcessHeap(), 0, 200);
}

/// A new object, created as a client does.
CComPointer<IAVCommand5> MakeObject()
{
    CLSID clsid = {};
    CComPointer<IAVCommand5> command;
    if (FAILED(::CLSIDFromProgID(L"Quorvane.AVCommand", &clsid)) ||
        FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, command.putVoid())))
        throw std::runtime_error("Quorvane.AVCommand cannot be created");
    return command;
}

/// The visitors, whom one thread lets work and makes pause.
class CSoakRun
{
public:
    explicit CSoakRun(const Options& options) : m_options(options)
    {
        m_mayWork.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        SoakCamera nobody{.family = SoakFamily::Nobody, .name = L"127.0.0.1", .port = m_nobody.Number()};
        const CallLimits limits{.requestMs = kRequestLimitMs, .sharingCalls = kVisitorsPerCamera - 1};
        unsigned seed = options.seed;
        for (const SoakCamera& camera : options.cameras)
            for (int i = 0; i < kVisitorsPerCamera; ++i)
            {
                // The IPELA visitors go to the closed port, too.
                auto& own = m_visited.emplace_back(new std::vector<SoakCamera>(5, camera));
                if (camera.family == SoakFamily::Ipela)
                    own->push_back(nobody);
                m_threads.emplace_back(
                    [this, &own = *own, limits, visitorSeed = ++seed] { Work(own, limits, visitorSeed); });
            }
    }
    ~CSoakRun()
    {
        m_isOver = true;
        ::SetEvent(m_mayWork.get());
        for (std::thread& thread : m_threads)
            thread.join();
    }
    CSoakRun(const CSoakRun&) = delete;
    CSoakRun& operator=(const CSoakRun&) = delete;

    void LetWork()
    {
        ::SetEvent(m_mayWork.get());
    }
    void MakePause()
    {
        ::ResetEvent(m_mayWork.get());
    }
    bool IsQuiet() const
    {
        return m_resting == m_threads.size();
    }
    /// What keeps the run from going on; empty when nothing does.
    std::string Failure() const
    {
        const std::lock_guard holder(m_lock);
        return !m_failure.empty() ? m_failure : m_book.FindLate();
    }
    std::uint32_t Visits() const
    {
        return m_visits;
    }
    const CCallBook& Book() const
    {
        return m_book;
    }

private:
    void Work(const std::vector<SoakCamera>& cameras, const CallLimits& limits, unsigned seed)
    try
    {
        if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
            throw std::runtime_error("no apartment");
        {
            const CLoopbackPort media(SOCK_DGRAM);
            CSoakVisitor visitor(&MakeObject, cameras, m_book, limits, media.Number(), seed);
            while (WaitForWork())
            {
                visitor.Visit();
                Leak(m_options.leak);
                ++m_visits;
            }
        }
        ::CoUninitialize();
    }
    catch (const std::exception& exception)
    {
        const std::lock_guard holder(m_lock);
        m_failure = exception.what();
    }
    bool WaitForWork()
    {
        ++m_resting;
        while (!m_isOver && ::WaitForSingleObject(m_mayWork.get(), 500) == WAIT_TIMEOUT)
        {
        }
        --m_resting;
        return !m_isOver;
    }

    const Options& m_options;
    CLoopbackPort m_nobody{SOCK_STREAM};
    CKernelHandle m_mayWork;
    CCallBook m_book;
    std::vector<std::unique_ptr<std::vector<SoakCamera>>> m_visited;
    mutable std::mutex m_lock;
    std::string m_failure;
    std::atomic<std::uint32_t> m_visits{0};
    std::atomic<std::size_t> m_resting{0};
    std::atomic<bool> m_isOver{false};
    std::vector<std::thread> m_threads;
};

/// The run's second hand: samples, mischief, and who may work.
class CSoakClock
{
public:
    CSoakClock(const Options& options, CSoakRun& run)
        : m_options(options), m_run(run), m_random(options.seed), m_file(options.samplesFile)
    {
        SoakVerdict::WriteCsvHead(m_file);
    }
    /// `workSeconds` of work, with pauses. Throws when something keeps the visitors from working or from resting.
    void Go(std::uint32_t workSeconds)
    {
        for (std::uint32_t worked = 0; worked < workSeconds; worked += kWorkSeconds)
        {
            m_run.LetWork();
            for (std::uint32_t i = 0; i < kWorkSeconds; ++i)
            {
                Look(0);
                MakeMischief();
            }
            m_run.MakePause();
            for (const SoakCamera& camera : m_options.cameras)
            {
                Mischief::End(camera);
                m_keepAlives += Mischief::TakeKeepAlives(camera);
            }
            for (std::uint32_t i = 0; !m_run.IsQuiet(); ++i)
            {
                if (i == kEndSeconds)
                    throw std::runtime_error("the visitors do not come to rest");
                Look(0);
            }
            const bool isLong = worked == 0 || worked + kWorkSeconds >= workSeconds;
            for (std::uint32_t i = 1; i <= (isLong ? kLongPauseSeconds : kShortPauseSeconds); ++i)
                Look(i);
            if (worked == 0)
                ComponentHoldings::StartTracing();
        }
    }
    const std::vector<SoakSample>& Samples() const
    {
        return m_samples;
    }
    std::uint32_t KeepAlives() const
    {
        return m_keepAlives;
    }

private:
    /// Once a second, at the beginning of the next one.
    void Look(std::uint32_t quietSeconds)
    {
        const ULONGLONG due = m_start + (m_second + 1) * 1000ull;
        const ULONGLONG now = ::GetTickCount64();
        if (now < due)
            ::WaitForSingleObject(m_never.get(), static_cast<DWORD>(due - now));
        m_second = static_cast<std::uint32_t>((::GetTickCount64() - m_start) / 1000);
        SoakSample sample = OwnUsage::Take();
        sample.second = m_second;
        sample.visits = m_run.Visits();
        sample.quietSeconds = quietSeconds;
        m_samples.push_back(sample);
        SoakVerdict::WriteCsvLine(m_file, sample);
        m_file.flush(); // a crash must not take what led to it
        if (const std::string failure = m_run.Failure(); !failure.empty())
            throw std::runtime_error(failure);
    }
    void MakeMischief()
    {
        for (int i = 0; i < kFaultsPerSecond; ++i)
            Mischief::Make(RandomElement(m_random, m_options.cameras), m_random, m_options.faults);
    }

    static constexpr int kFaultsPerSecond = 3;
    const Options& m_options;
    CSoakRun& m_run;
    SoakRandom m_random;
    std::ofstream m_file;
    const CKernelHandle m_never{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const ULONGLONG m_start = ::GetTickCount64();
    std::uint32_t m_second = 0;
    std::uint32_t m_keepAlives = 0;
    std::vector<SoakSample> m_samples;
};

bool Report(const std::vector<SoakSample>& samples)
{
    std::cout << samples.back().lostConnections << " records of connections were lost by Wine's WinInet\n";
    bool isFlat = true;
    for (const SoakTrend& trend : SoakVerdict::Judge(samples))
    {
        std::cout << trend.name << ": " << trend.first << " at first, " << trend.last << " at last (at most "
                  << trend.bound << " more allowed), " << trend.perMinute
                  << " a minute: " << (trend.IsFlat() ? "flat" : "RISING") << '\n';
        isFlat = isFlat && trend.IsFlat();
    }
    return isFlat;
}

bool HasAxisCamera(const Options& options)
{
    return std::ranges::any_of(options.cameras,
                               [](const SoakCamera& camera) { return camera.family == SoakFamily::Axis; });
}

/// True when everything was as it should be.
bool Work(const Options& options)
{
    CSoakRun run(options);
    CSoakClock clock(options, run);
    std::string failure;
    try
    {
        clock.Go(options.seconds);
    }
    catch (const std::exception& exception)
    {
        failure = exception.what();
    }
    run.Book().Print(std::cout);
    std::cout << run.Visits() << " objects, " << run.Book().Count() << " calls, " << clock.KeepAlives()
              << " beats of keep-alives\n";
    if (!failure.empty())
    {
        // The visitor that it is about may never come back.
        std::cout << "FAILED: " << failure << std::endl;
        ::TerminateProcess(::GetCurrentProcess(), 1);
    }
    const bool isKeptAlive = clock.KeepAlives() != 0 || !HasAxisCamera(options);
    if (!isKeptAlive)
        std::cout << "FAILED: no session was kept alive\n";
    const bool isFlat = Report(clock.Samples());
    for (const std::string& line : ComponentHoldings::StopTracing())
        std::cout << "held since the first pause: " << line << '\n';
    return isFlat && isKeptAlive;
}

int Soak(const Options& options)
{
    CTestRegistryKey settings(L"Software\\Orbell\\Video");
    settings.SetText(L"CameraCGICommandTimeout", std::to_wstring(kRequestLimitMs));
    const CComponentLibrary library; // stays loaded, so that what it holds can be counted
    if (library.RegisterServer() != S_OK)
        throw std::runtime_error("the component cannot be registered");
    ComponentHoldings::Watch(library.Module());
    const bool isGood = Work(options);
    if (library.UnregisterServer() != S_OK)
        throw std::runtime_error("the component cannot be unregistered");
    return isGood ? 0 : 1;
}
} // namespace

int main(int count, char** arguments)
try
{
    WSADATA data = {};
    if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
        throw std::runtime_error("no Winsock");
    Options options;
    CLI::App app("Runs objects on many threads at misbehaving cameras and looks for growth", "Soak");
    app.add_option("--seconds", options.seconds);
    app.add_option("--seed", options.seed);
    app.add_option("--samples", options.samplesFile)->required();
    app.add_option("--leak", options.leak)->check(CLI::IsMember({"handle", "thread", "memory"}));
    app.add_option("--fault", options.faults)->allow_extra_args(false);
    app.add_option("cameras", options.cameraTexts)->required();
    CLI11_PARSE(app, count, arguments);
    std::ranges::transform(options.cameraTexts, std::back_inserter(options.cameras), &ParseCamera);
    std::cout << "seed " << options.seed << std::endl;
    return Soak(options);
}
catch (const std::exception& exception)
{
    std::cerr << "soak: " << exception.what() << '\n';
    return 2;
}
