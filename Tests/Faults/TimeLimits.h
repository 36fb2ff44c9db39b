#pragma once

#include "Tests/Faults/Matrix.h"

/// What a cell may take, put together from the time limits that the component states (docs/threads.md), and nothing
/// else but what a loaded machine adds.
namespace TimeLimits
{
/// Of a CGI request, for each of its waits; in the settings while a camera misbehaves.
inline constexpr DWORD kRequestMs = 600;
/// ... and while it behaves, so that a loaded machine does not look like a camera that has not recovered.
inline constexpr DWORD kWellRequestMs = 3000;
/// Of the body of an answer to a CGI request as a whole: 16 limits, and one for each 256 KB of at most 16 MB.
inline constexpr DWORD kWholeAnswerMs = (16 + 64) * kRequestMs;
/// Between the two probes of a camera that did not answer in time.
inline constexpr DWORD kProbePauseMs = 5000;
/// For requests that are dying, by CloseConnection.
inline constexpr DWORD kCloseMs = 2000;

/// Of the tunnel: for the answer to its GET, for its POST to be on its way, and for both to close.
inline constexpr DWORD kTunnelGetMs = 4000;
inline constexpr DWORD kTunnelPostMs = 1000;
inline constexpr DWORD kTunnelCloseMs = 1000;
/// Of an RTSP exchange: for its turn, for its request to be written, for the first bytes of the reply and each further
/// piece, for the whole head. An announced body takes as long as the camera likes: the longest that the simulator
/// drips, and 256 KB in pieces that are read 50 ms apart.
inline constexpr DWORD kTurnMs = 5000;
inline constexpr DWORD kWriteMs = 4000;
inline constexpr DWORD kReplyMs = 4000;
inline constexpr DWORD kWholeHeadMs = 30'000;
inline constexpr DWORD kLongestBodyMs = 60'000;

/// The component's work between its waits, on a machine that does other things too.
inline constexpr DWORD kWorkMs = 2000;

inline DWORD OfCgiRequest(const Misbehaviour& row)
{
    const DWORD sendMs = (row.challenges ? 2 : 1) * kRequestMs;
    return sendMs + (row.keepsComing ? kWholeAnswerMs : 0) + kRequestMs;
}

inline DWORD OfTunnel()
{
    return kTunnelCloseMs + kTunnelGetMs + kTunnelPostMs;
}

inline DWORD OfExchange(const Misbehaviour& row)
{
    const DWORD replyMs = kReplyMs + (row.keepsComing ? kWholeHeadMs + kLongestBodyMs : kReplyMs);
    return OfTunnel() + (row.challenges ? 2 : 1) * (kWriteMs + replyMs) + kTunnelCloseMs;
}

inline DWORD Of(const Cell& cell)
{
    const Cost& cost = cell.method->cost;
    const DWORD requestMs = OfCgiRequest(*cell.row);
    DWORD limitMs = kWorkMs + cost.cgiRequests * requestMs;
    if (cost.isProbe)
        limitMs += 4 * requestMs + kProbePauseMs;
    if (cost.tunnels + cost.rtspExchanges != 0)
        limitMs += kTurnMs;
    limitMs += cost.tunnels * (OfTunnel() + kTunnelCloseMs) + cost.rtspExchanges * OfExchange(*cell.row);
    return limitMs + (cost.closes ? kCloseMs : 0);
}
} // namespace TimeLimits
