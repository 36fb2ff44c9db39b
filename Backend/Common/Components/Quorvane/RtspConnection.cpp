#include "RtspConnection.h"

#include "Authentication.h"
#include "Protocol/Base64.h"
#include "Protocol/Log.h"
#include "TextEncoding/Encoding.h"
#include "Win32/TimeLimit.h"

#include <algorithm>
#include <exception>

namespace
{
/// Throws a failing result, logged with `message`; the tunnel's connect is one sequence with one way out.
void ThrowIfFailed(HRESULT hr, LogFormatAt message)
{
    if (FAILED(hr))
        throw LogFailure(hr, LogLevel::Error, message, hr);
}
} // namespace

CRtspConnection::CRtspConnection(DWORD timeLimitMs) noexcept : m_timeLimitMs(timeLimitMs) {}

CRtspConnection::~CRtspConnection()
{
    Close();
}

bool CRtspConnection::ConnectToServer(const wchar_t* server, WORD port, const std::wstring& path,
                                      const std::wstring& user, const std::wstring& password) noexcept
try
{
    if (server == nullptr || *server == L'\0' || port == 0)
        return false;
    Close();
    if (!MayOpenAnother())
        return false;
    OpenTunnel(server, port, path, user, password);
    return true;
}
catch (HRESULT)
{
    Close();
    return false;
}
catch (const std::exception&)
{
    Close();
    return LogFailure(false, LogLevel::Error, L"CRtspConnection::ConnectToServer, out of memory");
}

bool CRtspConnection::MayOpenAnother() noexcept
{
    // Wine 8 does not end a receive when its handle is closed. A camera that ends each GET and keeps the POST would
    // cost a thread and a connection for every beat of the keep-alive.
    const std::size_t left = std::max(m_get.CountLeftSessions(), m_post.CountLeftSessions());
    return left < kMaximumLeft ||
           LogFailure(false, LogLevel::Error,
                      L"CRtspConnection::ConnectToServer, %d earlier tunnels still have requests, no other opened",
                      left);
}

void CRtspConnection::OpenTunnel(const wchar_t* server, WORD port, const std::wstring& path, const std::wstring& user,
                                 const std::wstring& password)
{
    ThrowIfFailed(m_get.OpenConnection(server, port, user.c_str(), password.c_str()),
                  L"CRtspConnection::ConnectToServer, failed to open GET connection, hr = 0x%x\n");
    std::wstring headers =
        L"x-sessioncookie:" + GetSessionCookie() + L"\r\nConnection: Keep-Alive\r\nCache-Control: no-cache\r\n";
    ThrowIfFailed(m_get.OpenStream(path, headers, L"GET", m_timeLimitMs),
                  L"CRtspConnection::ConnectToServer, failed to open GET stream, hr = 0x%x\n");
    ThrowIfFailed(m_post.OpenConnection(server, port, user.c_str(), password.c_str()),
                  L"CRtspConnection::ConnectToServer, failed to open POST connection, hr = 0x%x\n");
    // A length that is never reached: the body goes on for as long as the tunnel lives.
    headers += L"Content-Type: application/x-rtsp-tunnelled\r\nContent-Length: 32767";
    ThrowIfFailed(m_post.OpenStream(path, headers),
                  L"CRtspConnection::ConnectToServer, failed to open POST stream, hr = 0x%x\n");
    (void)m_post.IsRequestSent(); // a slow camera gets its time; the first request shows whether it was enough
}

bool CRtspConnection::SendRequest(std::string_view text) noexcept
try
{
    if (text.empty())
        return false;
    const HRESULT hr = m_post.Write(Base64::Encode(text));
    return SUCCEEDED(hr) || LogFailure(false, LogLevel::Error,
                                       L"CRtspConnection::SendRequest, failed to write rtsp request, hr = 0x%x", hr);
}
catch (const std::exception&)
{
    return LogFailure(false, LogLevel::Error, L"CRtspConnection::SendRequest, out of memory");
}

bool CRtspConnection::ReadResponse(std::string& data, DWORD limitMs) noexcept
{
    const HRESULT hr = m_get.Read(data, limitMs);
    m_haveRepliesEnded = SUCCEEDED(hr) ? data.empty() : hr != kRequestTimeout && hr != E_OUTOFMEMORY;
    return SUCCEEDED(hr);
}

bool CRtspConnection::IsConnected() noexcept
{
    return m_get.IsStreamOpen() && m_post.IsStreamOpen();
}

void CRtspConnection::Close() noexcept
{
    // Both requests before the first wait: where WinInet is stuck in waiting for the POST's response, it is the camera
    // that ends it, having seen the GET end.
    const CTimeLimit limit(kCloseWaitMs);
    m_post.CloseStream();
    m_get.CloseStream();
    m_post.Close(limit.RemainingMs());
    m_get.Close(limit.RemainingMs());
    m_sessionCookie.clear();
}

const std::wstring& CRtspConnection::GetSessionCookie()
{
    if (m_sessionCookie.empty())
        m_sessionCookie = CIso88591Encoding().DecodeString(AuthorizationRequest().GenerateRandomSignature());
    return m_sessionCookie;
}
