#include "Fuzz/FuzzTarget.h"
#include "Protocol/RtspHeaders.h"

#include <algorithm>

using Fuzz::Require;

namespace
{
std::string Write(const std::vector<RtpInfoEntry>& entries)
{
    std::string text;
    for (const RtpInfoEntry& entry : entries)
        text += "url=" + entry.url + ";seq=" + entry.seq + ";rtptime=" + entry.rtptime + ",";
    return text;
}

/// The RTP-Info header of a reply to PLAY.
void FeedRtpInfo(std::string_view input)
{
    const std::vector<RtpInfoEntry> entries = RtspHeaders::ParseRtpInfoHeader(input);
    Require(entries.size() <= RtspHeaders::kMaximumStreams, "a bounded number of streams is kept");
    const std::string written = Write(entries);
    Require(Write(RtspHeaders::ParseRtpInfoHeader(written)) == written, "streams read the same when written down");

    const std::string list = RtspHeaders::SequenceNumberList(entries);
    Require(list.size() <= RtspHeaders::kMaximumSequenceListChars, "the list for the registry is bounded");
    Require(!list.starts_with(',') && !list.ends_with(','), "the list has numbers at both ends");
    const auto isControl = [](char character) { return static_cast<unsigned char>(character) < ' '; };
    Require(std::ranges::none_of(list, isControl), "the list has no control characters");
    const std::size_t commas = static_cast<std::size_t>(std::ranges::count(list, ','));
    Require(commas < std::max<std::size_t>(entries.size(), 1), "the list has at most a number for each stream");
}

const CFuzzTarget kRtpInfoHeader("RtpInfoHeader", FeedRtpInfo);
} // namespace
