#include "RtspExchange.h"

#include "Protocol/Log.h"
#include "TextEncoding/Encoding.h"

#include <limits>

namespace
{
constexpr wchar_t kUserAgent[] = L"ORBELL RTSP Client (ORBELL Capture Filter)";
constexpr std::int32_t kUnauthorized = 401;
constexpr std::int32_t kNotFound = 404;
constexpr DWORD kPieceIntervalMs = 50;
} // namespace

CRtspExchange::CTurn::CTurn(CRtspExchange& exchange, DWORD waitMs) noexcept
    : m_exchange(exchange), m_isInside(exchange.m_gate.Enter(waitMs))
{
    if (m_isInside)
        m_exchange.FinishClosing();
}

CRtspExchange::CTurn::~CTurn()
{
    if (!m_isInside)
        return;
    m_exchange.m_gate.Leave();
    // Somebody who wants it closed may have given up waiting for this turn.
    if (m_exchange.m_isClosing && m_exchange.m_gate.Enter(0))
    {
        m_exchange.FinishClosing();
        m_exchange.m_gate.Leave();
    }
}

CRtspExchange::CRtspExchange(DWORD replyLimitMs) noexcept : m_replyLimitMs(replyLimitMs), m_connection(replyLimitMs) {}

bool CRtspExchange::Open(const CTurn& turn, const wchar_t* server, WORD port, const wchar_t* path, const wchar_t* user,
                         const wchar_t* password)
{
    if (!turn || !m_connection.ConnectToServer(server, port, path, user, password))
        return false;
    m_server = server;
    m_port = port;
    m_path = path;
    m_user = user;
    m_password = password;
    m_authorization.SetCredentials(user, password);
    return true;
}

bool CRtspExchange::IsOpen(const CTurn& turn) const noexcept
{
    return turn && !m_server.empty();
}

void CRtspExchange::RequestClose() noexcept
{
    m_isClosing = true;
}

void CRtspExchange::FinishClosing() noexcept
{
    if (!m_isClosing.exchange(false))
        return;
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

bool CRtspExchange::Send(const CTurn& turn, const wchar_t* method, const wchar_t* url, HeaderList headers,
                         RtspResponse& response)
{
    if (!turn)
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::SendRtspRequest, another request is still under way, rtsp command: '%s'",
                          method);
    RtspRequest request;
    InitRequest(method, url, request);
    for (const auto& [name, value] : headers)
        request.SetHeader(name, value);
    return SendRtspRequest(request, response);
}

void CRtspExchange::InitRequest(const wchar_t* method, const wchar_t* url, RtspRequest& request)
{
    request.method = method;
    request.url = url != nullptr ? url : L"";
    if (request.url.empty())
        request.url = L"rtsp://" + m_server + m_path;
    request.SetHeader(L"User-Agent", kUserAgent);
    if (!m_sessionId.empty())
        request.SetHeader(L"Session", m_sessionId);
    SetAuthorization(request);
}

void CRtspExchange::SetAuthorization(RtspRequest& request)
{
    const std::string credentials = m_authorization.CreateAuthorizationCredentials(request.url, request.method);
    if (!credentials.empty())
        request.SetHeader(L"Authorization", CUTF8Encoding().DecodeString(credentials));
}

bool CRtspExchange::SendRtspRequest(RtspRequest& request, RtspResponse& response)
{
    if (!DoSendRtspRequest(request, response))
        return LogFailure(false, LogLevel::Debug, L"CRtspClient::SendRtspRequest, failed to send rtsp command: '%s'",
                          request.method);
    if (response.statusCode != kUnauthorized)
        return true;
    m_authorization.SetAuthenticateResponse(std::string(response.Header("WWW-Authenticate")));
    SetAuthorization(request);
    if (!DoSendRtspRequest(request, response))
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::SendRtspRequest, failed to re-send rtsp request with authorization");
    if (response.statusCode == kUnauthorized || response.statusCode == kNotFound)
        Log(LogLevel::Debug,
            L"CRtspClient::SendRtspRequest, re-send rtsp request with authorization failed, response status code: %d",
            response.statusCode);
    return true;
}

bool CRtspExchange::DoSendRtspRequest(RtspRequest& request, RtspResponse& response)
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
    if (!ReadReply(request, text, response))
        return false;
    // The keep-alive stays out of the log.
    if (request.method != L"OPTIONS")
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, command: '%s', url: '%s', response: \n%s",
            request.method, request.url, text);
    return true;
}

bool CRtspExchange::ReadReply(const RtspRequest& request, std::string& text, RtspResponse& response)
{
    const DWORD startTick = ::GetTickCount();
    do
    {
        if (!m_replies.IsComplete() && !ReadFirstPiece(request))
        {
            m_replies.GiveUp(request.cseq);
            return false;
        }
        ReadOtherPieces(request);
        text = m_replies.TakeReply();
        if (!response.ParseResponse(text))
        {
            m_replies.GiveUp(request.cseq);
            return LogFailure(false, LogLevel::Debug,
                              L"CRtspClient::DoSendRtspRequest, bad response string: '%s', rtsp command: '%s'", text,
                              request.method);
        }
        if (!m_replies.IsLate(response))
            return true;
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, late response to CSeq %s dropped, rtsp command: '%s'",
            response.Header("CSeq"), request.method);
    } while (::GetTickCount() - startTick < m_replyLimitMs);
    m_replies.GiveUp(request.cseq);
    return LogFailure(false, LogLevel::Debug,
                      L"CRtspClient::DoSendRtspRequest, ReadResponse failed for rtsp command: '%s'", request.method);
}

bool CRtspExchange::ReadFirstPiece(const RtspRequest& request)
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
void CRtspExchange::ReadOtherPieces(const RtspRequest& request)
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

bool CRtspExchange::KeepPiece(const std::string& data, const RtspRequest& request)
{
    if (m_replies.Append(data))
        return true;
    // Where the next reply begins is not known any more: it comes through a new tunnel.
    m_connection.Close();
    return LogFailure(false, LogLevel::Debug,
                      L"CRtspClient::DoSendRtspRequest, response longer than %d bytes, rtsp command: '%s'",
                      CRtspReplyReader::kMaximumHeldBytes, request.method);
}
