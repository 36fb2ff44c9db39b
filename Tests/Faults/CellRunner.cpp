#include "Tests/Faults/CellRunner.h"

#include "Tests/Faults/Judge.h"
#include "Tests/Faults/TimeLimits.h"
#include "Tests/Support/HandleCount.h"
#include "Win32/Handles.h"

#include <objbase.h>
#include <tlhelp32.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace
{
/// A loaded machine may keep a camera that behaves from answering in time.
constexpr unsigned kTries = 10;
/// A request that was given up ends half a second after its limit, a worker thread of the system's pool five seconds
/// after its last work, on a machine with all processors busy some seconds later. WinInet may keep the GET of a tunnel
/// for 30 s.
constexpr DWORD kShortSettleMs = 2500;
constexpr DWORD kQuietMs = 6000;
constexpr DWORD kSettleMs = 20'000;
constexpr DWORD kSettleRtspMs = 45'000;
/// A thread of the system's pool, or the event of a lock that two threads wanted at once, comes once and stays; a
/// machine that has other work makes a call late now and then. What leaks or has no limit does so each time.
constexpr unsigned kRuns = 3;
/// A reply stands in the journal when all of it has been sent, or the connection has ended.
constexpr DWORD kJournalMs = 5000;
/// Everything around the call, but for the time to settle.
constexpr DWORD kAroundMs = 120'000;

unsigned CountOwnThreads()
{
    const CKernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    unsigned count = 0;
    for (BOOL more = ::Thread32First(snapshot.get(), &entry); more; more = ::Thread32Next(snapshot.get(), &entry))
        count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
    return count;
}

Usage CountUsage()
{
    return {CountOwnHandles(), CountOwnThreads()};
}

template <class Condition>
bool WaitFor(Condition condition, DWORD limitMs)
{
    const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const ULONGLONG end = ::GetTickCount64() + limitMs;
    while (!condition())
    {
        if (::GetTickCount64() >= end)
            return false;
        ::WaitForSingleObject(never.get(), 20);
    }
    return true;
}

DWORD SettleMs(const Cell& cell)
{
    return cell.method->IsRtsp() ? kSettleRtspMs : kSettleMs;
}

DWORD MsSince(std::chrono::steady_clock::time_point start)
{
    const auto elapsed = std::chrono::steady_clock::now() - start;
    return static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}
} // namespace

CCellRunner::CCellRunner()
{
    if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
        throw std::runtime_error("no apartment for this thread");
    m_settings.LimitRequests(TimeLimits::kWellRequestMs);
}

CCellRunner::~CCellRunner()
{
    m_client.command.reset();
    m_bystander.command.reset();
    m_camera.reset();
    ::CoUninitialize();
}

DWORD CCellRunner::DeadlineMs(const Cell& cell)
{
    return kRuns * (TimeLimits::Of(cell) + kAroundMs) + SettleMs(cell);
}

CellResult CCellRunner::Run(const Cell& cell)
{
    CellResult result = RunOnce(cell, kShortSettleMs);
    while (result.DeservesAnotherTry() && result.runs < kRuns)
        result.JoinLater(RunOnce(cell, result.runs + 1 < kRuns ? kShortSettleMs : SettleMs(cell)));
    return result;
}

CellResult CCellRunner::RunOnce(const Cell& cell, DWORD settleMs)
{
    UseCamera(*cell.table);
    const bool hasOwnObject = cell.method->stage != Stage::Connected;
    if (hasOwnObject)
        m_client.command.reset();
    else if (!m_client.command)
    {
        if (!Reach(Stage::Connected))
            throw std::runtime_error("a camera that behaves cannot be connected to");
        m_usage = TidyUsage(nullptr, 0); // one object more
    }

    CellResult result;
    result.isRun = true;
    result.limitMs = TimeLimits::Of(cell);
    result.releaseLimitMs = TimeLimits::kReleaseMs;
    result.before = m_usage;
    if (hasOwnObject && !Reach(cell.method->stage))
        throw std::runtime_error("a camera that behaves cannot be brought to the method's stage");
    Misbehave(cell);
    AwaitFirst(cell);
    m_settings.LimitRequests(TimeLimits::kRequestMs);
    const auto start = std::chrono::steady_clock::now();
    result.hr = cell.method->call(m_client);
    result.tookMs = MsSince(start);
    result.isWrong = !Judge::MayReturn(cell, result.hr);
    m_settings.LimitRequests(TimeLimits::kWellRequestMs);
    result.isDelivered = WaitFor([&] { return IsDelivered(cell); }, kJournalMs);
    BehaveAgain(cell);
    result.recovery = Recover(cell);
    if (hasOwnObject)
    {
        const auto releaseStart = std::chrono::steady_clock::now();
        m_client.command.reset();
        result.releaseMs = MsSince(releaseStart);
    }
    m_usage = TidyUsage(&result.before, settleMs);
    result.after = m_usage;
    return result;
}

ProcessUsage CCellRunner::Finish()
{
    m_client.command.reset();
    return {m_firstUsage, TidyUsage(&m_firstUsage, kSettleMs)};
}

/// What is left when it is no more than wanted, or the time is over.
Usage CCellRunner::TidyUsage(const Usage* wanted, DWORD limitMs)
{
    const ULONGLONG end = ::GetTickCount64() + limitMs;
    Usage now;
    const auto isLittle = [&] {
        now = CountUsage();
        --now.handles; // the event of the waiting
        return wanted == nullptr || (now.handles <= wanted->handles && now.threads <= wanted->threads);
    };
    // In quiet, because every request keeps the system's worker threads from ending.
    do
        Tidy();
    while (!WaitFor(isLittle, std::min(limitMs, kQuietMs)) && ::GetTickCount64() < end);
    return now;
}

/// The camera closes every connection; the bystander's request then finds and drops them, and opens one.
void CCellRunner::Tidy()
{
    m_camera->Stop();
    m_camera->Start();
    for (unsigned i = 0; i < kTries; ++i)
    {
        if (m_bystander.command->SetAudioInVolume(1) == S_OK)
            return;
    }
    throw std::runtime_error("a camera that behaves does not answer");
}

void CCellRunner::UseCamera(const MatrixTable& table)
{
    if (m_table == &table)
        return;
    m_client.command.reset();
    m_bystander.command.reset();
    m_table = &table;
    m_camera = std::make_unique<CCameraSimulator>(CameraSimulatorOptions{.model = table.model});
    m_client.port = m_camera->Start();
    // Encoding large pictures would be most of the work.
    if (std::string(table.model).starts_with("AXIS"))
        m_camera->SetSetting("Image.I0.Appearance.Resolution", "480x270");
    // What the system and the library keep after the first requests they keep once.
    for (int i = 0; i < 2; ++i)
    {
        if (!Reach(Stage::Connected))
            throw std::runtime_error("a camera that behaves cannot be connected to");
        static_cast<void>(WorksFromTheStart(Stage::Playing));
        m_bystander = {std::move(m_client.command), m_camera->Port()};
    }
    if (m_bystander.command->CloseConnection() != S_OK || Methods::Open(m_bystander) != S_OK ||
        !Reach(Stage::Connected))
        throw std::runtime_error("the bystander cannot be connected");
    m_client.command.reset();
    m_usage = m_firstUsage = TidyUsage(nullptr, 0);
}

void CCellRunner::Misbehave(const Cell& cell)
{
    const Misbehaviour& row = *cell.row;
    if (row.faults.empty())
        m_camera->Stop();
    for (std::size_t i = 0; i < row.faults.size(); ++i)
    {
        // Not as part of the text, in which the path would be looked for.
        Fault fault = FaultText::Parse(row.faults[i]);
        fault.path = cell.method->path;
        fault.skip = row.inTurn ? static_cast<unsigned>(i) : 0;
        if (row.header != nullptr)
        {
            const std::string header = row.header;
            const std::size_t colon = header.find(": ");
            fault.headers.push_back({header.substr(0, colon), header.substr(colon + 2)});
        }
        m_camera->AddFault(fault);
    }
}

/// Each of the faults has hit a request. A closed port and a method without a request leave nothing to look for.
bool CCellRunner::IsDelivered(const Cell& cell) const
{
    const std::vector<JournalEntry> journal = m_camera->Journal();
    const auto hasHit = [&](const std::string& text) {
        const std::string name(FaultText::Name(FaultText::Parse(text).kind));
        return std::any_of(journal.begin(), journal.end(), [&](const JournalEntry& entry) {
            return std::find(entry.faults.begin(), entry.faults.end(), name) != entry.faults.end();
        });
    };
    return !cell.method->SendsRequests() || std::all_of(cell.row->faults.begin(), cell.row->faults.end(), hasHit);
}

void CCellRunner::BehaveAgain(const Cell& cell)
{
    if (cell.row->faults.empty())
        m_camera->Start();
    m_camera->ClearFaults();
    m_camera->ClearJournal();
}

void CCellRunner::AwaitFirst(const Cell& cell) const
{
    if (cell.method->firstWaitsFor == nullptr)
        return;
    const auto hasCome = [&] {
        for (const JournalEntry& entry : m_camera->Journal())
        {
            if (!entry.faults.empty() && entry.request.head.starts_with(cell.method->firstWaitsFor))
                return true;
        }
        return false;
    };
    if (!WaitFor(hasCome, TimeLimits::kTurnMs))
        throw std::runtime_error("the request that was to be spoiled did not come");
}

void CCellRunner::Create()
{
    m_client.command.reset();
    m_isConnected = false;
    CLSID clsid = {};
    if (FAILED(::CLSIDFromProgID(L"Quorvane.AVCommand", &clsid)) ||
        FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, m_client.command.putVoid())) ||
        Methods::Open(m_client) != S_OK)
        throw std::runtime_error("no object can be created and opened");
}

bool CCellRunner::Reach(Stage stage)
{
    for (unsigned i = 0; i < kTries; ++i)
    {
        if (!m_client.command)
            Create();
        if (stage == Stage::Open || WorksFromTheStart(stage))
            return true;
        m_client.command.reset();
    }
    return false;
}

/// As a client would begin again with the object that it has.
bool CCellRunner::WorksFromTheStart(Stage stage)
{
    if (!m_client.command)
        Create();
    if (stage == Stage::Connected && m_isConnected)
        return true;
    if (stage == Stage::Connected)
    {
        m_isConnected = m_client.command->ConnectToCamera() == S_OK;
        return m_isConnected;
    }
    const bool hasSession = m_client.command->ConnectToRtspServer(TRUE) == S_OK;
    const bool isSetUp = hasSession && (stage == Stage::Session || Methods::SetupVideo(m_client) == S_OK);
    return isSetUp && (stage != Stage::Playing || Methods::StartVideo(m_client) == S_OK);
}

/// The same call on the same object; RTSP, where the camera may have forgotten the session, begins again first when
/// the call alone does not do, and so does a method that releases the object, with another one. Which call went well,
/// or kNotRecovered.
unsigned CCellRunner::Recover(const Cell& cell)
{
    const bool isRtsp = cell.method->IsRtsp();
    for (unsigned i = 1; i <= kTries; ++i)
    {
        const bool beginsAgain = isRtsp && (i > 1 || !m_client.command);
        if (beginsAgain && cell.method->stage != Stage::Open && !WorksFromTheStart(cell.method->stage))
            continue;
        const HRESULT hr = cell.method->call(m_client);
        if (hr != cell.method->well)
            continue;
        return isRtsp && !WorksFromTheStart(Stage::Playing) ? CellResult::kNotRecovered : i;
    }
    m_client.command.reset();
    return CellResult::kNotRecovered;
}
