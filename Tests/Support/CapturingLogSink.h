#pragma once

#include "Logging/OBLogManager.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <vector>

/// A message as a sink has seen it, with its own copies of the texts.
struct CapturedMessage
{
    std::wstring component;
    LogLevel level;
    std::string file;
    unsigned line;
    std::wstring text;
};

/// Keeps every message in memory. Any thread may ask while others log.
class CCapturingLogSink final : public ILogSink
{
public:
    void Write(const LogMessage& message) noexcept override
    try
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_messages.push_back({std::wstring(message.component), message.level, std::string(message.file), message.line,
                              std::wstring(message.text)});
        m_arrived.notify_all();
    }
    catch (const std::bad_alloc&)
    {
        // A test lets memory run out.
    }

    std::vector<CapturedMessage> Messages() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_messages;
    }

    /// Waits until `count` messages contain the text, at most `timeout`; true when they have come.
    bool WaitFor(std::wstring_view part, std::size_t count, std::chrono::milliseconds timeout) const
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        return m_arrived.wait_for(guard, timeout, [&] { return CountLocked(part) >= count; });
    }

    std::size_t Count(std::wstring_view part) const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return CountLocked(part);
    }

    void Clear()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_messages.clear();
    }

private:
    std::size_t CountLocked(std::wstring_view part) const
    {
        return static_cast<std::size_t>(std::count_if(m_messages.begin(), m_messages.end(), [part](const auto& each) {
            return each.text.find(part) != std::wstring::npos;
        }));
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    std::vector<CapturedMessage> m_messages;
};

/// Sends the process's log to memory for as long as it lives; afterwards logging is off.
class CLogCapture
{
public:
    explicit CLogCapture(std::uint32_t levels = COBLogManager::kAllLevels)
    {
        COBLogManager::SetSink(m_sink, levels);
    }
    ~CLogCapture()
    {
        COBLogManager::SetSink(nullptr, 0);
    }
    CLogCapture(const CLogCapture&) = delete;
    CLogCapture& operator=(const CLogCapture&) = delete;

    CCapturingLogSink& Sink()
    {
        return *m_sink;
    }
    std::vector<CapturedMessage> Messages() const
    {
        return m_sink->Messages();
    }
    std::size_t Count(std::wstring_view part) const
    {
        return m_sink->Count(part);
    }
    void Clear()
    {
        m_sink->Clear();
    }

    /// What was logged so far, in order, as "level text"; the form in which tests compare whole logs.
    std::vector<std::wstring> Lines() const
    {
        std::vector<std::wstring> result;
        for (const CapturedMessage& message : m_sink->Messages())
            result.push_back(std::to_wstring(static_cast<std::uint32_t>(message.level)) + L" " + message.text);
        return result;
    }

private:
    std::shared_ptr<CCapturingLogSink> m_sink = std::make_shared<CCapturingLogSink>();
};
