#pragma once

#include "Threading/LeafLock.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The cameras that a process talks to, and when a failure towards each was last reported, so that a camera that is
/// switched off does not fill the log. Rows are appended, never removed; a row is a host (compared exactly, case
/// included) and a port.
/// One constant-initialised instance per kind of report, at namespace scope.
/// Any thread may call anything: objects on different threads share the table.
class CServerTable
{
public:
    constexpr CServerTable() noexcept = default;
    CServerTable(const CServerTable&) = delete;
    CServerTable& operator=(const CServerTable&) = delete;

    /// The row's index. Throws std::bad_alloc.
    int FindOrAppend(std::wstring_view host, std::uint16_t port);

    /// True when nothing was reported for this row yet, or the last report is more than an hour old by the tick count
    /// (milliseconds, wrapping around); the row then remembers `nowTick`. False for an index that is no row.
    bool ShouldReport(int index, std::uint32_t nowTick) noexcept;

    /// A request to the camera succeeded: its next failure is reported at once.
    void ClearFailure(int index) noexcept;

    static constexpr std::uint32_t kReportIntervalMs = 3'600'000;

private:
    struct Row
    {
        std::wstring host;
        std::uint16_t port;
        std::uint32_t failureTick; ///< 0: none since the last success
    };

    /// Null for an index that is no row. Only under the lock.
    std::uint32_t* FailureTick(int index) noexcept;

    CLeafLock m_lock;
    std::vector<Row> m_rows;
};
