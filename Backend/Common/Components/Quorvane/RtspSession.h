#pragma once

#include "RtspClient.h"
#include "Win32/CriticalSection.h"

#include <cstdint>
#include <map>

/// How far one user of a session has come.
enum class RtspParticipantState
{
    None = 0, ///< takes no part in streaming: nobody waits for it to set up, and it never plays
    Init = 1,
    Ready = 2,
    Playing = 3,
};

/// One RTSP session with a camera that several users share, each known by a cookie. SETUP, PLAY and TEARDOWN are sent
/// for all of them together; what each has reached is kept here.
/// Owned by CRtspSessionManager, lent to the users between joining and leaving.
/// Any thread: every operation takes the session's lock for as long as the camera takes to answer. The keep-alive does
/// not take it.
/// Failures are logged, then returned as false; null urls stand for the default one.
class CRtspSession final : public CRtspClient
{
public:
    /// Throws std::bad_alloc, or the HRESULT of a lock that cannot be created.
    CRtspSession() = default;

    /// For whoever calls the client's operations itself.
    CCriticalSection& Lock() noexcept
    {
        return m_lock;
    }
    /// The description stays as it is for as long as the lock is held.
    const CSessionDescription& GetSessionDescription(bool reload, const CCriticalSection::Holder& holder) noexcept
    {
        holder.CheckIsOf(m_lock);
        return CRtspClient::GetSessionDescription(reload);
    }

    [[nodiscard]] bool SetupTransport(std::uint32_t cookie, const wchar_t* url, RtspTransport& transport) noexcept;
    /// Plays as soon as no participant is left that has yet to set up its transport; true, without a request, before.
    /// Needs no valid cookie.
    [[nodiscard]] bool StartPlay(std::uint32_t cookie, const wchar_t* url) noexcept;
    [[nodiscard]] bool PausePlay(std::uint32_t cookie, const wchar_t* url) noexcept;
    /// Ends the session with the camera for all participants; the states of the others stay.
    [[nodiscard]] bool StopPlay(std::uint32_t cookie, const wchar_t* url) noexcept;

    // For the manager.

    /// The new participant's cookie. Throws std::bad_alloc.
    std::uint32_t AddParticipant(RtspParticipantState initialState);
    bool HasParticipants() noexcept;
    /// True when participants are left.
    bool RemoveParticipant(std::uint32_t cookie) noexcept;

private:
    RtspParticipantState* FindParticipant(std::uint32_t cookie, const CCriticalSection::Holder&) noexcept;

    CCriticalSection m_lock{Lifetime::LockRank::Session};
    std::map<std::uint32_t, RtspParticipantState> m_participants;
};
