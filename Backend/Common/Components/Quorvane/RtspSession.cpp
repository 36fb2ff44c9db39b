#include "RtspSession.h"

#include "Protocol/Log.h"

bool CRtspSession::SetupTransport(std::uint32_t cookie, const wchar_t* url, RtspTransport& transport) noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    RtspParticipantState* const state = FindParticipant(cookie, holder);
    if (state == nullptr)
        return LogFailure(false, LogLevel::Debug, L"CRtspSession::SetupTransport, can't find participant: %d", cookie);
    if (!CRtspClient::SetupTransport(url, transport))
        return false;
    *state = RtspParticipantState::Ready;
    // Whatever the state was before.
    Log(LogLevel::Debug, L"CRtspSession::SetupTransport, participant(%d) state changed from 'Init' to 'Ready'", cookie);
    return true;
}

bool CRtspSession::StartPlay(std::uint32_t, const wchar_t* url) noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    for (const auto& [cookie, state] : m_participants)
    {
        if (state == RtspParticipantState::Init)
            return LogFailure(true, LogLevel::Debug,
                              L"CRtspSession::StartPlay, can't play now because participant(%d) is NOT 'Ready'",
                              cookie);
    }
    if (!CRtspClient::StartPlay(url))
        return false;
    for (auto& [cookie, state] : m_participants)
    {
        if (state == RtspParticipantState::None)
            continue;
        state = RtspParticipantState::Playing;
        Log(LogLevel::Debug, L"CRtspSession::StartPlay, participant(%d) state changed to 'Playing'", cookie);
    }
    return true;
}

bool CRtspSession::PausePlay(std::uint32_t cookie, const wchar_t* url) noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    RtspParticipantState* const state = FindParticipant(cookie, holder);
    if (state == nullptr)
        return LogFailure(false, LogLevel::Debug, L"CRtspSession::PausePlay, can't find participant: %d", cookie);
    if (!CRtspClient::PausePlay(url))
        return false;
    *state = RtspParticipantState::Ready;
    Log(LogLevel::Debug, L"CRtspSession::PausePlay, participant(%d) state changed to 'Ready'", cookie);
    return true;
}

bool CRtspSession::StopPlay(std::uint32_t cookie, const wchar_t* url) noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    RtspParticipantState* const state = FindParticipant(cookie, holder);
    if (state == nullptr)
        return LogFailure(false, LogLevel::Debug, L"CRtspSession::StopPlayTransport, can't find participant: %d",
                          cookie);
    if (!CRtspClient::StopPlay(url))
        return false;
    *state = RtspParticipantState::Init;
    Log(LogLevel::Debug, L"CRtspSession::StopPlay, participant(%d) state changed to 'Init'", cookie);
    return true;
}

std::uint32_t CRtspSession::AddParticipant(RtspParticipantState initialState)
{
    const CCriticalSection::Holder holder(m_lock);
    const std::uint32_t cookie = m_participants.empty() ? 1 : m_participants.rbegin()->first + 1;
    m_participants.emplace(cookie, initialState);
    return cookie;
}

bool CRtspSession::HasParticipants() noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    return !m_participants.empty();
}

bool CRtspSession::RemoveParticipant(std::uint32_t cookie) noexcept
{
    const CCriticalSection::Holder holder(m_lock);
    if (m_participants.erase(cookie) == 0)
        Log(LogLevel::Debug, L"CRtspSession::RemoveParticipant, can't find participant: %d", cookie);
    return !m_participants.empty();
}

RtspParticipantState* CRtspSession::FindParticipant(std::uint32_t cookie,
                                                    const CCriticalSection::Holder& holder) noexcept
{
    holder.CheckIsOf(m_lock);
    const auto participant = m_participants.find(cookie);
    return participant != m_participants.end() ? &participant->second : nullptr;
}
