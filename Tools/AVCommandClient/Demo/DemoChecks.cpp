#include "Demo/DemoChecks.h"

#include "Core/Names.h"

#include <algorithm>
#include <sstream>

namespace DemoChecks
{
namespace
{
constexpr int kHttpOk = 200;
constexpr int kHttpNoContent = 204;
constexpr int kHttpNotFound = 404;
constexpr int kHttpUnauthorized = 401;

std::string PathOf(const std::string& target)
{
    const std::string path = target.substr(0, target.find('?'));
    return path.starts_with('/') ? path.substr(1) : path;
}

/// The two HTTP requests that carry RTSP; the credentials are in what they carry.
bool IsTunnel(const ReceivedRequest& request)
{
    return request.target.starts_with("/axis-media/");
}

/// Whether these need credentials is a setting of the camera's, and not the default one; if they do, it answers with
/// 401.
bool IsRtsp(const ReceivedRequest& request)
{
    return request.target.starts_with("rtsp://");
}

/// The half of a tunnel that carries RTSP to the camera, and is never answered. When the camera ends its connection,
/// WinInet may send the head once more (Microsoft KB 895954), also while the component is already doing something else.
bool IsTunnelPost(const ReceivedRequest& request)
{
    return IsTunnel(request) && request.method == "POST" && request.status == 0;
}

bool IsCarriedOut(const ReceivedRequest& request)
{
    return request.status == kHttpOk || request.status == kHttpNoContent;
}

/// The component asks for an IPELA camera first, which an Axis camera denies.
bool IsProbeOfOtherFamily(const ReceivedRequest& request)
{
    return request.status == kHttpNotFound && request.target.starts_with("/command/inquiry.cgi");
}

std::string Join(const std::vector<std::string>& texts)
{
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : ", ") + text;
    return joined.empty() ? "nothing" : joined;
}

template <class Value>
void CompareField(std::vector<std::string>& problems, const char* field, const Value& component, const Value& camera)
{
    if (component == camera)
        return;
    std::ostringstream text;
    text << field << ": the component says " << component << ", the camera has " << camera;
    problems.push_back(text.str());
}
} // namespace

std::vector<std::string> Requests(std::span<const ReceivedRequest> received,
                                  const std::vector<std::string>& expectedPaths, bool needsAuthorization)
{
    std::vector<std::string> problems;
    std::vector<std::string> paths;
    const bool isAxis = std::ranges::any_of(
        received, [](const ReceivedRequest& request) { return request.target.starts_with("/axis-cgi/"); });
    for (std::size_t i = 0; i < received.size(); ++i)
    {
        const ReceivedRequest& request = received[i];
        const bool isRepeated = i + 1 < received.size() && received[i + 1].target == request.target;
        if (IsTunnelPost(request) || (request.status == kHttpUnauthorized && isRepeated))
            continue;
        paths.push_back(PathOf(request.target));
        if (!IsCarriedOut(request) && !(isAxis && IsProbeOfOtherFamily(request)))
            problems.push_back(request.target + " was answered with " + std::to_string(request.status));
        if (needsAuthorization && !request.isAuthorized && !IsTunnel(request) && !IsRtsp(request))
            problems.push_back(request.target + " came without credentials");
    }
    const bool isAnything = expectedPaths == std::vector<std::string>{"*"};
    if (!isAnything && paths != expectedPaths)
        problems.push_back("the camera was to receive " + Join(expectedPaths) + ", it received " + Join(paths));
    return problems;
}

std::vector<std::string> Settings(const StreamSettings& component, const StreamSettings& camera)
{
    std::vector<std::string> problems = Format(component.picture, camera.picture);
    CompareField(problems, "bit rate", component.bitRateKbps, camera.bitRateKbps);
    CompareField(problems, "microphone volume", component.audioInVolume, camera.audioInVolume);
    CompareField(problems, "multicast address", component.multicastAddress, camera.multicastAddress);
    CompareField(problems, "multicast video port", component.multicastVideoPort, camera.multicastVideoPort);
    CompareField(problems, "multicast audio port", component.multicastAudioPort, camera.multicastAudioPort);
    CompareField(problems, "unicast video port", component.unicastVideoPort, camera.unicastVideoPort);
    CompareField(problems, "unicast audio port", component.unicastAudioPort, camera.unicastAudioPort);
    return problems;
}

std::vector<std::string> Format(const PictureFormat& asked, const PictureFormat& camera)
{
    std::vector<std::string> problems;
    PictureFormat stored = camera;
    if (stored.height == 0)
        stored.height = asked.height;
    CompareField(problems, "picture", Names::PictureFormatText(asked), Names::PictureFormatText(stored));
    CompareField(problems, "codec", Names::CodecText(asked.codec), Names::CodecText(camera.codec));
    return problems;
}

std::vector<std::string> Stream(std::span<const RtpHeader> packets, std::size_t count, std::size_t countForeign)
{
    std::vector<std::string> problems;
    if (packets.size() < count)
        problems.push_back("only " + std::to_string(packets.size()) + " RTP packets came, " + std::to_string(count) +
                           " were awaited");
    if (countForeign > 0)
        problems.push_back(std::to_string(countForeign) + " datagrams were no RTP");
    for (std::size_t i = 1; i < packets.size(); ++i)
    {
        if (packets[i].ssrc != packets[0].ssrc)
            problems.push_back("packet " + std::to_string(i) + " is from another source");
        if (packets[i].sequenceNumber != static_cast<std::uint16_t>(packets[i - 1].sequenceNumber + 1))
            problems.push_back("packet " + std::to_string(i) + " is out of sequence");
    }
    return problems;
}

std::string PositionText(const CameraPosition& position)
{
    std::ostringstream text;
    text << "pan " << position.pan << ", tilt " << position.tilt << ", zoom " << position.zoom;
    return text.str();
}
} // namespace DemoChecks
