#include "Tests/FailedCalls/FaultRun.h"

#include "Tests/FailedCalls/Hook.h"
#include "Tests/FailedCalls/Report.h"
#include "Tests/Support/HandleCount.h"
#include "Win32/Handles.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <stdexcept>

namespace
{
constexpr DWORD kPollMs = 5;
constexpr DWORD kCloseLimitMs = 20'000;
// A request of a tunnel lives until WinInet has given up reading from the camera, half a minute in the component.
constexpr DWORD kTunnelCloseLimitMs = 45'000;

/// Until the condition holds, within the limit: WinInet lets go of a closed request in its own time, and its worker
/// threads of themselves.
template <class Condition>
bool Settles(DWORD limitMs, Condition condition)
{
    const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    for (DWORD waitedMs = 0; !condition(); waitedMs += kPollMs)
    {
        if (waitedMs >= limitMs)
            return false;
        ::WaitForSingleObject(never.get(), kPollMs);
    }
    return true;
}

std::string Places(const std::vector<std::uintptr_t>& places)
{
    std::ostringstream text;
    text << std::hex;
    for (const std::uintptr_t place : places)
        text << (text.tellp() != 0 ? " " : "") << "0x" << place;
    return text.str();
}

bool IsAboutMemory(const FunctionRow& row)
{
    static const std::set<std::string> names = {"malloc", "CoTaskMemAlloc", "SysAllocStringLen"};
    return names.contains(row.name);
}
} // namespace

Mode::Mode(const std::string& text)
{
    const std::size_t share = std::min(text.find('#'), text.size());
    const std::size_t script = std::min(text.find('@'), share);
    m_functions = "," + text.substr(0, script) + ",";
    if (script < share)
        m_script = text.substr(script + 1, share - script - 1);
    if (share < text.size() && (std::sscanf(text.c_str() + share, "#%u/%u", &m_share, &m_countShares) != 2 ||
                                m_share == 0 || m_share > m_countShares))
        throw std::runtime_error("which share is meant? " + text);
}

bool Mode::IsFirstOnly() const
{
    return m_functions == ",first,";
}

bool Mode::Takes(const Script& script) const
{
    if (m_functions == ",FlsAlloc,")
        return &script == &Scripts().front();
    return m_script.empty() ? script.isLogging || !IsFirstOnly() : m_script == script.name;
}

bool Mode::Names(const Script& script) const
{
    return m_script == script.name;
}

bool Mode::Takes(const FunctionRow& row) const
{
    if (m_functions == ",first," || m_functions == ",all,")
        return row.name != "FlsAlloc";
    return m_functions.find("," + row.name + ",") != std::string::npos;
}

bool Mode::Takes(const FunctionRow& row, unsigned number) const
{
    // The functions begin in different shares: most have few calls.
    const auto index = static_cast<unsigned>(&row - FunctionTable().data());
    return (index + number) % m_countShares == m_share - 1;
}

CFaultRun::CFaultRun(const std::string& resultsPath, const Surroundings& surroundings)
    : m_results(resultsPath, std::ios::app), m_sessions(surroundings)
{
}

void CFaultRun::Record(std::initializer_list<std::string> fields)
{
    bool isFirst = true;
    for (const std::string& field : fields)
        m_results << (std::exchange(isFirst, false) ? "" : "\t") << field;
    m_results << '\n' << std::flush;
}

void CFaultRun::RecordErrors(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines)
        if (line.starts_with("8 "))
            Record({"log", line});
}

void CFaultRun::MakeReferences(const Mode& mode)
{
    for (const Script& script : Scripts())
        if (mode.Takes(script))
            MakeReference(script);
    m_owned = Owned::Count();
    m_handles = CountOwnHandles();
}

void CFaultRun::MakeReference(const Script& script)
{
    // The first sessions fill what the component keeps for all: tables of servers, buffers of its threads.
    constexpr int kSessions = 3;
    Reference& reference = m_references[script.name];
    for (int i = 0; i < kSessions; ++i)
    {
        const SessionOutcome outcome = RunSession(script);
        if (i == kSessions - 1 && outcome.steps != reference.steps)
            Record({"defect", script.name, "", "0", "two sessions without a fault are not alike"});
        reference.steps = outcome.steps;
        for (const FunctionRow& row : FunctionTable())
            if (row.hook != nullptr)
                reference.calls[row.name] = std::max(reference.calls[row.name], row.hook->calls.load());
    }
    for (const StepResult& step : reference.steps)
        if (FAILED(step.hr))
            Record({"defect", script.name, "", "0", "fails without a fault: " + step.name});
    for (const FunctionRow& row : FunctionTable())
        if (IsCalled(script, row) && reference.calls[row.name] != 0)
            Record({"calls", script.name, row.name, std::to_string(reference.calls[row.name])});
}

void CFaultRun::GoOnBehind(FaultName last)
{
    m_last = std::move(last);
}

bool CFaultRun::IsSkipped(const Script& script, const FunctionRow& row, unsigned number)
{
    if (!m_last)
        return false;
    if (m_last->script == script.name && m_last->function == row.name && m_last->number <= number)
    {
        const bool isLast = m_last->number == number;
        m_last.reset();
        return isLast;
    }
    return true;
}

void CFaultRun::Go(const Mode& mode)
{
    std::set<std::string> seen;
    for (const Script& script : Scripts())
    {
        if (!mode.Takes(script))
            continue;
        for (const FunctionRow& row : FunctionTable())
        {
            const bool isWanted = mode.Takes(row) && IsCalled(script, row);
            const bool isInScript = script.isLogging || IsAboutMemory(row) || mode.Names(script);
            const bool isNext = mode.IsFirstOnly() ? !seen.contains(row.name) : isInScript;
            // What only happens when WinInet is late may have happened once, and not again: another script may do it.
            if (isWanted && isNext && FailCalls(script, row, mode))
                seen.insert(row.name);
        }
        // Not behind every function: the system's worker threads take seconds to end.
        if (!mode.IsFirstOnly() && !m_last)
            CheckHandles(script.name);
    }
    if (mode.IsFirstOnly())
        CheckHandles("all scripts");
    Record({"finished"});
}

bool CFaultRun::IsCalled(const Script& script, const FunctionRow& row)
{
    if (row.kind != FunctionRow::Kind::Fails)
        return false;
    if (script.onlyFunction != nullptr && row.name != script.onlyFunction)
        return false;
    return row.needsThrow ? &script == &Scripts().front() : m_references[script.name].calls[row.name] != 0;
}

bool CFaultRun::FailCalls(const Script& script, const FunctionRow& row, const Mode& mode)
{
    const bool isOneEnough = mode.IsFirstOnly() || row.needsThrow;
    const unsigned count = isOneEnough ? 1 : m_references[script.name].calls[row.name];
    bool hasFailed = false;
    for (unsigned number = 1; number <= count; ++number)
    {
        if (!mode.Takes(row, number))
            continue;
        if (!IsSkipped(script, row, number) && !FailCall(script, row, number))
            break;
        hasFailed = true;
    }
    if (!m_last)
        Record({"done", script.name, row.name, std::to_string(count)});
    return hasFailed;
}

void CFaultRun::Arm(const FunctionRow& row, unsigned number)
{
    FaultPlan::Arm(*row.hook, number, row.needsThrow ? QUORVANE_HOOK(InitializeCriticalSectionAndSpinCount) : nullptr);
}

bool CFaultRun::FailCall(const Script& script, const FunctionRow& row, unsigned number)
{
    const std::string numberText = std::to_string(number);
    Record({"begin", script.name, row.name, numberText});
    Arm(row, number);
    const SessionOutcome outcome = RunSession(script);
    FaultPlan::Disarm();
    const FaultPlan::Hit hit = FaultPlan::LastHit();
    if (!hit.isHit)
    {
        Record({"missed", script.name, row.name, numberText});
        return false;
    }
    const Verdict verdict = Judge(row, script, hit, m_references[script.name].steps, outcome);
    if (verdict.kind == Verdict::Kind::Defect)
    {
        Record({"defect", script.name, row.name, numberText, std::string(hit.step) + ": " + verdict.text,
                Places(hit.places)});
        RecordErrors(outcome.lines);
    }
    RunWithoutFault(script);
    CheckLeaks(script, row, number);
    const char* const kind = verdict.kind == Verdict::Kind::Reported    ? "reported"
                             : verdict.kind == Verdict::Kind::Unnoticed ? "unnoticed"
                                                                        : "wrong";
    Record({kind, script.name, row.name, numberText, verdict.text, Places(hit.places),
            std::to_string(outcome.durationMs)});
    return true;
}

void CFaultRun::RunWithoutFault(const Script& script)
{
    const SessionOutcome outcome = RunSession(script);
    const std::vector<StepResult>& steps = m_references[script.name].steps;
    if (outcome.steps == steps)
        return;
    const auto [got, wanted] = std::ranges::mismatch(outcome.steps, steps);
    const std::string name = got != outcome.steps.end() ? got->name : "the end";
    Record({"defect", script.name, "", "0", "the session without the fault fails afterwards: " + name});
    RecordErrors(outcome.lines);
}

std::optional<Resource> CFaultRun::FindExcess(const Script& script)
{
    const auto excess = [this]() -> std::optional<Resource> {
        const Owned::Counts now = Owned::Count();
        for (std::size_t kind = 0; kind < now.size(); ++kind)
            if (now[kind] > m_owned[kind])
                return static_cast<Resource>(kind);
        return std::nullopt;
    };
    // Only waited for where something is still there.
    Settles(script.hasTunnel ? kTunnelCloseLimitMs : kCloseLimitMs, [&] { return !excess(); });
    return excess();
}

void CFaultRun::CheckLeaks(const Script& script, const FunctionRow& row, unsigned number)
{
    constexpr int kRepetitions = 2;
    std::optional<Resource> excess = FindExcess(script);
    std::vector<std::string> lines;
    for (int i = 0; i < kRepetitions && excess; ++i)
    {
        m_owned = Owned::Count();
        if (i == kRepetitions - 1)
            Owned::StartTracing();
        Arm(row, number);
        lines = RunSession(script).lines;
        FaultPlan::Disarm();
        RunWithoutFault(script);
        excess = FindExcess(script);
    }
    const std::vector<std::vector<std::uintptr_t>> opened = Owned::StopTracing();
    if (!excess)
        return;
    Record({"defect", script.name, row.name, std::to_string(number), "leaves behind: " + std::string(NameOf(*excess)),
            Places(FaultPlan::LastHit().places)});
    RecordErrors(lines);
    for (const std::vector<std::uintptr_t>& places : opened)
        Record({"log", "opened at " + Places(places)});
    m_owned = Owned::Count();
}

void CFaultRun::CheckHandles(const char* script)
{
    unsigned handles = 0;
    Settles(kTunnelCloseLimitMs, [&] { return (handles = CountOwnHandles()) <= m_handles + Report::kHandlesOnce; });
    Record({"handles", script, "", std::to_string(m_handles), std::to_string(handles)});
}

SessionOutcome CFaultRun::RunSession(const Script& script)
{
    SessionOutcome outcome = m_sessions.Run(script);
    if (!outcome.hasEnded)
    {
        Record({"hangs", script.name});
        ::TerminateProcess(::GetCurrentProcess(), 3);
    }
    return outcome;
}
