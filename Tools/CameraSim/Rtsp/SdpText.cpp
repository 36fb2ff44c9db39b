#include "CameraSim/Rtsp/SdpText.h"

#include "CameraSim/H264/Encoder.h"
#include "CameraSim/Rtp/H264Source.h"

namespace SdpText
{

namespace
{

constexpr const char* kSessionId = "1188340656180883";
/// Announced when no rate is set, as a camera with a variable bit rate does.
constexpr unsigned kUnlimitedKilobits = 50000;
constexpr unsigned kAudioKilobits = 64;

class CWriter
{
public:
    CWriter(const RtspUrl& url, bool absoluteControls) : m_url(url), m_absolute(absoluteControls) {}

    void Line(const std::string& text)
    {
        m_text += text + "\r\n";
    }

    void Control(unsigned track)
    {
        if (m_absolute)
            Line("a=control:" + (track == 0 ? m_url.Presentation() : m_url.Track(track)));
        else
            Line("a=control:" + (track == 0 ? std::string("*") : "trackID=" + std::to_string(track)));
    }

    std::string Text() const
    {
        return m_text;
    }

private:
    const RtspUrl& m_url;
    bool m_absolute;
    std::string m_text;
};

void WriteVideo(CWriter& sdp, const H264Format& format)
{
    // Asked of the encoder, which may have had to bring the format into its range.
    const H264ParameterSets sets = CH264Encoder(format).Sets();
    const std::string type = std::to_string(CH264Source::kPayloadType);
    const unsigned kilobits = format.kilobitsPerSecond != 0 ? format.kilobitsPerSecond : kUnlimitedKilobits;
    sdp.Line("m=video 0 RTP/AVP " + type);
    sdp.Line("b=AS:" + std::to_string(kilobits));
    sdp.Line("a=framerate:" + std::to_string(format.framesPerSecond) + ".0");
    sdp.Line("a=transform:1,0,0;0,1,0;0,0,1");
    sdp.Control(RtspMedia::kVideoTrack);
    sdp.Line("a=rtpmap:" + type + " H264/90000");
    sdp.Line("a=fmtp:" + type + " packetization-mode=1; profile-level-id=" + sets.ProfileLevelId() +
             "; sprop-parameter-sets=" + sets.SpropParameterSets());
}

void WriteAudio(CWriter& sdp)
{
    sdp.Line("m=audio 0 RTP/AVP 0");
    sdp.Line("b=AS:" + std::to_string(kAudioKilobits));
    sdp.Control(RtspMedia::kAudioTrack);
    sdp.Line("a=rtpmap:0 PCMU/8000/1");
}

} // namespace

std::string Write(const RtspUrl& url, const RtspMedia& media, bool absoluteControls, std::uint64_t version)
{
    CWriter sdp(url, absoluteControls);
    const std::string hostName = url.host.substr(0, url.host.find(':'));
    sdp.Line("v=0");
    sdp.Line("o=- " + std::string(kSessionId) + " " + std::to_string(version) + " IN IP4 " + hostName);
    sdp.Line("s=Media Presentation");
    sdp.Line("e=NONE");
    sdp.Line("c=IN IP4 0.0.0.0");
    sdp.Line("t=0 0");
    sdp.Control(0);
    sdp.Line("a=range:npt=0.000000-");
    WriteVideo(sdp, media.video);
    if (media.hasAudio)
        WriteAudio(sdp);
    return sdp.Text();
}

} // namespace SdpText
