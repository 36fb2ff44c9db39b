#pragma once

#include "Tests/Support/InheritedHandles.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Win32/Handles.h"

#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

/// What a program wrote and how it ended. Line ends are "\n".
struct ChildResult
{
    DWORD exitCode = 0;
    std::string out;
    std::string err;
};

/// Runs a program to its end, at most `kLimitMs`; a program that takes longer is ended and an exception is thrown.
/// Standard streams are files, so that no program can block on a full pipe. The environment is this process's own.
class CChildProcess
{
public:
    static constexpr DWORD kLimitMs = 60'000;

    /// `arguments` is the command line behind the program's name.
    static ChildResult Run(const std::filesystem::path& program, const std::wstring& arguments,
                           const std::string& input = {})
    {
        const CTemporaryFolder folder;
        std::ofstream(folder / "in", std::ios::binary) << input;
        ChildResult result;
        {
            const CKernelHandle in = Open(folder / "in", GENERIC_READ, OPEN_EXISTING);
            const CKernelHandle out = Open(folder / "out", GENERIC_WRITE, CREATE_ALWAYS);
            const CKernelHandle err = Open(folder / "err", GENERIC_WRITE, CREATE_ALWAYS);
            result.exitCode = Await(Start(program, arguments, {in.get(), out.get(), err.get()}));
        }
        result.out = Text(folder / "out");
        result.err = Text(folder / "err");
        return result;
    }

private:
    static CKernelHandle Open(const std::filesystem::path& path, DWORD access, DWORD disposition)
    {
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        const HANDLE file = ::CreateFileW(path.c_str(), access, FILE_SHARE_READ, &inheritable, disposition,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            throw std::runtime_error("a stream of the child process cannot be opened");
        return CKernelHandle(file);
    }

    /// A child gets its own streams only: one that is started on another thread at the same time would keep these open.
    static CKernelHandle Start(const std::filesystem::path& program, const std::wstring& arguments,
                               std::array<HANDLE, 3> streams)
    {
        CInheritedHandles inherited({streams[0], streams[1], streams[2]});
        STARTUPINFOEXW startup{};
        startup.StartupInfo.cb = sizeof(startup);
        startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        startup.StartupInfo.hStdInput = streams[0];
        startup.StartupInfo.hStdOutput = streams[1];
        startup.StartupInfo.hStdError = streams[2];
        startup.lpAttributeList = inherited.get();
        std::wstring line = L"\"" + program.wstring() + L"\" " + arguments;
        PROCESS_INFORMATION process{};
        if (!::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT,
                              nullptr, nullptr, &startup.StartupInfo, &process))
            throw std::runtime_error("the child process cannot be started, error " + std::to_string(::GetLastError()));
        const CKernelHandle thread(process.hThread);
        return CKernelHandle(process.hProcess);
    }

    static DWORD Await(const CKernelHandle& process)
    {
        DWORD exitCode = 0;
        if (::WaitForSingleObject(process.get(), kLimitMs) != WAIT_OBJECT_0)
        {
            ::TerminateProcess(process.get(), 1);
            throw std::runtime_error("the child process does not end");
        }
        ::GetExitCodeProcess(process.get(), &exitCode);
        return exitCode;
    }

    static std::string Text(const std::filesystem::path& path)
    {
        std::string text = ReadFileBytes(path);
        std::erase(text, '\r');
        return text;
    }
};
