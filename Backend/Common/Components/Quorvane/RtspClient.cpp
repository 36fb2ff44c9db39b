#include "RtspClient.h"

#include "Protocol/Log.h"
#include "TextEncoding/Encoding.h"
#include "Win32/RegistryKey.h"

#include <new>

constinit std::atomic<CRtspClient::BeatHook> CRtspClient::s_beatHook{nullptr};

namespace
{
constexpr wchar_t kSettingsKey[] = L"Software\\Orbell\\Video";
constexpr wchar_t kSequenceNumbers[] = L"SequenceNumbers";
constexpr char kOneCaller[] = "two callers inside one RTSP client";

const wchar_t* OrEmpty(const wchar_t* text) noexcept
{
    return text != nullptr ? text : L"";
}

void SaveSequenceNumbers(const std::string& list)
{
    CRegistryKey key = CRegistryKey::OpenMachine(kSettingsKey, KEY_WRITE);
    if (key && !key.WriteText(kSequenceNumbers, CIso88591Encoding().DecodeString(list)))
        Log(LogLevel::Debug, L"CRtspClient::StartPlay, failed to save sequence numbers to registry");
}
} // namespace

CRtspClient::CRtspClient(const RtspLimits& limits) noexcept : m_exchange(limits), m_turnWaitMs(limits.turnWaitMs) {}

CRtspClient::~CRtspClient()
{
    CloseSession();
}

bool CRtspClient::OpenSession(const wchar_t* server, WORD port, const wchar_t* path, const wchar_t* user,
                              const wchar_t* password) noexcept
try
{
    const CStay stay(m_caller, kOneCaller);
    CloseSession();
    const CTurn turn(m_exchange, m_turnWaitMs);
    if (!m_exchange.Open(turn, OrEmpty(server), port, OrEmpty(path), OrEmpty(user), OrEmpty(password)))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::OpenSession, failed connecting to: '%s' '%d' '%s'",
                          OrEmpty(server), port, OrEmpty(path));
    if (!CreatePingTimer())
    {
        m_exchange.RequestClose(); // when this turn ends
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::OpenSession, failed to create thread pool timer");
    }
    return true;
}
catch (const std::bad_alloc&)
{
    CloseSession();
    return LogFailure(false, LogLevel::Error, L"CRtspClient::OpenSession, out of memory");
}

void CRtspClient::CloseSession() noexcept
{
    const CStay stay(m_caller, kOneCaller);
    ClosePingTimer();
    m_exchange.RequestClose();
    {
        const CTurn turn(m_exchange, m_turnWaitMs); // closes it
    }
    m_state = RtspClientState::Init;
    m_description.Clear();
}

void CRtspClient::KeepAlive() noexcept
try
{
    m_mark.Check("a beat finds a client that is destroyed");
    if (const BeatHook hook = s_beatHook)
        hook();
    const CTurn turn(m_exchange, 0);
    if (m_exchange.IsOpen(turn))
        (void)SendOptions(turn);
}
catch (const std::bad_alloc&)
{
    // The next beat may find more memory.
    Log(LogLevel::Error, L"CRtspClient::KeepAlive, out of memory");
}

bool CRtspClient::GetOptions() noexcept
try
{
    return SendOptions(CTurn(m_exchange, m_turnWaitMs));
}
catch (const std::bad_alloc&)
{
    return LogFailure(false, LogLevel::Error, L"CRtspClient::GetOptions, out of memory");
}

bool CRtspClient::SendOptions(const CTurn& turn)
{
    RtspResponse response;
    if (!m_exchange.Send(turn, L"OPTIONS", L"", {}, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::GetOptions, failed to send request");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::GetOptions, failed, status code: %d",
                          response.statusCode);
    return true;
}

bool CRtspClient::GetParameter() noexcept
try
{
    RtspResponse response;
    if (!m_exchange.Send(CTurn(m_exchange, m_turnWaitMs), L"GET_PARAMETER", L"", {}, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::GetParameter, failed to send request");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::GetParameter, failed, status code: %d",
                          response.statusCode);
    return true;
}
catch (const std::bad_alloc&)
{
    return LogFailure(false, LogLevel::Error, L"CRtspClient::GetParameter, out of memory");
}

bool CRtspClient::LoadSessionDescription(bool force) noexcept
try
{
    const CStay stay(m_caller, kOneCaller);
    if (!force && m_description.IsValid())
        return true;
    RtspResponse response;
    if (!m_exchange.Send(CTurn(m_exchange, m_turnWaitMs), L"DESCRIBE", L"", {{L"Accept", L"application/sdp"}},
                         response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::LoadSessionDescription, failed to to send request");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::LoadSessionDescription, failed, status code: %d",
                          response.statusCode);
    const std::string_view base = response.Header("Content-Base");
    m_description.Initialize(response.body, !base.empty() ? base : response.Header("Content-Location"));
    return true;
}
catch (const std::bad_alloc&)
{
    m_description.Clear();
    return LogFailure(false, LogLevel::Error, L"CRtspClient::LoadSessionDescription, out of memory");
}

const CSessionDescription& CRtspClient::GetSessionDescription(bool reload) noexcept
{
    const CStay stay(m_caller, kOneCaller);
    if (reload || !m_description.IsValid())
        (void)LoadSessionDescription(true);
    return m_description;
}

bool CRtspClient::SetupTransport(const wchar_t* url, RtspTransport& transport) noexcept
try
{
    const CStay stay(m_caller, kOneCaller);
    if (*OrEmpty(url) == L'\0')
        return false;
    const std::wstring requested = RtspHeaders::FormatTransportHeader(transport);
    Log(LogLevel::Debug, L"CRtspClient::SetupTransport, url: '%s', transport: '%s'", url, requested);
    const CTurn turn(m_exchange, m_turnWaitMs);
    RtspResponse response;
    if (!m_exchange.Send(turn, L"SETUP", url, {{L"Transport", requested}}, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::SetupTransport, failed to to send command");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::SetupTransport, failed, status code: %d",
                          response.statusCode);
    TakeSession(turn, response);
    const std::string_view granted = response.Header("Transport");
    if (!granted.empty())
        RtspHeaders::ParseTransportHeader(granted, transport);
    return true;
}
catch (const std::bad_alloc&)
{
    return LogFailure(false, LogLevel::Error, L"CRtspClient::SetupTransport, out of memory");
}

void CRtspClient::TakeSession(const CTurn& turn, const RtspResponse& response)
{
    std::string narrowId;
    std::int32_t timeoutSeconds = 0;
    RtspHeaders::ParseRtspSessionHeader(response.Header("Session"), narrowId, timeoutSeconds);
    const std::wstring id = CUTF8Encoding().DecodeString(narrowId);
    if (m_state != RtspClientState::Init)
    {
        if (id != m_exchange.SessionId(turn))
            Log(LogLevel::Debug, L"CRtspClient::SetupTransport, unexpected session id: '%s', timeout: %d", id,
                timeoutSeconds);
        return;
    }
    Log(LogLevel::Debug, L"CRtspClient::SetupTransport, new session id: '%s', timeout: %d", id, timeoutSeconds);
    m_exchange.SetSessionId(turn, id);
    if (timeoutSeconds != 0)
        StartPingTimer(timeoutSeconds);
    m_state = RtspClientState::Ready;
    Log(LogLevel::Debug, L"CRtspClient::SetupTransport, client state changed from 'Init' to 'Ready'");
}

bool CRtspClient::StartPlay(const wchar_t* url) noexcept
try
{
    const CStay stay(m_caller, kOneCaller);
    if (m_state == RtspClientState::Init)
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StartPlay, can't PLAY in Init state");
    RtspResponse response;
    if (!m_exchange.Send(CTurn(m_exchange, m_turnWaitMs), L"PLAY", url, {{L"Range", L"npt=0.000-"}}, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StartPlay, failed to to send command");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StartPlay, failed, status code: %d",
                          response.statusCode);
    m_state = RtspClientState::Playing;
    const std::string sequenceNumbers =
        RtspHeaders::SequenceNumberList(RtspHeaders::ParseRtpInfoHeader(response.Header("RTP-Info")));
    if (!sequenceNumbers.empty())
        SaveSequenceNumbers(sequenceNumbers);
    return true;
}
catch (const std::bad_alloc&)
{
    return LogFailure(false, LogLevel::Error, L"CRtspClient::StartPlay, out of memory");
}

bool CRtspClient::PausePlay(const wchar_t*) noexcept
{
    return true;
}

bool CRtspClient::StopPlay(const wchar_t* url) noexcept
try
{
    const CStay stay(m_caller, kOneCaller);
    if (m_state == RtspClientState::Init)
        return true;
    const CTurn turn(m_exchange, m_turnWaitMs);
    RtspResponse response;
    if (!m_exchange.Send(turn, L"TEARDOWN", url, {}, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StopPlay, failed to to send command");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StopPlay, failed, status code: %d",
                          response.statusCode);
    m_state = RtspClientState::Init;
    m_exchange.SetSessionId(turn, {});
    StopPingTimer();
    Log(LogLevel::Debug, L"CRtspClient::StopPlay, client state changed to 'Init'");
    return true;
}
catch (const std::bad_alloc&)
{
    return LogFailure(false, LogLevel::Error, L"CRtspClient::StopPlay, out of memory");
}

bool CRtspClient::CreatePingTimer() noexcept
{
    ClosePingTimer();
    if (!m_keepAlive.Create(weak_from_this()))
        return LogFailure(false, LogLevel::Error,
                          L"CRtspClient::CreatePingTimer, CreateThreadpoolTimer failed, dwLastError = %d",
                          ::GetLastError());
    return true;
}

void CRtspClient::StartPingTimer(std::int32_t timeoutSeconds) noexcept
{
    if (!m_keepAlive.IsOpen() || timeoutSeconds == 0)
        return;
    m_keepAlive.Start(RtspHeaders::KeepAlivePeriodMs(timeoutSeconds));
    Log(LogLevel::Debug, L"CRtspClient::StartPingTimer, started, interval = %d", timeoutSeconds);
}

void CRtspClient::StopPingTimer() noexcept
{
    if (!m_keepAlive.IsOpen())
        return;
    m_keepAlive.Stop();
    Log(LogLevel::Debug, L"CRtspClient::StopPingTimer, stopped");
}

void CRtspClient::ClosePingTimer() noexcept
{
    if (!m_keepAlive.IsOpen())
        return;
    m_keepAlive.Close();
    Log(LogLevel::Debug, L"CRtspClient::ClosePingTimer, closed");
}
