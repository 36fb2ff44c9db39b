#pragma once

#include "Core/Report.h"
#include "Media/StreamMonitor.h"

#include <iosfwd>
#include <optional>
#include <string>

/// What `stream` tells, for people and for programs. Rates count whole RTP packets, without UDP and IP.
namespace StreamReport
{
struct Interval
{
    StreamFigures now;
    StreamFigures before;
    double seconds = 0;
};

struct Summary
{
    std::string camera;
    bool isRtsp = false;
    bool isH264 = false;
    bool hasAudio = false;
    /// "time", "interrupt" or "stop".
    std::string endedBy;
    double seconds = 0;
    std::uint16_t videoPort = 0;
    std::uint16_t audioPort = 0;
    const CStreamMonitor& monitor;
    /// Null when nothing was written.
    const CVideoFile* file = nullptr;
};

/// The parameters in effect; says so when the stream has not told them yet.
std::string H264Text(const CStreamMonitor& monitor);

/// "  3 s  video 62 packets/s, 1003 kbit/s, 0 lost, jitter 1.2 ms | audio ..."
std::string LiveText(double seconds, bool isPaused, const Interval& video, const std::optional<Interval>& audio);

Json ToJson(const Summary& summary);
void Print(std::ostream& out, const Summary& summary);
} // namespace StreamReport
