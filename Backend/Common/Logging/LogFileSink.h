#pragma once

#include "Logging/OBLogManager.h"
#include "Win32/Handles.h"

#include <atomic>

/// Appends each message as one line to a file that other threads and processes may be appending to as well.
/// Owns the file handle. A line that cannot be written is lost, silently: there is nowhere to report it.
class CLogFileSink final : public ILogSink
{
public:
    /// Opens or creates the file; the folder must exist.
    explicit CLogFileSink(const wchar_t* path) noexcept;

    /// False when the file could not be opened; such a sink writes nothing.
    bool IsOpen() const noexcept;

    void Write(const LogMessage& message) noexcept override;

private:
    CKernelHandle m_file;
    std::atomic<bool> m_lockIsStuck{false};
};
