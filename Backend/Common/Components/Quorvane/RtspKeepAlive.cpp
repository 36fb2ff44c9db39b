#include "RtspKeepAlive.h"

#include "ComHosting/ModuleLock.h"
#include "RtspClient.h"
#include "Threading/LeafLock.h"

#include <utility>

namespace
{
// The open timers, linked through themselves: nothing to allocate, and nothing to destroy when the library leaves.
constinit CLeafLock s_lock;
constinit CRtspKeepAlive* s_first = nullptr;
constinit std::uintptr_t s_lastId = 0;
} // namespace

CRtspKeepAlive::~CRtspKeepAlive()
{
    Close();
}

bool CRtspKeepAlive::Create(std::weak_ptr<CRtspClient> client) noexcept
{
    Close();
    Enter(std::move(client));
    if (m_timer.Create(&OnTimer, reinterpret_cast<void*>(m_id)))
        return true;
    const DWORD lastError = ::GetLastError();
    Remove();
    ::SetLastError(lastError);
    return false;
}

bool CRtspKeepAlive::IsOpen() const noexcept
{
    return static_cast<bool>(m_timer);
}

void CRtspKeepAlive::Start(DWORD periodMs) noexcept
{
    m_timer.Start(kFirstMs, periodMs);
}

void CRtspKeepAlive::Stop() noexcept
{
    m_timer.Cancel();
}

void CRtspKeepAlive::Close() noexcept
{
    Remove();
    m_timer.Close();
}

void CRtspKeepAlive::OnTimer(PTP_CALLBACK_INSTANCE, void* context, PTP_TIMER) noexcept
{
    const CBackgroundWork work; // ends after the client, whose last owner this may be
    const std::shared_ptr<CRtspClient> client = Find(reinterpret_cast<std::uintptr_t>(context));
    if (client)
        client->KeepAlive();
}

std::shared_ptr<CRtspClient> CRtspKeepAlive::Find(std::uintptr_t id) noexcept
{
    const CLeafLock::Holder holder(s_lock);
    for (const CRtspKeepAlive* each = s_first; each != nullptr; each = each->m_next)
        if (each->m_id == id)
            return each->m_client.lock();
    return nullptr;
}

void CRtspKeepAlive::Enter(std::weak_ptr<CRtspClient> client) noexcept
{
    m_client = std::move(client);
    const CLeafLock::Holder holder(s_lock);
    s_lastId += s_lastId + 1 != 0 ? 1 : 2; // 0 is nobody
    m_id = s_lastId;
    m_next = std::exchange(s_first, this);
}

void CRtspKeepAlive::Remove() noexcept
{
    if (m_id == 0)
        return;
    const CLeafLock::Holder holder(s_lock);
    CRtspKeepAlive** link = &s_first;
    while (*link != this)
        link = &(*link)->m_next;
    *link = m_next;
    m_id = 0;
}
