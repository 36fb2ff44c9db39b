#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The o= line of a session description (RFC 4566, 5.2), in its order.
struct SessionOrigin
{
    std::string userName;
    std::string sessionId;
    std::string sessionVersion;
    std::string networkType;
    std::string addressType;
    std::string address;

    /// Logs a wrong network or address type.
    bool IsValid() const;
};

/// A c= line (RFC 4566, 5.7).
struct ConnectionData
{
    std::string networkType;
    std::string addressType;
    std::string address;
    std::string ttl;
    std::string numberOfAddresses;

    /// Logs what is wrong.
    bool IsValid() const;
};

/// What a media section says about one payload format; empty where it says nothing.
struct MediaFormat
{
    std::string format; ///< as on the m= line; empty when only an attribute names the format
    std::string rtpmapPayloadType;
    std::string encodingName;
    std::string clockRate;
    std::string encodingParameters; ///< the number of channels, for audio
    std::string fmtpPayloadType;
    std::string fmtpParameters;
};

/// By payload type, ordered as text.
using MediaFormatMap = std::map<std::string, MediaFormat, std::less<>>;

/// An m= line with the lines up to the next one (RFC 4566, 5.14).
struct MediaDescription
{
    std::string mediaType;
    std::string port;
    std::string numberOfPorts;
    std::string protocol;
    std::string control;
    MediaFormatMap formats;
    std::string frameRate;
    std::string quality;
    std::string transform;
    std::string information;
    std::vector<ConnectionData> connections;
    std::string bandwidth;

    /// Logs what is wrong. A dynamic format without an rtpmap and a bad connection line are logged, no more: cameras
    /// that send them stream all the same.
    bool IsValid() const;
};

/// The answer to DESCRIBE: SDP text (RFC 4566), as far as a client of a camera needs it.
/// Owns copies of all texts, as the camera's bytes. Filled by Initialize, then only read; not safe for use by two
/// threads while one of them fills it. Lines that make no sense are logged and skipped. Throws std::bad_alloc only.
/// Takes time linear in the text, but for the formats of one media, which are kept in a map.
class CSessionDescription
{
public:
    /// Replaces what was there. `source` is the URL to which relative control URLs belong.
    /// A text that breaks the rules is kept as far as it was understood: ask IsValid.
    void Initialize(std::string_view sdpText, std::string_view source);
    void Clear();

    /// Looks at every rule anew, and logs the ones that are broken.
    bool IsValid() const;

    const std::string& Source() const noexcept
    {
        return m_source;
    }
    const std::string& Version() const noexcept
    {
        return m_version;
    }
    const SessionOrigin& Origin() const noexcept
    {
        return m_origin;
    }
    const std::string& SessionName() const noexcept
    {
        return m_sessionName;
    }
    const std::string& SessionInformation() const noexcept
    {
        return m_sessionInformation;
    }
    const ConnectionData& SessionConnection() const noexcept
    {
        return m_sessionConnection;
    }
    const std::string& Tool() const noexcept
    {
        return m_tool;
    }
    const std::string& Charset() const noexcept
    {
        return m_charset;
    }
    const std::string& Type() const noexcept
    {
        return m_type;
    }
    const std::string& SessionControl() const noexcept
    {
        return m_sessionControl;
    }
    const std::string& SessionBandwidth() const noexcept
    {
        return m_sessionBandwidth;
    }
    /// In the order of the m= lines.
    const std::vector<MediaDescription>& Media() const noexcept
    {
        return m_media;
    }

private:
    void ParseLine(std::string_view line);
    void ParseAttribute(std::string_view attribute);
    void ParseRtpmap(std::string_view value);
    void ParseFmtp(std::string_view value);
    /// The section that the current line belongs to; null before the first m= line.
    MediaDescription* CurrentMedia() noexcept;

    std::string m_source;
    std::string m_version;
    SessionOrigin m_origin;
    std::string m_sessionName;
    std::string m_sessionInformation;
    ConnectionData m_sessionConnection;
    std::string m_tool;
    std::string m_charset;
    std::string m_type;
    std::string m_sessionControl;
    std::string m_sessionBandwidth;
    std::vector<MediaDescription> m_media;
};
