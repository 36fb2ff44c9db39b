#pragma once

#include "Tests/Support/TemporaryFolder.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>

/// camerasim.exe in a process of its own, so that a test that counts handles and threads counts the client's only.
/// Ended when this dies; should the test be killed, it ends by itself after `lifeSeconds`.
class CSimulatorProcess
{
public:
    explicit CSimulatorProcess(const std::wstring& options = {}, unsigned lifeSeconds = 300)
    {
        const std::filesystem::path portFile = m_folder / "ports.json";
        std::wstring commandLine = L"\"" + ProgramPath() + L"\" --no-control --seconds " +
                                   std::to_wstring(lifeSeconds) + L" --port-file \"" + portFile.wstring() + L"\" " +
                                   options;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process = {};
        if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr,
                              &startup, &process))
            throw std::runtime_error("camerasim.exe cannot be started");
        m_process.reset(process.hProcess);
        CKernelHandle(process.hThread);
        WaitForPort(portFile);
    }
    ~CSimulatorProcess()
    {
        ::TerminateProcess(m_process.get(), 0);
        ::WaitForSingleObject(m_process.get(), kLimitMs);
    }
    CSimulatorProcess(const CSimulatorProcess&) = delete;
    CSimulatorProcess& operator=(const CSimulatorProcess&) = delete;

    WORD Port() const noexcept
    {
        return m_port;
    }

private:
    static std::wstring ProgramPath()
    {
        wchar_t path[MAX_PATH] = {};
        const DWORD countChars = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
        const std::wstring own(path, countChars);
        return own.substr(0, own.find_last_of(L'\\') + 1) + L"camerasim.exe";
    }
    /// The process's end, should it come first, ends the waiting.
    void WaitForPort(const std::filesystem::path& portFile)
    {
        const ULONGLONG end = ::GetTickCount64() + kLimitMs;
        while (::GetTickCount64() < end && ::WaitForSingleObject(m_process.get(), 20) == WAIT_TIMEOUT)
        {
            const std::string text = ReadFileBytes(portFile);
            const std::string key = "\"port\": ";
            const std::size_t found = text.find(key);
            if (found != std::string::npos)
            {
                m_port = static_cast<WORD>(std::stoi(text.substr(found + key.size())));
                return;
            }
        }
        throw std::runtime_error("camerasim.exe does not serve");
    }

    static constexpr DWORD kLimitMs = 30'000;
    CTemporaryFolder m_folder;
    CKernelHandle m_process;
    WORD m_port = 0;
};
