#pragma once

#include "Logging/LogFormat.h"
#include "Logging/LogLevel.h"
#include "Logging/OBLoggerComponent.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// One message on its way to a sink.
struct LogMessage
{
    std::wstring_view component;
    LogLevel level;
    std::string_view file; ///< last part of the source path
    unsigned line;
    std::wstring_view text;
};

/// Where messages go: the log file, or a test's memory. Called from any thread, never two calls at once.
/// Write runs under the manager's lock: it must not log and must not replace the sink.
class ILogSink
{
public:
    virtual ~ILogSink() = default;
    virtual void Write(const LogMessage& message) noexcept = 0;
};

/// Process-wide switchboard of the log. Off until a sink is set.
/// Any thread may call any method at any time.
class COBLogManager
{
public:
    /// The one test that a message costs while logging is off.
    static bool IsLogging() noexcept
    {
        return s_levels.load(std::memory_order_relaxed) != 0;
    }
    static bool IsLogging(LogLevel level) noexcept
    {
        return (s_levels.load(std::memory_order_relaxed) & static_cast<std::uint32_t>(level)) != 0;
    }

    /// The component's logger; the same object for the same name. Lives as long as the module.
    /// The table holds 16 names; further ones share its last entry.
    static COBLoggerComponent& GetLogger(std::wstring_view componentName) noexcept;

    /// Printf-style text; see LogFormat::Format for what it understands.
    template <class... Arguments>
    static std::wstring FormatStr(const wchar_t* format, const Arguments&... arguments)
    {
        return LogFormat::Format(format, {LogFormat::Argument(arguments)...});
    }

    /// Replaces the sink; null switches logging off. `levels` is the mask of the levels that reach it.
    /// Returns after the last message to the old sink.
    static void SetSink(std::shared_ptr<ILogSink> sink, std::uint32_t levels) noexcept;

    static constexpr std::uint32_t kAllLevels = 0xFFFFFFFFu;

private:
    friend class COBLoggerComponent;
    friend struct LogSinkSlot;
    static void Deliver(const LogMessage& message) noexcept;

    static std::atomic<std::uint32_t> s_levels;
};
