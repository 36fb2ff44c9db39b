#pragma once

#include "Lifetime/Lifetime.h"
#include "Protocol/RtspHeaders.h"
#include "Protocol/SdpParser.h"
#include "RtspExchange.h"
#include "RtspKeepAlive.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>

/// How far the RTSP session has come (RFC 2326, A.1).
enum class RtspClientState
{
    Init = 1,
    Ready = 2,
    Playing = 3,
};

/// Speaks RTSP/1.0 to one camera through a tunnel, which it owns and reopens when it was closed, and keeps the session
/// alive from a thread of the system's pool.
/// Always owned by a std::shared_ptr: a running keep-alive holds one more, so that the client outlives it. Callers take
/// turns among themselves; between them and the keep-alive stands the exchange gate: a beat that finds an exchange
/// under way is skipped, a caller waits for a beat within a limit. Nothing throws. Failures are logged, then returned
/// as false. How long a call may block (see RtspLimits), for each of at most two transmissions (the second answers a
/// 401): replyMs for the first bytes of the reply, late replies included, and again for each further piece of it, but
/// not longer than headMs for all pieces of its header block; before that for what CRtspConnection::ConnectToServer
/// takes, when the tunnel was closed. Closing waits up to turnWaitMs for a beat, then for what closing the tunnel
/// takes. Hazard: a body whose length was announced is read for as long as pieces of it come in time, up to textBytes.
class CRtspClient : public std::enable_shared_from_this<CRtspClient>
{
public:
    explicit CRtspClient(const RtspLimits& limits = {}) noexcept;
    virtual ~CRtspClient();
    CRtspClient(const CRtspClient&) = delete;
    CRtspClient& operator=(const CRtspClient&) = delete;

    // Null texts count as empty. An empty url stands for the default one, made of server and path.

    /// Closes what was open, connects the tunnel, and keeps the arguments for reconnecting. False leaves it closed.
    [[nodiscard]] bool OpenSession(const wchar_t* server, WORD port, const wchar_t* path, const wchar_t* user,
                                   const wchar_t* password) noexcept;
    /// Sends nothing. A beat that does not end in time closes the tunnel itself when it ends.
    void CloseSession() noexcept;

    bool GetOptions() noexcept;
    bool GetParameter() noexcept;
    /// True, with no request, when the kept description is valid and `force` is not set. True also for a description
    /// that makes no sense: ask IsValid.
    bool LoadSessionDescription(bool force) noexcept;
    /// Loaded first when `reload` is set or the kept one is not valid. Changes with the next load.
    const CSessionDescription& GetSessionDescription(bool reload) noexcept;

    /// An empty url is refused. `transport` is untouched on failure, and when the reply has no Transport header.
    [[nodiscard]] bool SetupTransport(const wchar_t* url, RtspTransport& transport) noexcept;
    /// Hands the sequence numbers of the started streams to the capture side, through the registry.
    [[nodiscard]] bool StartPlay(const wchar_t* url) noexcept;
    /// Always true. No request pauses a stream: the next participant may be watching it.
    bool PausePlay(const wchar_t* url) noexcept;
    /// TEARDOWN; true without one when nothing was set up.
    [[nodiscard]] bool StopPlay(const wchar_t* url) noexcept;

    /// Test seam: runs in a beat that has found its client and not yet entered the gate.
    using BeatHook = void (*)() noexcept;
    static std::atomic<BeatHook> s_beatHook;

private:
    friend class CRtspKeepAlive;
    using CTurn = CRtspExchange::CTurn;

    void KeepAlive() noexcept;
    bool SendOptions(const CTurn& turn);
    void TakeSession(const CTurn& turn, const RtspResponse& response);

    bool CreatePingTimer() noexcept;
    void StartPingTimer(std::int32_t timeoutSeconds) noexcept;
    void StopPingTimer() noexcept;
    void ClosePingTimer() noexcept;

    CRtspExchange m_exchange; ///< with callers and beats
    const DWORD m_turnWaitMs;
    // The callers' alone.
    RtspClientState m_state = RtspClientState::Init;
    CSessionDescription m_description;
    CRtspKeepAlive m_keepAlive;

    // The checked build looks whether callers take turns, and whether a beat finds a client that lives.
    using CStay = Lifetime::CStay<Lifetime::CUser>;
    [[no_unique_address]] Lifetime::CUser m_caller;
    [[no_unique_address]] Lifetime::CMark m_mark;
};
