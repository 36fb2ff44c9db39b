#pragma once

#include "RtspExchange.h"

#include <windows.h>

/// How long a call may take at most, from the limits that the component states in its headers and docs/threads.md.
struct CallLimits
{
    DWORD requestMs;    ///< CameraCGICommandTimeout of this run
    DWORD sharingCalls; ///< calls of other objects that a call of an Axis camera may have to wait for

    /// Of one CGI request: twice for the response headers (the second time with credentials), and for each 4095 bytes
    /// of a body that is at most 12 KB, its end included.
    DWORD Request() const noexcept
    {
        return (2 + 12 * 1024 / 4095 + 2) * requestMs;
    }
    /// Both families are asked, twice, with a pause of five seconds between.
    DWORD Probe() const noexcept
    {
        return 4 * Request() + 5000;
    }
    /// For WinInet's last words on requests that were given up.
    static DWORD Close() noexcept
    {
        return CAsyncHttpRequest::kCloseWaitMs;
    }
    /// Closing what was open, the GET's headers, and the POST on its way.
    static DWORD Connect() noexcept
    {
        return CRtspConnection::kCloseWaitMs + CRtspConnection::kTimeLimitMs +
               CAsyncHttpRequestStreamPost::kRequestSentWaitMs;
    }
    /// Of one RTSP exchange: the turn, then two transmissions, the second of which answers a challenge. An announced
    /// body has no limit of its own; the simulator sends it at once.
    static DWORD Exchange() noexcept
    {
        const RtspLimits limits;
        return limits.turnWaitMs +
               2 * (Connect() + CAsyncHttpRequestStream::kSendLimitMs + limits.replyMs + limits.headMs);
    }
    /// A call that makes so many requests and exchanges. One that needs the session waits for the calls before it,
    /// which make at most two exchanges each.
    DWORD Call(DWORD requests, DWORD exchanges) const noexcept
    {
        return kSchedulingMs + Probe() + requests * Request() +
               (exchanges != 0 ? (exchanges + 2 * sharingCalls) * Exchange() : 0);
    }
    /// Opening and leaving a session waits for whoever has the list of sessions, who may wait for a session.
    DWORD Leave() const noexcept
    {
        const RtspLimits limits;
        return kSchedulingMs + Close() + 2 * sharingCalls * Exchange() + limits.turnWaitMs + Connect();
    }

    /// What a machine that is busy with the cameras as well may add to any call.
    static constexpr DWORD kSchedulingMs = 2000;
};
