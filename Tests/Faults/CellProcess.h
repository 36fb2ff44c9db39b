#pragma once

#include "Tests/Support/InheritedHandles.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <optional>
#include <stdexcept>
#include <string>

/// This program once more, for a range of cells; its output is read while it runs. One thread; others may start
/// processes at the same time, so it inherits its output and nothing else.
/// A process that is still running after its deadline is ended. Destroying it ends the process.
class CCellProcess
{
public:
    static constexpr DWORD kEndedByUs = 258; ///< as a wait says it

    CCellProcess(const std::wstring& options, std::size_t begin, std::size_t end)
    {
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        const HANDLE file = ::CreateFileW(OutPath().c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          &inheritable, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            throw std::runtime_error("the output of a process cannot be opened");
        const CKernelHandle out(file);
        CInheritedHandles inherited({out.get()});
        STARTUPINFOEXW startup{};
        startup.StartupInfo.cb = sizeof(startup);
        startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        startup.StartupInfo.hStdOutput = out.get();
        startup.StartupInfo.hStdError = out.get();
        startup.lpAttributeList = inherited.get();
        std::wstring line = L"\"" + OwnPath() + L"\" " + options + L" --cells " + std::to_wstring(begin) + L"-" +
                            std::to_wstring(end) + L" --log \"" + (m_folder / "log").wstring() + L"\"";
        PROCESS_INFORMATION process{};
        if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT, nullptr,
                              nullptr, &startup.StartupInfo, &process))
            throw std::runtime_error("a process cannot be started, error " + std::to_string(::GetLastError()));
        CKernelHandle(process.hThread);
        m_process.reset(process.hProcess);
        const HANDLE in = ::CreateFileW(OutPath().c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (in == INVALID_HANDLE_VALUE)
            throw std::runtime_error("the output of a process cannot be read");
        m_in.reset(in);
    }
    ~CCellProcess()
    {
        End();
    }
    CCellProcess(const CCellProcess&) = delete;
    CCellProcess& operator=(const CCellProcess&) = delete;

    void SetDeadline(DWORD fromNowMs)
    {
        m_deadline = ::GetTickCount64() + fromNowMs;
    }

    /// Nothing when there will be no more.
    std::optional<std::string> NextLine()
    {
        for (;;)
        {
            const bool isOver = ::WaitForSingleObject(m_process.get(), 0) == WAIT_OBJECT_0;
            char piece[4096];
            DWORD countRead = 0;
            if (!::ReadFile(m_in.get(), piece, sizeof(piece), &countRead, nullptr))
                countRead = 0;
            m_text.append(piece, countRead);
            if (const std::size_t end = m_text.find('\n'); end != std::string::npos)
            {
                m_last = m_text.substr(0, end);
                m_text.erase(0, end + 1);
                if (m_last.ends_with('\r'))
                    m_last.pop_back();
                return m_last;
            }
            if (countRead == 0 && isOver)
                return std::nullopt;
            if (::GetTickCount64() >= m_deadline)
                End();
            ::WaitForSingleObject(m_process.get(), 50);
        }
    }

    DWORD ExitCode() const
    {
        DWORD code = 1;
        ::GetExitCodeProcess(m_process.get(), &code);
        return code;
    }
    /// For a person who wants to know why it has ended.
    std::string LastWords() const
    {
        return m_isEndedByUs ? "hangs, ended" : "exit code " + std::to_string(ExitCode()) + " after \"" + m_last + "\"";
    }

private:
    static std::wstring OwnPath()
    {
        wchar_t path[MAX_PATH] = {};
        ::GetModuleFileNameW(nullptr, path, MAX_PATH);
        return path;
    }
    std::filesystem::path OutPath() const
    {
        return m_folder / "out";
    }
    void End()
    {
        if (::WaitForSingleObject(m_process.get(), 0) == WAIT_OBJECT_0)
            return;
        m_isEndedByUs = true;
        ::TerminateProcess(m_process.get(), kEndedByUs);
        ::WaitForSingleObject(m_process.get(), 10'000);
    }

    CTemporaryFolder m_folder;
    CKernelHandle m_process;
    CKernelHandle m_in;
    std::string m_text;
    std::string m_last;
    ULONGLONG m_deadline = 0;
    bool m_isEndedByUs = false;
};
