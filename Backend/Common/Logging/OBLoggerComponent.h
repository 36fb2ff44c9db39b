#pragma once

#include "Logging/LogLevel.h"

#include <cstddef>
#include <string>
#include <string_view>

/// The log of one named component of the process. Obtained from COBLogManager::GetLogger, whose table holds it for the
/// life of the module; it owns no memory, so that unloading the module leaves nothing behind.
/// Any thread may call any method at any time; nothing throws.
class COBLoggerComponent
{
public:
    static constexpr std::size_t kMaxNameChars = 63;

    constexpr COBLoggerComponent() noexcept = default;
    COBLoggerComponent(const COBLoggerComponent&) = delete;
    COBLoggerComponent& operator=(const COBLoggerComponent&) = delete;

    /// Empty for an entry of the table that nobody has asked for yet.
    std::wstring_view Name() const noexcept;

    /// True when a message of this level would be written.
    bool IsLogging(LogLevel level) const noexcept;

    /// Hands one message to the sink. `file` may carry a path; only its last part is written.
    void Write(LogLevel level, const char* file, unsigned line, const std::wstring& text) const noexcept;

private:
    friend class COBLogManager;
    /// Called once, under the table's lock, before anybody else sees the object. Cuts the name to what fits.
    void SetName(std::wstring_view name) noexcept;

    wchar_t m_name[kMaxNameChars + 1] = {};
    std::size_t m_nameChars = 0;
};
