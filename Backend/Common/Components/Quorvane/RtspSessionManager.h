#pragma once

#include "RtspSession.h"

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

/// The RTSP sessions of this process, one for each server name (compared exactly, case included): several command
/// objects on one camera share its session.
/// One process-wide instance, which is there with the module and needs no destruction: nothing runs for it while the
/// library is loaded or unloaded. A session lives from the first join until the last participant leaves; whoever joins
/// owes a release, before the library goes.
/// Any thread. The lock is held while a session is opened or closed, so that two objects cannot open the same one; the
/// session's lock is taken inside it, never the other way round.
/// Nothing throws. Failures are logged, then returned as null.
class CRtspSessionManager
{
public:
    constexpr CRtspSessionManager() noexcept = default;
    CRtspSessionManager(const CRtspSessionManager&) = delete;
    CRtspSessionManager& operator=(const CRtspSessionManager&) = delete;

    static CRtspSessionManager& Get() noexcept
    {
        return s_instance;
    }

    /// Joins the session with that server, or opens one; port, path, user and password are used for opening only.
    /// `cookie` identifies the new participant; untouched when null is returned. The session is valid until the
    /// release.
    [[nodiscard]] CRtspSession* JoinRtspSession(const wchar_t* serverName, WORD port, const wchar_t* path,
                                                const wchar_t* user, const wchar_t* password, std::uint32_t& cookie,
                                                RtspParticipantState initialState) noexcept;

    /// The last one to leave closes the session, without TEARDOWN, and destroys it. Null, or a session that is not of
    /// this manager: nothing.
    void ReleaseRtspSession(CRtspSession* session, std::uint32_t cookie) noexcept;

private:
    struct Entry
    {
        std::wstring serverName;
        std::shared_ptr<CRtspSession> session;
        Entry* next = nullptr;
    };
    class CHolder;

    Entry* FindServer(const std::wstring& serverName, const CHolder&) noexcept;
    /// Null when the camera does not answer. Throws std::bad_alloc or HRESULT.
    Entry* OpenSession(const std::wstring& serverName, WORD port, const wchar_t* path, const wchar_t* user,
                       const wchar_t* password, const CHolder&);
    /// Closes a session that has no participant.
    void CloseUnused(Entry* entry, const CHolder& holder) noexcept;
    void Remove(Entry* unused, const CHolder&) noexcept;

    static CRtspSessionManager s_instance;

    SRWLOCK m_lock = SRWLOCK_INIT;
    Entry* m_first = nullptr; ///< owns its entries through plain pointers, so that the manager needs no destructor
};
