#pragma once

#include "Tests/Faults/Matrix.h"

#include <algorithm>

/// What a cell may take, put together from the time limits that the component states (the table at the end of
/// docs/reliability.md), and nothing else but what a loaded machine adds.
namespace TimeLimits
{
/// Of a CGI request, for each of its waits; in the settings while a camera misbehaves.
inline constexpr DWORD kRequestMs = 600;
/// ... and while it behaves, so that a loaded machine does not look like a camera that has not recovered.
inline constexpr DWORD kWellRequestMs = 3000;
/// Of the body of an answer to a CGI request as a whole: 17 limits. One more for each 256 KB is stated; those that
/// drip have less than that, and those that are long come at once.
inline constexpr DWORD kWholeAnswerMs = 17 * kRequestMs;
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
/// drips, and 256 KB or 16 MB in pieces that are read 50 ms apart.
inline constexpr DWORD kTurnMs = 5000;
inline constexpr DWORD kWriteMs = 4000;
inline constexpr DWORD kReplyMs = 4000;
inline constexpr DWORD kWholeHeadMs = 30'000;
inline constexpr DWORD kLongestBodyMs = 60'000;
inline constexpr DWORD kBiggestBodyMs = 240'000;

/// For a well camera's object to go: its connection, its tunnel, a keep-alive under way.
inline constexpr DWORD kReleaseMs = kCloseMs + kTunnelCloseMs + kTurnMs + 2000;

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

/// Of a request that goes on, perhaps through a new tunnel, and of one that ends the call, which is the first to meet
/// its limit.
inline DWORD OfExchange(const Misbehaviour& row, bool isLast)
{
    const DWORD countSent = row.challenges ? 2 : 1;
    if (isLast)
        return countSent * kReplyMs + kTunnelCloseMs;
    const DWORD bodyMs = (row.spoils & kDescribe) != 0 ? kBiggestBodyMs : kLongestBodyMs;
    const DWORD replyMs = kReplyMs + (row.keepsComing ? kWholeHeadMs + bodyMs : kReplyMs);
    return OfTunnel() + countSent * (kWriteMs + replyMs) + kTunnelCloseMs;
}

inline DWORD Of(const Cell& cell)
{
    const Method& method = *cell.method;
    const Cost& cost = method.cost;
    const DWORD requestMs = method.IsRtsp() ? kRequestMs : OfCgiRequest(*cell.row);
    const bool endsWithFirst = method.tells != Tells::Another && (cell.row->fails & method.spoiled) != 0;
    const DWORD countRequests = !method.IsRtsp() && endsWithFirst ? std::min(cost.cgiRequests, 1u) : cost.cgiRequests;
    const DWORD countExchanges = endsWithFirst ? std::min(cost.rtspExchanges, 1u) : cost.rtspExchanges;
    DWORD limitMs = kWorkMs + countRequests * requestMs;
    if (cost.isProbe)
        limitMs += 4 * requestMs + kProbePauseMs;
    if (method.firstWaitsFor != nullptr)
        limitMs += kTurnMs;
    limitMs += cost.tunnels * (OfTunnel() + kTunnelCloseMs) + countExchanges * OfExchange(*cell.row, endsWithFirst);
    if (cost.closes)
        limitMs += kCloseMs + (method.IsRtsp() ? kTunnelCloseMs : 0);
    return limitMs;
}
} // namespace TimeLimits
