#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What is asked of a camera when one media stream is set up, and what it granted. Texts are 8-bit.
/// A SETUP changes only what the reply names, except for the server ports: those that it does not name become 0.
struct RtspTransport
{
    // Asked for.
    std::string protocol; ///< first item of a Transport specification, as in "RTP/AVP"; overwritten by the reply's
    bool isMulticast = false;
    std::uint16_t clientPort = 0; ///< RTP; RTCP is the next one
    // Granted.
    bool isGranted = false; ///< false: the reply has no Transport header, and the rest is as it was
    std::string destination;
    std::uint16_t serverRtpPort = 0;
    std::uint16_t serverRtcpPort = 0;
    std::uint16_t ttl = 0;
    std::string ssrc;
    std::string source;
    std::uint16_t layers = 0;
    std::string mode;
    std::string interleaved;
};

/// One stream of an RTP-Info header (RFC 2326, 12.33).
struct RtpInfoEntry
{
    std::string url;
    std::string seq;
    std::string rtptime;
};

/// The RTSP headers with a value of their own syntax. Names inside the values are compared without regard to case, and
/// white space around names and values is dropped: RFC 2326 allows it there. Functions throw only std::bad_alloc.
namespace RtspHeaders
{
/// `id` becomes the session id, `timeoutSeconds` the time-out that the header's first parameter names, else 0: a camera
/// that names none gets no keep-alive. A time-out that is no number, or 0, counts as kDefaultTimeoutSeconds.
void ParseRtspSessionHeader(std::string_view value, std::string& id, std::int32_t& timeoutSeconds);

/// Takes the first specification of a Transport reply into `transport`.
void ParseTransportHeader(std::string_view value, RtspTransport& transport);

/// The value of the Transport header that asks for `transport`.
std::wstring FormatTransportHeader(const RtspTransport& transport);

/// At most kMaximumStreams entries: what a camera sends must not exhaust the host's memory.
std::vector<RtpInfoEntry> ParseRtpInfoHeader(std::string_view value);

/// The sequence numbers of the entries that have one, separated by commas; whole numbers, and at most
/// kMaximumSequenceListChars characters of them. One with a control character in it, a NUL for instance, is none.
std::string SequenceNumberList(const std::vector<RtpInfoEntry>& entries);

/// How often a session of that time-out is kept alive.
std::uint32_t KeepAlivePeriodMs(std::int32_t timeoutSeconds) noexcept;

inline constexpr std::int32_t kDefaultTimeoutSeconds = 60;
inline constexpr std::size_t kMaximumStreams = 64;
inline constexpr std::size_t kMaximumSequenceListChars = 1023;
} // namespace RtspHeaders
