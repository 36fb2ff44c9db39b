#include "CameraSim/Journal/Journal.h"

std::uint64_t CJournal::Add(JournalEntry entry)
{
    const std::lock_guard lock(m_mutex);
    entry.number = ++m_written;
    m_entries.push_back(std::move(entry));
    if (m_entries.size() > kMaxEntries)
        m_entries.pop_front();
    m_changed.notify_all();
    return m_written;
}

std::vector<JournalEntry> CJournal::Entries() const
{
    const std::lock_guard lock(m_mutex);
    return {m_entries.begin(), m_entries.end()};
}

void CJournal::Clear()
{
    const std::lock_guard lock(m_mutex);
    m_entries.clear();
}

std::uint64_t CJournal::Written() const
{
    const std::lock_guard lock(m_mutex);
    return m_written;
}

bool CJournal::WaitForEntries(std::size_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_entries.size() >= count; });
}
