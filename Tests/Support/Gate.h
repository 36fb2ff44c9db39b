#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Opened by one thread, waited for by others; never for ever.
class CGate
{
public:
    void Open()
    {
        const std::lock_guard lock(m_mutex);
        m_open = true;
        m_opened.notify_all();
    }
    /// False when it stayed closed for this long.
    bool Wait(std::chrono::milliseconds limit = std::chrono::seconds(5))
    {
        std::unique_lock lock(m_mutex);
        return m_opened.wait_for(lock, limit, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_open = false;
};
