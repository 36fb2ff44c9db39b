#include "Tests/Faults/CellRunner.h"

#include "Tests/Faults/TimeLimits.h"
#include "Tests/Support/HandleCount.h"
#include "Win32/Handles.h"

#include <objbase.h>
#include <tlhelp32.h>

#include <chrono>
#include <stdexcept>

namespace
{
/// A loaded machine may keep a camera that behaves from answering in time.
constexpr unsigned kTries = 3;
/// A request that was given up ends half a second after its limit, a worker thread of the system's pool five seconds
/// after its last work. WinInet may keep the GET of a tunnel for 30 s.
constexpr DWORD kSettleMs = 12'000;
constexpr DWORD kSettleRtspMs = 45'000;
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
    return cell.method->spoiled == kCgi ? kSettleMs : kSettleRtspMs;
}

/// What is left when it is no more than before, or the time is over.
Usage SettledUsage(const Usage& before, DWORD limitMs)
{
    Usage now;
    WaitFor(
        [&] {
            now = CountUsage();
            --now.handles; // the event of the waiting
            return now.handles <= before.handles && now.threads <= before.threads;
        },
        limitMs);
    return now;
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
}

CCellRunner::~CCellRunner()
{
    m_client.command.reset();
    m_camera.reset();
    ::CoUninitialize();
}

DWORD CCellRunner::DeadlineMs(const Cell& cell)
{
    return TimeLimits::Of(cell) + SettleMs(cell) + kAroundMs;
}

CellResult CCellRunner::Run(const Cell& cell)
{
    UseCamera(*cell.table);
    const bool hasOwnObject = cell.method->stage != Stage::Connected;
    if (hasOwnObject)
        m_client.command.reset();
    else if (!Reach(Stage::Connected))
        throw std::runtime_error("a camera that behaves cannot be connected to");

    CellResult result;
    result.isRun = true;
    result.limitMs = TimeLimits::Of(cell);
    result.before = CountUsage();
    if (hasOwnObject && !Reach(cell.method->stage))
        throw std::runtime_error("a camera that behaves cannot be brought to the method's stage");
    Misbehave(cell);
    AwaitFirst(cell);
    const auto start = std::chrono::steady_clock::now();
    result.hr = cell.method->call(m_client);
    result.tookMs = MsSince(start);
    BehaveAgain(cell);
    result.recovery = Recover(cell);
    if (hasOwnObject)
        m_client.command.reset();
    result.after = SettledUsage(result.before, SettleMs(cell));
    return result;
}

void CCellRunner::UseCamera(const MatrixTable& table)
{
    if (m_table == &table)
        return;
    m_client.command.reset();
    m_table = &table;
    m_camera = std::make_unique<CCameraSimulator>(CameraSimulatorOptions{.model = table.model});
    m_client.port = m_camera->Start();
    // Encoding large pictures would be most of the work.
    if (std::string(table.model).starts_with("AXIS"))
        m_camera->SetSetting("Image.I0.Appearance.Resolution", "480x270");
}

void CCellRunner::Misbehave(const Cell& cell)
{
    const Misbehaviour& row = *cell.row;
    if (row.faults.empty())
        m_camera->Stop();
    for (const std::string& text : row.faults)
    {
        // Not as part of the text, in which the path would be looked for.
        Fault fault = FaultText::Parse(text);
        fault.path = cell.method->path;
        if (row.header != nullptr)
        {
            const std::string header = row.header;
            const std::size_t colon = header.find(": ");
            fault.headers.push_back({header.substr(0, colon), header.substr(colon + 2)});
        }
        m_camera->AddFault(fault);
    }
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
/// the call alone does not do. Which call went well, or kNotRecovered.
unsigned CCellRunner::Recover(const Cell& cell)
{
    const bool isRtsp = cell.method->spoiled != kCgi;
    for (unsigned i = 1; i <= kTries; ++i)
    {
        if (isRtsp && i > 1 && cell.method->stage != Stage::Open && !WorksFromTheStart(cell.method->stage))
            continue;
        const HRESULT hr = cell.method->call(m_client);
        if (hr != cell.method->well)
            continue;
        return isRtsp && !WorksFromTheStart(Stage::Playing) ? CellResult::kNotRecovered : i;
    }
    m_client.command.reset();
    return CellResult::kNotRecovered;
}
