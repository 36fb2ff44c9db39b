#pragma once

#include "HttpRequestStream.h"

#include <windows.h>

#include <string>
#include <string_view>

/// RTSP through HTTP: a GET whose response carries the camera's replies as plain text and a POST whose body carries our
/// requests in base64, tied together by the header x-sessioncookie.
/// Held by value by CRtspClient; owns both streams. One caller at a time; it has no lock of its own.
/// Failures are logged and returned as false; a failed connect leaves it closed.
/// Hazard: the camera may close the POST at any moment, which IsConnected then tells. Its closing the GET only shows
/// when replies are read: as a reply without text, or as a failure.
class CRtspConnection
{
public:
    /// How long to wait for the response headers of the GET, and in ReadResponse for data.
    static constexpr DWORD kTimeLimitMs = 4000;
    static constexpr DWORD kCloseWaitMs = 1000;
    /// With so many earlier tunnels of which WinInet still has a request, no other is opened.
    static constexpr std::size_t kMaximumLeft = CLeftSessions::kMaximum;

    explicit CRtspConnection(DWORD timeLimitMs = kTimeLimitMs) noexcept;
    ~CRtspConnection();
    CRtspConnection(const CRtspConnection&) = delete;
    CRtspConnection& operator=(const CRtspConnection&) = delete;

    /// Closes what was open and opens a tunnel under a new cookie; `path` is the URL of both HTTP requests. The
    /// requests carry no credentials: RTSP brings its own. An empty server name or port 0 fails and leaves what was
    /// open; kMaximumLeft earlier tunnels of which WinInet still has a request fail it behind the closing. Blocks up to
    /// 6 s: kCloseWaitMs for what was open, the time limit for the GET's headers, and a second for the POST to be sent
    /// or for closing what could not be opened.
    [[nodiscard]] bool ConnectToServer(const wchar_t* server, WORD port, const std::wstring& path,
                                       const std::wstring& user, const std::wstring& password) noexcept;

    /// `text` is a complete RTSP request, UTF-8. Blocks up to CAsyncHttpRequestStreamPost::kSendLimitMs while the POST
    /// is still being connected; and up to half a second more than that until WinInet, whose limit for sending that is,
    /// has taken the bytes.
    [[nodiscard]] bool SendRequest(std::string_view text) noexcept;

    /// Waits for data on the GET and returns what is there: perhaps a part of a reply, perhaps more than one, nothing
    /// once the camera has closed it. False, with `data` empty, on a time-out or a failure. Waits for `limitMs`, or for
    /// the time limit.
    [[nodiscard]] bool ReadResponse(std::string& data, DWORD limitMs) noexcept;
    [[nodiscard]] bool ReadResponse(std::string& data) noexcept
    {
        return ReadResponse(data, m_timeLimitMs);
    }
    /// The last ReadResponse has shown that this tunnel brings no replies any more; a time-out does not show that.
    [[nodiscard]] bool HaveRepliesEnded() const noexcept
    {
        return m_haveRepliesEnded;
    }

    /// Both streams are open.
    [[nodiscard]] bool IsConnected() noexcept;

    /// Closes both streams and forgets the cookie. Waits up to kCloseWaitMs for WinInet to let go of them.
    void Close() noexcept;

    /// 32 hexadecimal digits, made on the first use after a close. May throw std::bad_alloc.
    [[nodiscard]] const std::wstring& GetSessionCookie();

private:
    [[nodiscard]] bool MayOpenAnother() noexcept;
    void OpenTunnel(const wchar_t* server, WORD port, const std::wstring& path, const std::wstring& user,
                    const std::wstring& password);

    CAsyncHttpRequestStream m_get;
    CAsyncHttpRequestStreamPost m_post;
    std::wstring m_sessionCookie;
    DWORD m_timeLimitMs;
    bool m_haveRepliesEnded = false;
};
