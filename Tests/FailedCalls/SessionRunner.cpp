#include "Tests/FailedCalls/SessionRunner.h"

#include "Tests/FailedCalls/FunctionTable.h"

#include <objbase.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <sstream>
#include <thread>

namespace
{
void RunInApartment(const Script& script, const Surroundings& surroundings, CRecorder& recorder)
{
    if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
        throw std::runtime_error("no apartment for this thread");
    script.run(recorder, surroundings);
    ::CoUninitialize();
}

/// "8 text" of "2026-11-21 09:00:00.000 [240] VIDEO_QUORVANE 8 File.cpp(12) text".
std::string WithoutPrefix(const std::string& line)
{
    const std::string component = "VIDEO_QUORVANE ";
    const std::size_t level = line.find(component);
    const std::size_t text = line.find(") ", level);
    if (level == std::string::npos || text == std::string::npos)
        return "? " + line;
    const std::size_t levelEnd = line.find(' ', level + component.size());
    return line.substr(level + component.size(), levelEnd - level - component.size()) + line.substr(text + 1);
}
} // namespace

CSessionRunner::CSessionRunner(const Surroundings& surroundings) : m_surroundings(surroundings)
{
    ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", nullptr);
    ::SetEnvironmentVariableW(L"ORBELL_LOG_LEVELS", L"0xD");
    ::SetEnvironmentVariableW(L"QUORVANE_TEST_FOLDER", (m_folder / "").c_str());
    m_videoSettings.SetText(L"CameraCGICommandTimeout", L"10000");
    m_videoSettings.SetText(L"SequenceNumbers", L"none");
}

SessionOutcome CSessionRunner::Run(const Script& script)
{
    const std::string fileName = "session" + std::to_string(100'000 + m_sessionCount++) + ".log";
    if (script.isLogging)
        m_logSettings.SetText(L"LogFile", L"%QUORVANE_TEST_FOLDER%\\" + std::wstring(fileName.begin(), fileName.end()),
                              REG_EXPAND_SZ);
    else
        m_logSettings.Remove(L"LogFile");
    for (const FunctionRow& row : FunctionTable())
        if (row.hook != nullptr)
            row.hook->calls = 0;

    // A session that hangs keeps what it uses.
    const auto recorder = std::make_shared<CRecorder>();
    std::packaged_task<void()> task(
        [recorder, &script, surroundings = m_surroundings] { RunInApartment(script, surroundings, *recorder); });
    std::future<void> end = task.get_future();
    const auto start = std::chrono::steady_clock::now();
    std::thread thread(std::move(task));
    SessionOutcome outcome;
    outcome.hasEnded = end.wait_for(std::chrono::milliseconds(kLimitMs)) == std::future_status::ready;
    outcome.durationMs = static_cast<unsigned>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count());
    if (!outcome.hasEnded)
    {
        thread.detach();
        return outcome;
    }
    thread.join();
    end.get();
    outcome.steps = recorder->steps;
    if (script.isLogging)
        outcome.lines = TakeLines(fileName);
    return outcome;
}

std::vector<std::string> CSessionRunner::TakeLines(const std::string& fileName) const
{
    std::istringstream bytes(ReadFileBytes(m_folder / fileName));
    std::vector<std::string> lines;
    for (std::string line; std::getline(bytes, line);)
        lines.push_back(WithoutPrefix(line));
    std::error_code stillOpen;
    std::filesystem::remove(m_folder / fileName, stillOpen);
    return lines;
}
