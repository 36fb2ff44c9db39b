#include "Logging/OBLogManager.h"

#include "Threading/LeafLock.h"

#include <utility>

constinit std::atomic<std::uint32_t> COBLogManager::s_levels{0};

/// Owns the sink. Unloading the module frees it without taking the lock: no other thread is in the module then, and
/// one that the system has killed must not keep the process from ending.
struct LogSinkSlot
{
    ~LogSinkSlot()
    {
        COBLogManager::s_levels.store(0, std::memory_order_relaxed);
    }
    std::shared_ptr<ILogSink> sink;
};

namespace
{
/// Loggers that the process can tell apart; the last entry is shared by all further names.
constexpr std::size_t kMaxLoggers = 16;

constinit CLeafLock s_tableLock;
constinit COBLoggerComponent s_loggers[kMaxLoggers];

/// Held while a sink writes, so that whoever replaces the sink has seen the last message to the old one.
constinit CLeafLock s_sinkLock;
constinit LogSinkSlot s_slot;
} // namespace

COBLoggerComponent& COBLogManager::GetLogger(std::wstring_view componentName) noexcept
{
    componentName = componentName.substr(0, COBLoggerComponent::kMaxNameChars);
    const CLeafLock::Holder holder(s_tableLock);
    for (COBLoggerComponent& logger : s_loggers)
    {
        if (logger.Name().empty())
            logger.SetName(componentName);
        if (logger.Name() == componentName)
            return logger;
    }
    return s_loggers[kMaxLoggers - 1];
}

void COBLogManager::SetSink(std::shared_ptr<ILogSink> sink, std::uint32_t levels) noexcept
{
    {
        const CLeafLock::Holder holder(s_sinkLock);
        s_levels.store(sink != nullptr ? levels : 0, std::memory_order_relaxed);
        s_slot.sink.swap(sink);
    }
    // The old sink, if nobody else holds it, is destroyed here, outside the lock.
}

void COBLogManager::Deliver(const LogMessage& message) noexcept
{
    const CLeafLock::Holder holder(s_sinkLock);
    if (s_slot.sink != nullptr && IsLogging(message.level))
        s_slot.sink->Write(message);
}
