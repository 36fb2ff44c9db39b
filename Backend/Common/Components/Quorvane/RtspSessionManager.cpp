#include "RtspSessionManager.h"

#include "Protocol/Log.h"

#include <new>
#include <type_traits>

static_assert(std::is_trivially_destructible_v<CRtspSessionManager>);
constinit CRtspSessionManager CRtspSessionManager::s_instance;

class CRtspSessionManager::CHolder
{
public:
    explicit CHolder(SRWLOCK& lock) noexcept : m_lock(lock)
    {
        Lifetime::EnterLock(Lifetime::LockRank::SessionManager);
        ::AcquireSRWLockExclusive(&m_lock);
    }
    ~CHolder()
    {
        ::ReleaseSRWLockExclusive(&m_lock);
        Lifetime::LeaveLock(Lifetime::LockRank::SessionManager);
    }
    CHolder(const CHolder&) = delete;
    CHolder& operator=(const CHolder&) = delete;

private:
    SRWLOCK& m_lock;
};

CRtspSession* CRtspSessionManager::JoinRtspSession(const wchar_t* serverName, WORD port, const wchar_t* path,
                                                   const wchar_t* user, const wchar_t* password, std::uint32_t& cookie,
                                                   RtspParticipantState initialState) noexcept
try
{
    const CHolder holder(m_lock);
    const std::wstring name = serverName != nullptr ? serverName : L"";
    Entry* entry = FindServer(name, holder);
    if (entry != nullptr)
        Log(LogLevel::Debug, L"CRtspSessionManager::JoinRtspSession, found existing session, serverName = '%s'", name);
    else
        entry = OpenSession(name, port, path, user, password, holder);
    if (entry == nullptr)
        return nullptr;
    CRtspSession* const session = entry->session.get();
    try
    {
        cookie = session->AddParticipant(initialState);
    }
    catch (const std::bad_alloc&)
    {
        CloseUnused(entry, holder);
        throw;
    }
    Log(LogLevel::Debug,
        L"CRtspSessionManager::JoinRtspSession, succeeded, cookie = %d, serverName = '%s', pSession = 0x%x", cookie,
        name, static_cast<const void*>(session));
    return session;
}
catch (const std::bad_alloc&)
{
    return LogFailure(nullptr, LogLevel::Error, L"CRtspSessionManager::JoinRtspSession, out of memory");
}
catch (HRESULT hr)
{
    // The session's lock could not be created.
    return LogFailure(nullptr, LogLevel::Error,
                      L"CRtspSessionManager::JoinRtspSession, no session could be made, hr = 0x%x", hr);
}

CRtspSessionManager::Entry* CRtspSessionManager::FindServer(const std::wstring& serverName, const CHolder&) noexcept
{
    Entry* entry = m_first;
    while (entry != nullptr && entry->serverName != serverName)
        entry = entry->next;
    return entry;
}

CRtspSessionManager::Entry* CRtspSessionManager::OpenSession(const std::wstring& serverName, WORD port,
                                                             const wchar_t* path, const wchar_t* user,
                                                             const wchar_t* password, const CHolder&)
{
    Log(LogLevel::Debug, L"CRtspSessionManager::JoinRtspSession, create new rtsp session, serverName = '%s'",
        serverName);
    std::unique_ptr<Entry> entry(new Entry{serverName, std::make_shared<CRtspSession>()});
    {
        const CCriticalSection::Holder sessionHolder(entry->session->Lock());
        if (!entry->session->OpenSession(serverName.c_str(), port, path, user, password))
        {
            Log(LogLevel::Debug, L"CRtspSessionManager::JoinRtspSession, failed to open session, serverName = '%s'",
                serverName);
            return nullptr;
        }
    }
    entry->next = m_first;
    return m_first = entry.release();
}

void CRtspSessionManager::ReleaseRtspSession(CRtspSession* session, std::uint32_t cookie) noexcept
{
    if (session == nullptr)
        return;
    const CHolder holder(m_lock);
    Log(LogLevel::Debug, L"CRtspSessionManager::ReleaseRtspSession, remove participant (%d) from rtsp session: 0x%x",
        cookie, static_cast<const void*>(session));
    Entry* entry = m_first;
    while (entry != nullptr && entry->session.get() != session)
        entry = entry->next;
    if (entry != nullptr && !session->RemoveParticipant(cookie))
        Remove(entry, holder);
}

void CRtspSessionManager::CloseUnused(Entry* entry, const CHolder& holder) noexcept
{
    if (!entry->session->HasParticipants())
        Remove(entry, holder);
}

void CRtspSessionManager::Remove(Entry* unused, const CHolder&) noexcept
{
    Entry** link = &m_first;
    while (*link != unused)
        link = &(*link)->next;
    const std::unique_ptr<Entry> entry(unused);
    Log(LogLevel::Debug,
        L"CRtspSessionManager::ReleaseRtspSession, remove rtsp session (0x%x) from map, serverName = '%s'",
        static_cast<const void*>(entry->session.get()), entry->serverName);
    *link = entry->next;
    entry->session->CloseSession();
}
