#include "Protocol/ServerTable.h"

int CServerTable::FindOrAppend(std::wstring_view host, std::uint16_t port)
{
    const CLeafLock::Holder holder(m_lock);
    for (std::size_t index = 0; index < m_rows.size(); ++index)
    {
        if (m_rows[index].port == port && m_rows[index].host == host)
            return static_cast<int>(index);
    }
    m_rows.push_back({std::wstring(host), port, 0});
    return static_cast<int>(m_rows.size()) - 1;
}

bool CServerTable::ShouldReport(int index, std::uint32_t nowTick) noexcept
{
    const CLeafLock::Holder holder(m_lock);
    std::uint32_t* failureTick = FailureTick(index);
    if (failureTick == nullptr || (*failureTick != 0 && nowTick - *failureTick <= kReportIntervalMs))
        return false;
    *failureTick = nowTick != 0 ? nowTick : 1;
    return true;
}

void CServerTable::ClearFailure(int index) noexcept
{
    const CLeafLock::Holder holder(m_lock);
    if (std::uint32_t* failureTick = FailureTick(index))
        *failureTick = 0;
}

std::uint32_t* CServerTable::FailureTick(int index) noexcept
{
    // A negative index becomes one beyond every table.
    if (static_cast<std::size_t>(index) >= m_rows.size())
        return nullptr;
    return &m_rows[static_cast<std::size_t>(index)].failureTick;
}
