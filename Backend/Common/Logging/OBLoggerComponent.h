#pragma once

#include "Logging/LogLevel.h"

#include <string>

/// The log of one named component of the process. Obtained from COBLogManager::GetLogger, which owns it for the life
/// of the module. Any thread may call any method at any time; nothing throws.
class COBLoggerComponent
{
public:
    explicit COBLoggerComponent(std::wstring name);
    COBLoggerComponent(const COBLoggerComponent&) = delete;
    COBLoggerComponent& operator=(const COBLoggerComponent&) = delete;

    const std::wstring& Name() const noexcept;

    /// True when a message of this level would be written.
    bool IsLogging(LogLevel level) const noexcept;

    /// Hands one message to the sink. `file` may carry a path; only its last part is written.
    void Write(LogLevel level, const char* file, unsigned line, const std::wstring& text) const noexcept;

private:
    const std::wstring m_name;
};
