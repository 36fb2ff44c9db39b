#pragma once

#include "CameraSim/Journal/JournalEntry.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

/// The camera's diary of requests. An entry is written before the first byte of its answer goes out, so whoever holds
/// an answer finds the request here. Any thread. Keeps the last kMaxEntries; older ones are dropped.
class CJournal
{
public:
    static constexpr std::size_t kMaxEntries = 20000;

    /// Gives the entry its number.
    std::uint64_t Add(JournalEntry entry);
    std::vector<JournalEntry> Entries() const;
    void Clear();

    /// How many entries were written since the start.
    std::uint64_t Written() const;
    /// Waits until the journal holds at least so many entries; false when the time is over first.
    bool WaitForEntries(std::size_t count, std::chrono::milliseconds timeout) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::deque<JournalEntry> m_entries;
    std::uint64_t m_written = 0;
};
