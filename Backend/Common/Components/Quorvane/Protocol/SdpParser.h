#pragma once

#include <list>
#include <map>
#include <memory>
#include <string_view>

// All texts of the records are views: they belong to the description that was parsed, and go with it.

/// The o= line of a session description (RFC 4566, 5.2), in its order.
struct SessionOrigin
{
    std::string_view userName;
    std::string_view sessionId;
    std::string_view sessionVersion;
    std::string_view networkType;
    std::string_view addressType;
    std::string_view address;

    /// Logs a wrong network or address type.
    bool IsValid() const;
};

/// A c= line (RFC 4566, 5.7).
struct ConnectionData
{
    std::string_view networkType;
    std::string_view addressType;
    std::string_view address;
    std::string_view ttl;
    std::string_view numberOfAddresses;

    /// Logs what is wrong.
    bool IsValid() const;
};

/// What a media section says about one payload format; empty where it says nothing.
struct MediaFormat
{
    std::string_view format; ///< as on the m= line; empty when only an attribute names the format
    std::string_view rtpmapPayloadType;
    std::string_view encodingName;
    std::string_view clockRate;
    std::string_view encodingParameters; ///< the number of channels, for audio
    std::string_view fmtpPayloadType;
    std::string_view fmtpParameters;
};

/// By payload type, ordered as text.
using MediaFormatMap = std::map<std::string_view, MediaFormat>;

/// An m= line with the lines up to the next one (RFC 4566, 5.14).
struct MediaDescription
{
    MediaDescription() noexcept; ///< in the source file: one that is seen from outside zeroes all of it first

    std::string_view mediaType;
    std::string_view port;
    std::string_view numberOfPorts;
    std::string_view protocol;
    std::string_view control;
    MediaFormatMap formats;
    std::string_view frameRate;
    std::string_view quality;
    std::string_view transform;
    std::string_view information;
    std::list<ConnectionData> connections;
    std::string_view bandwidth;

    /// Logs what is wrong. A dynamic format without an rtpmap and a bad connection line are logged, no more: cameras
    /// that send them stream all the same.
    bool IsValid() const;
};

/// The answer to DESCRIBE: SDP text (RFC 4566), as far as a client of a camera needs it.
/// Owns copies of the texts; all that it hands out are views into them, as the camera's bytes, and are good until the
/// next Initialize or Clear, or until the description is destroyed. (A string of its own for each of some fifty parts
/// took more time than the parsing.)
/// Filled by Initialize, then only read; not safe for use by two threads while one of them fills it.
/// Lines that make no sense are logged and skipped. Throws std::bad_alloc only.
/// Takes time linear in the text, but for the formats of one media, which are kept in a map.
class CSessionDescription
{
public:
    CSessionDescription() = default;
    CSessionDescription(std::string_view sdpText, std::string_view source)
    {
        Initialize(sdpText, source);
    }
    CSessionDescription(const CSessionDescription&) = delete;
    CSessionDescription& operator=(const CSessionDescription&) = delete;

    /// Replaces what was there. `source` is the URL to which relative control URLs belong.
    /// A text that breaks the rules is kept as far as it was understood: ask IsValid. Of one that is longer than
    /// kMaximumTextBytes, or has more than kMaximumRecords, nothing is kept.
    void Initialize(std::string_view sdpText, std::string_view source);
    void Clear();

    /// Looks at every rule anew, and logs the ones that are broken.
    bool IsValid() const;

    /// Cameras write a few kilobytes. A text takes many times its length in memory, and each look at its rules takes a
    /// log line for each rule that is broken.
    static constexpr std::size_t kMaximumTextBytes = 256 * 1024;
    /// Media, their formats and connections, and lines that are complained about. Cameras write some ten.
    static constexpr std::size_t kMaximumRecords = 1000;

    std::string_view Source() const noexcept
    {
        return m_source;
    }
    std::string_view Version() const noexcept
    {
        return m_version;
    }
    const SessionOrigin& Origin() const noexcept
    {
        return m_origin;
    }
    std::string_view SessionName() const noexcept
    {
        return m_sessionName;
    }
    std::string_view SessionInformation() const noexcept
    {
        return m_sessionInformation;
    }
    const ConnectionData& SessionConnection() const noexcept
    {
        return m_sessionConnection;
    }
    std::string_view Tool() const noexcept
    {
        return m_tool;
    }
    std::string_view Charset() const noexcept
    {
        return m_charset;
    }
    std::string_view Type() const noexcept
    {
        return m_type;
    }
    std::string_view SessionControl() const noexcept
    {
        return m_sessionControl;
    }
    std::string_view SessionBandwidth() const noexcept
    {
        return m_sessionBandwidth;
    }
    /// In the order of the m= lines.
    const std::list<MediaDescription>& Media() const noexcept
    {
        return m_media;
    }

private:
    CSessionDescription& operator=(CSessionDescription&&) = default; // for Clear

    void ParseLine(std::string_view line);
    void ParseField(char type, std::string_view value);
    void ParseAttribute(std::string_view attribute);
    void ParseRtpmap(std::string_view value);
    void ParseFmtp(std::string_view value);
    /// The section that the current line belongs to; null before the first m= line.
    MediaDescription* CurrentMedia() noexcept;
    MediaFormat& FindOrCreateFormat(MediaDescription& media, std::string_view payloadType);

    std::unique_ptr<char[]> m_texts; ///< source, then SDP; null when all is clear
    std::string_view m_source;
    std::string_view m_version;
    SessionOrigin m_origin;
    std::string_view m_sessionName;
    std::string_view m_sessionInformation;
    ConnectionData m_sessionConnection;
    std::string_view m_tool;
    std::string_view m_charset;
    std::string_view m_type;
    std::string_view m_sessionControl;
    std::string_view m_sessionBandwidth;
    std::list<MediaDescription> m_media; // grows without a large block, which costs more than all the small ones
    MediaFormatMap::value_type* m_lastFormat = nullptr; ///< of the current media
    std::size_t m_recordCount = 0;
};
