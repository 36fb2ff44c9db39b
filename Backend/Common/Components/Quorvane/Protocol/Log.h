#pragma once

#include "Logging/LastErrorKeeper.h"
#include "Logging/OBLogManager.h"

#include <source_location>

/// A message format together with the place that logs it.
struct LogFormatAt
{
    LogFormatAt(const wchar_t* formatText, std::source_location place = std::source_location::current()) noexcept
        : format(formatText), where(place)
    {
    }
    const wchar_t* format;
    std::source_location where;
};

/// The component's logger, "VIDEO_QUORVANE".
COBLoggerComponent& QuorvaneLogger();

/// Logs one message of the component; every message begins with class and method, as in
/// "CAVCommand::OpenConnection, ...". Costs one test while logging is off: nothing is formatted or allocated.
/// Any thread. Never throws: a message that cannot be formatted is dropped. The last error of the thread is kept.
template <class... Arguments>
void Log(LogLevel level, LogFormatAt message, const Arguments&... arguments) noexcept
{
    if (!COBLogManager::IsLogging())
        return;
    const CLastErrorKeeper keeper;
    try
    {
        COBLoggerComponent& logger = QuorvaneLogger();
        if (logger.IsLogging(level))
            logger.Write(level, message.where.file_name(), message.where.line(),
                         COBLogManager::FormatStr(message.format, arguments...));
    }
    catch (...)
    {
        // Out of memory while logging: the message is lost, the caller's work is not.
    }
}

/// Logs a failure and passes `result` on, so that a failure is logged and returned in one expression.
template <class Result, class... Arguments>
Result LogFailure(Result result, LogLevel level, LogFormatAt message, const Arguments&... arguments) noexcept
{
    Log(level, message, arguments...);
    return result;
}
