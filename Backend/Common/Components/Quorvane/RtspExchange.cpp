#include "RtspExchange.h"

#include "Protocol/Log.h"
#include "TextEncoding/Encoding.h"

#include <algorithm>
#include <new>
#include <optional>

namespace
{
constexpr wchar_t kUserAgent[] = L"ORBELL RTSP Client (ORBELL Capture Filter)";
constexpr std::int32_t kUnauthorized = 401;
constexpr std::int32_t kNotFound = 404;
constexpr DWORD kPieceIntervalMs = 50;

/// Gives the reply to a request up, however its exchange ends, unless that reply was taken.
class CAwaitedReply
{
public:
    CAwaitedReply(CRtspReplyReader& replies, std::int32_t cseq) noexcept : m_replies(replies), m_cseq(cseq) {}
    ~CAwaitedReply()
    {
        if (!m_isTaken)
            m_replies.GiveUp(m_cseq);
    }
    CAwaitedReply(const CAwaitedReply&) = delete;
    CAwaitedReply& operator=(const CAwaitedReply&) = delete;

    void SetTaken() noexcept
    {
        m_isTaken = true;
    }

private:
    CRtspReplyReader& m_replies;
    const std::int32_t m_cseq;
    bool m_isTaken = false;
};
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

CRtspExchange::CRtspExchange(const RtspLimits& limits) noexcept
    : m_limits(limits), m_connection(limits.replyMs), m_replies(limits.textBytes)
{
}

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
    if (!m_authorization.SetCredentials(user, password))
        throw std::bad_alloc();
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
    m_cseq = NextCSeq(m_cseq);
    if (!m_connection.IsConnected())
    {
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, connection to server was closed, will re-connect");
        m_replies.Clear();
        if (m_isClosing || !m_connection.ConnectToServer(m_server.c_str(), m_port, m_path, m_user, m_password))
            return LogFailure(false, LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, re-connect to server failed");
    }
    CAwaitedReply reply(m_replies, request.cseq);
    if (!m_connection.SendRequest(request.FormatRequest()))
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::DoSendRtspRequest, SendRequest failed for rtsp command: '%s'", request.method);
    std::string text;
    if (!ReadReply(request, text, response))
        return false;
    reply.SetTaken();
    // The keep-alive stays out of the log.
    if (request.method != L"OPTIONS")
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, command: '%s', url: '%s', response: \n%s",
            request.method, request.url, text);
    return true;
}

bool CRtspExchange::ReadReply(const RtspRequest& request, std::string& text, RtspResponse& response)
{
    const CTimeLimit limit(m_limits.replyMs); // late replies do not prolong it
    std::optional<CTimeLimit> headLimit;
    for (;;)
    {
        if (!m_replies.IsComplete() && !ReadFirstPiece(request, limit))
            return false;
        if (!headLimit)
            headLimit.emplace(m_limits.headMs);
        ReadOtherPieces(request, *headLimit);
        if (m_replies.IsHeadTooLong())
            return false; // as KeepPiece has told
        text = m_replies.TakeReply();
        if (!response.ParseResponse(text))
            return LogFailure(false, LogLevel::Debug,
                              L"CRtspClient::DoSendRtspRequest, bad response string: '%s', rtsp command: '%s'", text,
                              request.method);
        if (!m_replies.IsLate(response))
            return true;
        Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, late response to CSeq %s dropped, rtsp command: '%s'",
            response.CSeq(), request.method);
    }
}

/// Of this reply: the rest of one that was cut before may come first, and alone it is none.
bool CRtspExchange::ReadFirstPiece(const RtspRequest& request, const CTimeLimit& limit)
{
    bool isRestOnly = false;
    do
    {
        std::string data;
        const bool isOver = isRestOnly && (limit.RemainingMs() == 0 || m_isClosing);
        if (isOver || !ReadPiece(data, limit.RemainingMs()))
            return LogFailure(false, LogLevel::Debug,
                              L"CRtspClient::DoSendRtspRequest, ReadResponse failed for rtsp command: '%s'",
                              request.method);
        if (data.empty())
            return LogFailure(false, LogLevel::Debug,
                              L"CRtspClient::DoSendRtspRequest, empty response for rtsp command: '%s'", request.method);
        const bool isRestDue = m_replies.IsAwaitingRest();
        if (!KeepPiece(data, request))
            return false;
        isRestOnly = isRestDue && !m_replies.HasBegun();
    } while (isRestOnly);
    return true;
}

/// Until the reply is whole; what has come by the time that nothing more comes is the reply, too. A body whose length
/// was announced may come as slowly as it likes: how many rounds it takes is the camera's affair.
void CRtspExchange::ReadOtherPieces(const RtspRequest& request, const CTimeLimit& limit)
{
    std::string data;
    for (int round = 2; !m_replies.IsComplete() && !m_isClosing; ++round)
    {
        Log(LogLevel::Debug,
            L"CRtspClient::DoSendRtspRequest, read response (%d), rtsp command: '%s', response body length: %d, "
            L"content length: %d",
            round, request.method, m_replies.BodyLength(), m_replies.ContentLength());
        ::Sleep(kPieceIntervalMs);
        const bool isRead =
            ReadPiece(data, IsBodyDue() ? m_limits.replyMs : std::min(m_limits.replyMs, limit.RemainingMs()));
        if (!isRead)
            Log(LogLevel::Debug, L"CRtspClient::DoSendRtspRequest, read response (%d) failed, rtsp command: '%s'",
                round, request.method);
        else if (data.empty())
            Log(LogLevel::Debug,
                L"CRtspClient::DoSendRtspRequest, read response (%d), empty string, rtsp command: '%s'", round,
                request.method);
        const bool isKept = isRead && !data.empty() && KeepPiece(data, request);
        const bool isOver = !IsBodyDue() && limit.RemainingMs() == 0;
        // One byte now and then would keep everybody waiting who wants this camera.
        if (isOver && !m_replies.IsComplete())
            Log(LogLevel::Debug,
                L"CRtspClient::DoSendRtspRequest, response header not complete after %d ms, rtsp command: '%s'",
                m_limits.headMs, request.method);
        if (!isKept || isOver)
            return;
    }
}

bool CRtspExchange::IsBodyDue() const noexcept
{
    return m_replies.ContentLength() != 0;
}

bool CRtspExchange::ReadPiece(std::string& data, DWORD limitMs) noexcept
{
    const bool isRead = m_connection.ReadResponse(data, limitMs);
    if (m_connection.HaveRepliesEnded())
        m_connection.Close();
    return isRead;
}

bool CRtspExchange::KeepPiece(const std::string& data, const RtspRequest& request)
try
{
    if (m_replies.Append(data))
        return true;
    // Where the next reply begins is not known any more: it comes through a new tunnel.
    m_connection.Close();
    if (m_replies.IsHeadTooLong())
        return LogFailure(false, LogLevel::Debug,
                          L"CRtspClient::DoSendRtspRequest, response header longer than %d bytes, rtsp command: '%s'",
                          CRtspReplyReader::kMaximumHeadBytes, request.method);
    return LogFailure(false, LogLevel::Debug,
                      L"CRtspClient::DoSendRtspRequest, response longer than %d bytes, rtsp command: '%s'",
                      m_limits.textBytes, request.method);
}
catch (const std::bad_alloc&)
{
    m_connection.Close(); // for the same reason
    throw;
}
