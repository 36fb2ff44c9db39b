#include "Tests/FailedCalls/WorkerProcess.h"

#include "Tests/Component/SimulatorProcess.h"

#include <fstream>

namespace
{
constexpr unsigned kMostStarts = 200;
constexpr DWORD kEnded = 0;
constexpr DWORD kHangs = 3;

std::wstring WorkerPath()
{
    wchar_t path[MAX_PATH] = {};
    const std::wstring own(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
    return own.substr(0, own.find_last_of(L'\\') + 1) + L"FailedCallsWorker.exe";
}

CKernelHandle Start(std::wstring commandLine)
{
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &process))
        throw std::runtime_error("FailedCallsWorker.exe cannot be started");
    const CKernelHandle thread(process.hThread);
    return CKernelHandle(process.hProcess);
}

std::wstring Widen(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

/// Both cameras ask for Digest; the Axis one has small pictures, because encoding them is most of what it does.
const wchar_t kIpelaOptions[] = L"--auth digest --user admin --password secret";
const wchar_t kAxisOptions[] = L"--model \"AXIS P5635-E\" --set Image.I0.Appearance.Resolution=480x270 "
                               L"--auth digest --user admin --password secret";

void Append(const std::filesystem::path& records, const std::string& record)
{
    std::ofstream(records, std::ios::app) << record << '\n';
}
} // namespace

void WorkerProcess::Read(const std::filesystem::path& records, std::streamoff& position, Report& report)
{
    std::ifstream stream(records, std::ios::binary);
    stream.seekg(position);
    for (std::string record; std::getline(stream, record) && !stream.eof();)
    {
        position = stream.tellg();
        if (record.ends_with('\r'))
            record.pop_back();
        report.Add(record);
    }
}

void WorkerProcess::Run(const std::string& mode, DWORD limitMs, const std::filesystem::path& records, Report& report)
{
    const ULONGLONG end = ::GetTickCount64() + limitMs;
    std::error_code isNew;
    const std::uintmax_t sizeBytes = std::filesystem::file_size(records, isNew);
    auto position = static_cast<std::streamoff>(isNew ? 0 : sizeBytes);
    Append(records, "started\t" + mode);
    Read(records, position, report);
    for (unsigned start = 0; start < kMostStarts && !report.isFinished; ++start)
    {
        const CSimulatorProcess ipela(kIpelaOptions, limitMs / 1000 + 60);
        const CSimulatorProcess axis(kAxisOptions, limitMs / 1000 + 60);
        const CSimulatorProcess relative(std::wstring(kAxisOptions) + L" --rtsp-relative", limitMs / 1000 + 60);
        const Report::Begun last = std::exchange(report.begun, {});
        std::wstring commandLine = L"\"" + WorkerPath() + L"\" \"" + records.wstring() + L"\" " +
                                   std::to_wstring(ipela.Port()) + L" " + std::to_wstring(axis.Port()) + L" " +
                                   std::to_wstring(relative.Port()) + L" \"" + Widen(mode) + L"\"";
        if (!last.script.empty())
            commandLine += L" \"" + Widen(last.script) + L"\" " + Widen(last.function) + L" " + Widen(last.number);

        const CKernelHandle process = Start(commandLine);
        const ULONGLONG now = ::GetTickCount64();
        const bool hasEnded =
            ::WaitForSingleObject(process.get(), now < end ? static_cast<DWORD>(end - now) : 0) == WAIT_OBJECT_0;
        DWORD exitCode = kEnded;
        ::GetExitCodeProcess(process.get(), &exitCode);
        if (!hasEnded)
            ::TerminateProcess(process.get(), 1);
        Read(records, position, report);
        if (report.isFinished && exitCode == kEnded)
            break;
        const std::string how = !hasEnded            ? "the run takes too long"
                                : exitCode == kHangs ? "the session hangs"
                                                     : "the process has died, exit code " + std::to_string(exitCode);
        Append(records, "died\t" + how);
        Read(records, position, report);
        if (!hasEnded || report.begun.script.empty())
            break;
    }
}
