#include "Logging/LogFileSink.h"
#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace
{
LogMessage MessageForFile(std::wstring_view text)
{
    return {L"TEST", LogLevel::Error, "File.cpp", 7, text};
}

TEST(LogFileSink, WritesTheLineWithLocalTimeAndThread)
{
    const CTemporaryFolder folder;
    SYSTEMTIME before{};
    ::GetLocalTime(&before);
    {
        CLogFileSink sink((folder / "log.txt").c_str());
        ASSERT_TRUE(sink.IsOpen());
        sink.Write(MessageForFile(L"caf\u00E9\r\nforged"));
    }
    const std::string bytes = ReadFileBytes(folder / "log.txt");
    std::smatch match;
    ASSERT_TRUE(
        std::regex_match(bytes, match,
                         std::regex("(\\d{4})-(\\d\\d)-(\\d\\d) \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[(\\d+)\\] TEST 8 "
                                    "File\\.cpp\\(7\\) caf\xC3\xA9\\\\r\\\\nforged\n")))
        << bytes;
    EXPECT_EQ(std::stoul(match[4]), ::GetCurrentThreadId());
    EXPECT_GE(std::stoi(match[1]), before.wYear);
}

TEST(LogFileSink, AppendsToWhatIsThere)
{
    const CTemporaryFolder folder;
    for (int round = 0; round < 2; ++round)
        CLogFileSink((folder / "log.txt").c_str()).Write(MessageForFile(L"round"));
    const std::string bytes = ReadFileBytes(folder / "log.txt");
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), 2);
}

TEST(LogFileSink, LetsOthersReadRenameAndDeleteTheFile)
{
    const CTemporaryFolder folder;
    CLogFileSink sink((folder / "log.txt").c_str());
    sink.Write(MessageForFile(L"line"));
    EXPECT_FALSE(ReadFileBytes(folder / "log.txt").empty());
    EXPECT_TRUE(::MoveFileW((folder / "log.txt").c_str(), (folder / "old.txt").c_str())) << ::GetLastError();
    EXPECT_TRUE(::DeleteFileW((folder / "old.txt").c_str())) << ::GetLastError();
}

TEST(LogFileSink, WritesNothingWhenTheFileCannotBeOpened)
{
    const CTemporaryFolder folder;
    CLogFileSink sink((folder / "no-such-folder" / "log.txt").c_str());
    EXPECT_FALSE(sink.IsOpen());
    sink.Write(MessageForFile(L"lost"));
    EXPECT_FALSE(std::filesystem::exists(folder / "no-such-folder"));
}

TEST(LogFileSink, WritesWithoutTheLockOfAProcessThatNeverReturnsIt)
{
    const CTemporaryFolder folder;
    CLogFileSink sink((folder / "log.txt").c_str());
    const CKernelHandle other(::CreateFileW((folder / "log.txt").c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
    OVERLAPPED place{};
    place.OffsetHigh = 0x40000000;
    ASSERT_TRUE(::LockFileEx(other.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place)) << ::GetLastError();
    const DWORD startTick = ::GetTickCount();
    sink.Write(MessageForFile(L"line"));
    const DWORD firstMs = ::GetTickCount() - startTick;
    EXPECT_FALSE(ReadFileBytes(folder / "log.txt").empty());

    // A request logs dozens of lines and has a time limit: only the first one waits.
    const DWORD nextTick = ::GetTickCount();
    for (int i = 0; i < 50; ++i)
        sink.Write(MessageForFile(L"line"));
    EXPECT_LT(::GetTickCount() - nextTick, firstMs);
}

/// Starts LogFileWriter.exe, which stands beside this program.
CKernelHandle StartWriter(const std::filesystem::path& log, const std::string& tag, int threads, int lines)
{
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    const std::filesystem::path program = std::filesystem::path(self).parent_path() / "LogFileWriter.exe";
    std::wstring command = L"\"" + program.wstring() + L"\" \"" + log.wstring() + L"\" " +
                           std::filesystem::path(tag).wstring() + L" " + std::to_wstring(threads) + L" " +
                           std::to_wstring(lines);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &process))
        return {};
    const CKernelHandle thread(process.hThread);
    return CKernelHandle(process.hProcess);
}

TEST(LogFileSink, ProcessesAndThreadsShareAFileWithoutTornLines)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 250;
    const CTemporaryFolder folder;
    const std::vector<std::string> tags = {"A", "B", "C"};
    std::vector<CKernelHandle> writers;
    for (const std::string& tag : tags)
        writers.push_back(StartWriter(folder / "log.txt", tag, kThreads, kLines));
    for (const CKernelHandle& writer : writers)
    {
        ASSERT_TRUE(writer);
        ASSERT_EQ(::WaitForSingleObject(writer.get(), 60000), WAIT_OBJECT_0);
        DWORD exitCode = 0;
        ASSERT_TRUE(::GetExitCodeProcess(writer.get(), &exitCode));
        ASSERT_EQ(exitCode, 0u);
    }

    const std::regex form("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[\\d+\\] WRITER 1 "
                          "LogFileWriter\\.cpp\\(\\d+\\) <([ABC] \\d+ (\\d+)) (x*)>");
    std::set<std::string> seen;
    std::istringstream lines(ReadFileBytes(folder / "log.txt"));
    for (std::string line; std::getline(lines, line);)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, form)) << line;
        EXPECT_EQ(match[3].length(), std::stoi(match[2]) % 97) << line;
        EXPECT_TRUE(seen.insert(match[1]).second) << line;
    }
    EXPECT_EQ(seen.size(), tags.size() * kThreads * kLines);
}
} // namespace
