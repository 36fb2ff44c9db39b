#include "Logging/LogFileSink.h"

#include "Logging/LogLine.h"

namespace
{
LogTime LocalTime() noexcept
{
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}
} // namespace

CLogFileSink::CLogFileSink(const wchar_t* path) noexcept
{
    // The right to append without the right to write makes every write go to the end, in one step for all writers.
    HANDLE file =
        ::CreateFileW(path, FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    m_file.reset(file != INVALID_HANDLE_VALUE ? file : nullptr);
}

bool CLogFileSink::IsOpen() const noexcept
{
    return static_cast<bool>(m_file);
}

void CLogFileSink::Write(const LogMessage& message) noexcept
{
    if (!m_file)
        return;
    try
    {
        const std::string line = LogLine::Compose(message, LocalTime(), ::GetCurrentThreadId());
        DWORD writtenBytes = 0;
        ::WriteFile(m_file.get(), line.data(), static_cast<DWORD>(line.size()), &writtenBytes, nullptr);
    }
    catch (...)
    {
        // Out of memory: the line is lost.
    }
}
