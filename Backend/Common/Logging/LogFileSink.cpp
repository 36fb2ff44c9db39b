#include "Logging/LogFileSink.h"

#include "Logging/LogLine.h"

namespace
{
constexpr int kPatientAttempts = 250;

LogTime LocalTime() noexcept
{
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

/// Keeps the other processes from writing between our look at the end of the file and our write to it. Windows appends
/// in one step and does not need this; Wine 8 looks and writes in two, and processes overwrote each other's lines.
/// The lock is on a byte far behind any log, so that nobody is kept from reading. The wait for it is bounded: a process
/// that is stopped in a debugger while it holds the lock must not stop the others, who then write without it.
class [[nodiscard]] CAppendLock
{
public:
    /// `attempts` is 1 for a lock that is taken only when it is free.
    CAppendLock(HANDLE file, int attempts) noexcept : m_file(file)
    {
        for (int attempt = 0; attempt < attempts && !m_isHeld; ++attempt)
        {
            if (attempt != 0)
                ::Sleep(attempt < kEagerAttempts ? 0 : 1);
            OVERLAPPED place = Place();
            m_isHeld = ::LockFileEx(m_file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place);
            if (!m_isHeld && ::GetLastError() != ERROR_LOCK_VIOLATION)
                break; // a file system without locks
        }
    }
    bool IsHeld() const noexcept
    {
        return m_isHeld;
    }
    ~CAppendLock()
    {
        OVERLAPPED place = Place();
        if (m_isHeld)
            ::UnlockFileEx(m_file, 0, 1, 0, &place);
    }
    CAppendLock(const CAppendLock&) = delete;
    CAppendLock& operator=(const CAppendLock&) = delete;

private:
    static constexpr int kEagerAttempts = 50;

    static OVERLAPPED Place() noexcept
    {
        OVERLAPPED result{};
        result.OffsetHigh = 0x40000000;
        return result;
    }

    HANDLE m_file;
    bool m_isHeld = false;
};
} // namespace

CLogFileSink::CLogFileSink(const wchar_t* path) noexcept
{
    // The right to append without the right to write makes every write go to the end, in one step for all writers.
    // The right to read is what locking asks for.
    HANDLE file = ::CreateFileW(path, FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
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
        const CAppendLock lock(m_file.get(), m_lockIsStuck ? 1 : kPatientAttempts);
        // Whoever keeps it that long keeps it longer: one line waits, not every line of a request with a time limit.
        m_lockIsStuck = !lock.IsHeld();
        DWORD writtenBytes = 0;
        ::WriteFile(m_file.get(), line.data(), static_cast<DWORD>(line.size()), &writtenBytes, nullptr);
    }
    catch (...)
    {
        // Out of memory: the line is lost.
    }
}
