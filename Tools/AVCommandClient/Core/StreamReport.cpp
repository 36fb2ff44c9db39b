#include "Core/StreamReport.h"

#include "Core/TextTable.h"

#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace StreamReport
{
namespace
{
/// "0.35": few enough digits to read, in text and in JSON alike.
double Rounded(double value, double steps)
{
    return std::round(value * steps) / steps;
}

double Rate(std::uint64_t count, double seconds)
{
    return seconds > 0 ? static_cast<double>(count) / seconds : 0;
}

std::string Fixed(double value, int digits)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << value;
    return text.str();
}

std::string IntervalText(const Interval& interval)
{
    const double packets = Rate(interval.now.packets - interval.before.packets, interval.seconds);
    const double kbps = Rate(8 * (interval.now.bytes - interval.before.bytes), interval.seconds) / 1000;
    return Fixed(packets, 0) + " packets/s, " + Fixed(kbps, 0) + " kbit/s, " + std::to_string(interval.now.lost) +
           " lost, jitter " + Fixed(interval.now.jitterMs, 1) + " ms";
}

Json StreamToJson(const Summary& summary, MediaStream stream)
{
    const StreamFigures figures = summary.monitor.Figures(stream);
    return {{"udpPort", stream == MediaStream::kVideo ? summary.videoPort : summary.audioPort},
            {"payloadType", figures.payloadType},
            {"ssrc", figures.ssrc},
            {"packets", figures.packets},
            {"bytes", figures.bytes},
            {"packetsPerSecond", Rounded(Rate(figures.packets, summary.seconds), 10)},
            {"kbps", Rounded(Rate(8 * figures.bytes, summary.seconds) / 1000, 10)},
            {"lost", figures.lost},
            {"lostPercent", Rounded(figures.LostPercent(), 1000)},
            {"jitterMs", Rounded(figures.jitterMs, 1000)},
            {"senderReports", summary.monitor.CountReports(stream)}};
}

std::string StreamText(const Summary& summary, MediaStream stream)
{
    const StreamFigures figures = summary.monitor.Figures(stream);
    return std::to_string(figures.packets) + " packets, " + Fixed(Rate(8 * figures.bytes, summary.seconds) / 1000, 0) +
           " kbit/s, " + std::to_string(figures.lost) + " lost (" + Fixed(figures.LostPercent(), 2) + " %), jitter " +
           Fixed(figures.jitterMs, 1) + " ms, " + std::to_string(summary.monitor.CountReports(stream)) +
           " sender reports";
}
} // namespace

std::string H264Text(const CStreamMonitor& monitor)
{
    const H264Description& h264 = monitor.H264();
    return h264.parameterSet1.empty() && h264.profileLevelId.empty() ? "(parameters in the stream)"
                                                                     : Report::H264Text(h264);
}

std::string LiveText(double seconds, bool isPaused, const Interval& video, const std::optional<Interval>& audio)
{
    std::ostringstream text;
    text << std::setw(4) << std::llround(seconds) << " s  ";
    if (isPaused)
        text << "paused";
    else
        text << "video " << IntervalText(video);
    if (audio && !isPaused)
        text << " | audio " << IntervalText(*audio);
    return text.str();
}

Json ToJson(const Summary& summary)
{
    const CStreamMonitor& monitor = summary.monitor;
    Json json = {{"command", "stream"},
                 {"camera", summary.camera},
                 {"family", summary.isRtsp ? "RTSP" : "IPELA"},
                 {"seconds", Rounded(summary.seconds, 1000)},
                 {"endedBy", summary.endedBy}};
    json["video"] = StreamToJson(summary, MediaStream::kVideo);
    json["video"]["codec"] = summary.isH264 ? "h264" : "mpeg4";
    json["video"]["pictures"] = monitor.CountPictures();
    json["video"]["brokenUnits"] = monitor.CountBrokenUnits();
    json["audio"] = summary.hasAudio ? StreamToJson(summary, MediaStream::kAudio) : Json();
    const bool hasH264 = summary.isH264 && !monitor.H264().parameterSet1.empty();
    json["h264"] = hasH264 ? Report::ToJson(monitor.H264()) : Json();
    if (hasH264)
        json["h264"]["changes"] = monitor.CountChanges();
    json["foreignDatagrams"] = monitor.CountForeign();
    if (summary.file)
        json["out"] = {{"path", summary.file->Path()}, {"bytes", summary.file->CountBytes()}};
    return json;
}

void Print(std::ostream& out, const Summary& summary)
{
    const CStreamMonitor& monitor = summary.monitor;
    CTextTable table({CTextTable::Align::kLeft, CTextTable::Align::kLeft}, {});
    table.AddRow({"Received", "for " + Fixed(summary.seconds, 1) + " s"});
    table.AddRow({"Video", StreamText(summary, MediaStream::kVideo)});
    table.AddRow({"", std::to_string(monitor.CountPictures()) + " pictures, " +
                          std::to_string(monitor.CountBrokenUnits()) + " broken units"});
    if (summary.hasAudio)
        table.AddRow({"Audio", StreamText(summary, MediaStream::kAudio)});
    if (summary.isH264)
        table.AddRow({"H.264", H264Text(monitor)});
    if (summary.file)
        table.AddRow({"Written", std::to_string(summary.file->CountBytes()) + " bytes to " + summary.file->Path()});
    table.Print(out);
}
} // namespace StreamReport
