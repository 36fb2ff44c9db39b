#include "RtspClient.h"

#include "Protocol/Log.h"
#include "TextEncoding/Encoding.h"
#include "Win32/RegistryKey.h"

#include <limits>
#include <new>

constinit std::atomic<CRtspClient::BeatHook> CRtspClient::s_beatHook{nullptr};

namespace
{
constexpr wchar_t kUserAgent[] = L"ORBELL RTSP Client (ORBELL Capture Filter)";
constexpr wchar_t kSettingsKey[] = L"Software\\Orbell\\Video";
constexpr wchar_t kSequenceNumbers[] = L"SequenceNumbers";
constexpr std::int32_t kUnauthorized = 401;
constexpr std::int32_t kNotFound = 404;
constexpr DWORD kPieceIntervalMs = 50;

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

/// A stay inside the exchange gate. Functions that need one take it as a parameter.
class CRtspClient::CTurn
{
public:
    CTurn(CRtspClient& client, DWORD waitMs) noexcept : m_client(client), m_isInside(client.m_gate.Enter(waitMs))
    {
        if (m_isInside)
            FinishClosing();
    }
    ~CTurn()
    {
        if (!m_isInside)
            return;
        m_client.m_gate.Leave();
        // Somebody who closed the client in the meantime may have given up waiting for this turn.
        if (m_client.m_isClosing && m_client.m_gate.Enter(0))
        {
            FinishClosing();
            m_client.m_gate.Leave();
        }
    }
    CTurn(const CTurn&) = delete;
    CTurn& operator=(const CTurn&) = delete;

    explicit operator bool() const noexcept
    {
        return m_isInside;
    }

private:
    void FinishClosing() noexcept
    {
        if (m_client.m_isClosing.exchange(false))
            m_client.ForgetServer();
    }

    CRtspClient& m_client;
    bool m_isInside;
};

CRtspClient::CRtspClient(DWORD replyLimitMs) noexcept : m_replyLimitMs(replyLimitMs), m_connection(replyLimitMs) {}

CRtspClient::~CRtspClient()
{
    CloseSession();
}

bool CRtspClient::OpenSession(const wchar_t* server, WORD port, const wchar_t* path, const wchar_t* user,
                              const wchar_t* password) noexcept
try
{
    CloseSession();
    const CTurn turn(*this, kTurnWaitMs);
    if (!turn || !m_connection.ConnectToServer(OrEmpty(server), port, OrEmpty(path), OrEmpty(user), OrEmpty(password)))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::OpenSession, failed connecting to: '%s' '%d' '%s'",
                          OrEmpty(server), port, OrEmpty(path));
    m_replies.Clear();
    if (!CreatePingTimer())
    {
        m_connection.Close();
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::OpenSession, failed to create thread pool timer");
    }
    m_server = OrEmpty(server);
    m_port = port;
    m_path = OrEmpty(path);
    m_user = OrEmpty(user);
    m_password = OrEmpty(password);
    m_authorization.SetCredentials(user, password);
    return true;
}
catch (const std::bad_alloc&)
{
    CloseSession();
    return false;
}

void CRtspClient::CloseSession() noexcept
{
    ClosePingTimer();
    m_isClosing = true;
    {
        const CTurn turn(*this, kTurnWaitMs);
    }
    m_state = RtspClientState::Init;
    m_description.Clear();
}

void CRtspClient::ForgetServer() noexcept
{
    m_connection.Close();
    m_replies.Clear();
    m_server.clear();
    m_port = 0;
    m_path.clear();
    m_user.clear();
    m_password.clear();
    m_cseq = 1;
    m_sessionId.clear();
    m_authorization.Reset(true);
}

void CRtspClient::KeepAlive() noexcept
try
{
    if (const BeatHook hook = s_beatHook)
        hook();
    const CTurn turn(*this, 0);
    if (turn && !m_server.empty())
        (void)SendOptions(turn);
}
catch (const std::bad_alloc&)
{
    // The next beat may find more memory.
}

bool CRtspClient::GetOptions() noexcept
try
{
    return SendOptions(CTurn(*this, kTurnWaitMs));
}
catch (const std::bad_alloc&)
{
    return false;
}

bool CRtspClient::SendOptions(const CTurn& turn)
{
    RtspResponse response;
    if (!Exchange(turn, L"OPTIONS", L"", {}, response))
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
    if (!Exchange(CTurn(*this, kTurnWaitMs), L"GET_PARAMETER", L"", {}, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::GetParameter, failed to send request");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::GetParameter, failed, status code: %d",
                          response.statusCode);
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

bool CRtspClient::LoadSessionDescription(bool force) noexcept
try
{
    if (!force && m_description.IsValid())
        return true;
    RtspResponse response;
    if (!Exchange(CTurn(*this, kTurnWaitMs), L"DESCRIBE", L"", {{L"Accept", L"application/sdp"}}, response))
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
    return false;
}

const CSessionDescription& CRtspClient::GetSessionDescription(bool reload) noexcept
{
    if (reload || !m_description.IsValid())
        (void)LoadSessionDescription(true);
    return m_description;
}

bool CRtspClient::SetupTransport(const wchar_t* url, RtspTransport& transport) noexcept
try
{
    if (*OrEmpty(url) == L'\0')
        return false;
    const std::wstring requested = RtspHeaders::FormatTransportHeader(transport);
    Log(LogLevel::Debug, L"CRtspClient::SetupTransport, url: '%s', transport: '%s'", url, requested);
    const CTurn turn(*this, kTurnWaitMs);
    RtspResponse response;
    if (!Exchange(turn, L"SETUP", url, {{L"Transport", requested}}, response))
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
    return false;
}

void CRtspClient::TakeSession(const CTurn&, const RtspResponse& response)
{
    std::string narrowId;
    std::int32_t timeoutSeconds = 0;
    RtspHeaders::ParseRtspSessionHeader(response.Header("Session"), narrowId, timeoutSeconds);
    const std::wstring id = CUTF8Encoding().DecodeString(narrowId);
    if (m_state != RtspClientState::Init)
    {
        if (id != m_sessionId)
            Log(LogLevel::Debug, L"CRtspClient::SetupTransport, unexpected session id: '%s', timeout: %d", id,
                timeoutSeconds);
        return;
    }
    Log(LogLevel::Debug, L"CRtspClient::SetupTransport, new session id: '%s', timeout: %d", id, timeoutSeconds);
    m_sessionId = id;
    if (timeoutSeconds != 0)
        StartPingTimer(timeoutSeconds);
    m_state = RtspClientState::Ready;
    Log(LogLevel::Debug, L"CRtspClient::SetupTransport, client state changed from 'Init' to 'Ready'");
}

bool CRtspClient::StartPlay(const wchar_t* url) noexcept
try
{
    if (m_state == RtspClientState::Init)
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StartPlay, can't PLAY in Init state");
    RtspResponse response;
    if (!Exchange(CTurn(*this, kTurnWaitMs), L"PLAY", url, {{L"Range", L"npt=0.000-"}}, response))
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
    return false;
}

bool CRtspClient::PausePlay(const wchar_t*) noexcept
{
    return true;
}

bool CRtspClient::StopPlay(const wchar_t* url) noexcept
try
{
    if (m_state == RtspClientState::Init)
        return true;
    const CTurn turn(*this, kTurnWaitMs);
    RtspResponse response;
    if (!Exchange(turn, L"TEARDOWN", url, {}, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StopPlay, failed to to send command");
    if (!response.IsSuccess())
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::StopPlay, failed, status code: %d",
                          response.statusCode);
    m_state = RtspClientState::Init;
    m_sessionId.clear();
    StopPingTimer();
    Log(LogLevel::Debug, L"CRtspClient::StopPlay, client state changed to 'Init'");
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

bool CRtspClient::Exchange(const CTurn& turn, const wchar_t* method, const wchar_t* url, HeaderList headers,
                           RtspResponse& response)
{
    if (!turn)
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::SendRtspRequest, another request is still under way, rtsp command: '%s'",
                          method);
    RtspRequest request;
    InitRequest(turn, method, url, request);
    for (const auto& [name, value] : headers)
        request.SetHeader(name, value);
    return SendRtspRequest(turn, request, response);
}

void CRtspClient::InitRequest(const CTurn& turn, const wchar_t* method, const wchar_t* url, RtspRequest& request)
{
    request.method = method;
    request.url = OrEmpty(url);
    if (request.url.empty())
        request.url = L"rtsp://" + m_server + m_path;
    request.SetHeader(L"User-Agent", kUserAgent);
    if (!m_sessionId.empty())
        request.SetHeader(L"Session", m_sessionId);
    SetAuthorization(turn, request);
}

void CRtspClient::SetAuthorization(const CTurn&, RtspRequest& request)
{
    const std::string credentials = m_authorization.CreateAuthorizationCredentials(request.url, request.method);
    if (!credentials.empty())
        request.SetHeader(L"Authorization", CUTF8Encoding().DecodeString(credentials));
}

bool CRtspClient::SendRtspRequest(const CTurn& turn, RtspRequest& request, RtspResponse& response)
{
    if (!DoSendRtspRequest(turn, request, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::SendRtspRequest, failed to send rtsp command: '%s'",
                          request.method);
    if (response.statusCode != kUnauthorized)
        return true;
    m_authorization.SetAuthenticateResponse(std::string(response.Header("WWW-Authenticate")));
    SetAuthorization(turn, request);
    if (!DoSendRtspRequest(turn, request, response))
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::SendRtspRequest, failed to re-send rtsp request with authorization");
    if (response.statusCode == kUnauthorized || response.statusCode == kNotFound)
        Log(LogLevel::Debug,
            L"CRtspClient::SendRtspRequest, re-send rtsp request with authorization failed, response status code: %d",
            response.statusCode);
    return true;
}

bool CRtspClient::DoSendRtspRequest(const CTurn& turn, RtspRequest& request, RtspResponse& response)
{
    request.cseq = m_cseq;
    m_cseq = m_cseq < std::numeric_limits<std::int32_t>::max() ? m_cseq + 1 : 1;
    if (!m_connection.IsConnected())
    {
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, connection to server was closed, will re-connect");
        m_replies.Clear();
        if (m_isClosing || !m_connection.ConnectToServer(m_server.c_str(), m_port, m_path, m_user, m_password))
            return LogFailure(false, LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, re-connect to server failed");
    }
    if (!m_connection.SendRequest(request.FormatRequest()))
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::DoSendRtspRequest, SendRequest failed for rtsp command: '%s'", request.method);
    std::string text;
    if (!ReadReply(turn, request, text, response))
        return false;
    // The keep-alive stays out of the log.
    if (request.method != L"OPTIONS")
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, command: '%s', url: '%s', response: \n%s",
            request.method, request.url, text);
    return true;
}

bool CRtspClient::ReadReply(const CTurn& turn, const RtspRequest& request, std::string& text, RtspResponse& response)
{
    const DWORD startTick = ::GetTickCount();
    do
    {
        if (!m_replies.IsComplete() && !ReadFirstPiece(turn, request))
        {
            m_replies.GiveUp(request.cseq);
            return false;
        }
        ReadOtherPieces(turn, request);
        text = m_replies.TakeReply();
        if (!response.ParseResponse(text))
            return LogFailure(false, LogLevel::Debug,
                              L"CRtspClient::DoSendRtspRequest, bad response string: '%s', rtsp command: '%s'", text,
                              request.method);
        if (!m_replies.IsLate(response))
            return true;
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, late response to CSeq %s dropped, rtsp command: '%s'",
            response.Header("CSeq"), request.method);
    } while (::GetTickCount() - startTick < m_replyLimitMs);
    m_replies.GiveUp(request.cseq);
    return LogFailure(false, LogLevel::Debug,
                      L"CRtspClient::DoSendRtspRequest, ReadResponse failed for rtsp command: '%s'", request.method);
}

bool CRtspClient::ReadFirstPiece(const CTurn&, const RtspRequest& request)
{
    std::string data;
    if (!m_connection.ReadResponse(data))
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::DoSendRtspRequest, ReadResponse failed for rtsp command: '%s'",
                          request.method);
    if (data.empty())
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::DoSendRtspRequest, empty response for rtsp command: '%s'", request.method);
    return KeepPiece(data, request);
}

/// Until the reply is whole; what has come by the time that nothing more comes is the reply, too.
void CRtspClient::ReadOtherPieces(const CTurn&, const RtspRequest& request)
{
    std::string data;
    for (int round = 2; !m_replies.IsComplete() && !m_isClosing; ++round)
    {
        Log(LogLevel::Debug,
            L"CRtspClient::DoSendRtspRequest, read response (%d), rtsp command: '%s', response body length: %d, "
            L"content length: %d",
            round, request.method, m_replies.BodyLength(), m_replies.ContentLength());
        ::Sleep(kPieceIntervalMs);
        if (!m_connection.ReadResponse(data))
        {
            Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, read response (%d) failed, rtsp command: '%s'",
                round, request.method);
            return;
        }
        if (data.empty())
        {
            Log(LogLevel::Debug,
                L"CRtspClient::DoSendRtspRequest, read response (%d), empty string, rtsp command: '%s'", round,
                request.method);
            return;
        }
        if (!KeepPiece(data, request))
            return;
    }
}

bool CRtspClient::KeepPiece(const std::string& data, const RtspRequest& request)
{
    if (m_replies.Append(data))
        return true;
    // Where the next reply begins is not known any more: it comes through a new tunnel.
    m_connection.Close();
    return LogFailure(false, LogLevel::Debug,
                      L"CRtspClient::DoSendRtspRequest, response longer than %d bytes, rtsp command: '%s'",
                      CRtspReplyReader::kMaximumHeldBytes, request.method);
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
