#pragma once

#include "Authentication.h"
#include "Protocol/RtspMessage.h"
#include "Protocol/RtspReplyReader.h"
#include "RtspConnection.h"
#include "RtspExchangeGate.h"
#include "Win32/TimeLimit.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

/// How long and how much of a camera's reply is waited for.
struct RtspLimits
{
    DWORD replyMs = CRtspConnection::kTimeLimitMs; ///< for the first bytes of a reply, and for each further piece
    DWORD headMs = 30'000;   ///< for its header block, from the first piece on; then it is taken as it stands
    DWORD turnWaitMs = 5000; ///< for whoever has the turn: a beat that gets no reply, and a bit
    std::size_t textBytes = CRtspReplyReader::kMaximumTextBytes;
};

/// Requests and replies through the tunnel to one camera, one exchange at a time: numbers the requests, answers a
/// challenge once, puts replies together, and reopens a tunnel that was closed.
/// Held by value by CRtspClient; owns tunnel, credentials and session id. Any thread may take a turn; everything that
/// needs one asks for it as a parameter.
/// Failures are logged under the client's name, then returned as false. Throws only std::bad_alloc.
/// A tunnel through which no replies come any more is closed, whatever becomes of its POST: the next request reopens
/// it. Hazard: whoever closes it does not wait for ever for the thread that has the turn. The close is therefore a
/// request, carried out by the next thread that takes a turn, or by the one whose turn ends.
class CRtspExchange
{
public:
    using HeaderList = std::initializer_list<std::pair<std::wstring_view, std::wstring_view>>;

    /// A stay inside the gate; false when another thread kept it for longer than `waitMs`.
    class CTurn
    {
    public:
        CTurn(CRtspExchange& exchange, DWORD waitMs) noexcept;
        ~CTurn();
        CTurn(const CTurn&) = delete;
        CTurn& operator=(const CTurn&) = delete;

        explicit operator bool() const noexcept
        {
            return m_isInside;
        }
        void CheckIsOf(const CRtspExchange& exchange) const noexcept
        {
            Lifetime::Require(&m_exchange == &exchange, "the turn of another exchange");
        }

    private:
        CRtspExchange& m_exchange;
        bool m_isInside;
    };

    explicit CRtspExchange(const RtspLimits& limits) noexcept;
    CRtspExchange(const CRtspExchange&) = delete;
    CRtspExchange& operator=(const CRtspExchange&) = delete;

    /// Keeps the arguments for reconnecting; nothing of them when it fails.
    [[nodiscard]] bool Open(const CTurn& turn, const wchar_t* server, WORD port, const wchar_t* path,
                            const wchar_t* user, const wchar_t* password);
    bool IsOpen(const CTurn& turn) const noexcept;
    /// Closes and forgets everything as soon as nobody has the turn. Waits for nothing.
    void RequestClose() noexcept;

    /// One request with the given headers behind those that every request has. A null or empty url stands for the
    /// default one, made of server and path. True with whatever status the camera answers.
    [[nodiscard]] bool Send(const CTurn& turn, const wchar_t* method, const wchar_t* url, HeaderList headers,
                            RtspResponse& response);

    /// Goes with every request, unless empty.
    const std::wstring& SessionId(const CTurn& turn) const noexcept
    {
        turn.CheckIsOf(*this);
        return m_sessionId;
    }
    void SetSessionId(const CTurn& turn, std::wstring id) noexcept
    {
        turn.CheckIsOf(*this);
        m_sessionId = std::move(id);
    }

private:
    void FinishClosing() noexcept;
    void InitRequest(const wchar_t* method, const wchar_t* url, RtspRequest& request);
    void SetAuthorization(RtspRequest& request);
    [[nodiscard]] bool SendRtspRequest(RtspRequest& request, RtspResponse& response);
    [[nodiscard]] bool DoSendRtspRequest(RtspRequest& request, RtspResponse& response);
    [[nodiscard]] bool ReadReply(const RtspRequest& request, std::string& text, RtspResponse& response);
    [[nodiscard]] bool ReadFirstPiece(const RtspRequest& request, const CTimeLimit& limit);
    void ReadOtherPieces(const RtspRequest& request, const CTimeLimit& limit);
    /// The header block is there, and announces a body.
    bool IsBodyDue() const noexcept;
    [[nodiscard]] bool ReadPiece(std::string& data, DWORD limitMs) noexcept;
    [[nodiscard]] bool KeepPiece(const std::string& data, const RtspRequest& request);

    const RtspLimits m_limits;
    CRtspExchangeGate m_gate;
    std::atomic<bool> m_isClosing{false};

    // Inside the gate only.
    std::wstring m_server;
    WORD m_port = 0;
    std::wstring m_path;
    std::wstring m_user;
    std::wstring m_password;
    CRtspConnection m_connection;
    std::int32_t m_cseq = 1;
    std::wstring m_sessionId;
    CRtspReplyReader m_replies;
    AuthorizationRequest m_authorization;
};
