#pragma once

#include "Core/HResult.h"

#include <cstdint>
#include <string>
#include <vector>

/// What the client asks of a camera, in terms that need no Windows: the commands are written against `ICamera`, the
/// program gives them the component (CameraClient.h), the tests a fake. Texts are UTF-8. The numbers of the
/// enumerations are those of the component's own.

enum class StreamCodec : std::int32_t
{
    kNone = 0,
    kMpeg4 = 1,
    kH264 = 2
};

/// Numbered as on a numeric keypad, 1 lower left to 9 upper right; the middle does not exist.
enum class MoveDirection : std::int32_t
{
    kNone = 0,
    kLowerLeft = 1,
    kLower = 2,
    kLowerRight = 3,
    kLeft = 4,
    kRight = 6,
    kUpperLeft = 7,
    kUpper = 8,
    kUpperRight = 9,
    kZoomWide = 10,
    kZoomTele = 11
};

enum class StepSize : std::int32_t
{
    k10 = 1,
    k15 = 2,
    k20 = 3,
    k25 = 4,
    k30 = 5,
    k40 = 6,
    k60 = 7,
    k667 = 8,
    k833 = 9,
    k100 = 10
};

enum class MediaStream : std::int32_t
{
    kVideo = 0,
    kAudio = 1
};

struct PictureFormat
{
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t frameRate = 0;
    StreamCodec codec = StreamCodec::kNone;

    bool operator==(const PictureFormat&) const = default;
};

struct PictureArea
{
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

struct StreamSettings
{
    std::string multicastAddress;
    std::uint16_t multicastVideoPort = 0;
    std::uint16_t multicastAudioPort = 0;
    std::uint16_t unicastVideoPort = 0;
    std::uint16_t unicastAudioPort = 0;
    std::int32_t bitRateKbps = 0;
    std::int32_t audioInVolume = 0;
    PictureFormat picture;
};

/// Where a camera is to send a stream; the port counts only for unicast.
struct StreamTarget
{
    bool isMulticast = true;
    std::uint16_t udpPort = 0;
};

/// Which ports one stream uses, as asked of the camera and as it grants them (RTSP's Transport header). A multicast
/// camera names group and port; a unicast one sends to the client's port, RTCP to the next one.
struct MediaTransport
{
    std::string protocol = "RTP/AVP";
    bool isMulticast = false;
    std::uint16_t clientPort = 0;
    std::string multicastAddress;
    std::uint16_t rtpPort = 0;
    std::uint16_t rtcpPort = 0;
    std::string ssrc;
};

/// What a decoder needs before the first picture; the parameter sets are NAL units without start codes.
struct H264Description
{
    std::string profileLevelId;
    /// -1 when nobody has told.
    std::int32_t packetizationMode = -1;
    std::string parameterSet1;
    std::string parameterSet2;
};

struct CameraAddress
{
    std::string host;
    std::uint16_t port = 80;
    std::string userName;
    std::string password;
};

/// One camera, driven through the component. One thread; every call blocks until the camera has answered or the
/// component's time limit is over. Out parameters are cleared first and stay so on failure.
class ICamera
{
public:
    virtual ~ICamera() = default;
    [[nodiscard]] virtual HResult OpenConnection(const CameraAddress& address) = 0;
    [[nodiscard]] virtual HResult CloseConnection() = 0;
    [[nodiscard]] virtual HResult IsConnected() = 0;
    [[nodiscard]] virtual HResult ConnectToCamera() = 0;
    [[nodiscard]] virtual HResult GetSettings(StreamSettings& settings) = 0;
    [[nodiscard]] virtual HResult GetCameraImageSize(PictureFormat& format) = 0;
    [[nodiscard]] virtual HResult GetSupportedImageSizes(std::vector<PictureFormat>& sizes) = 0;
    [[nodiscard]] virtual HResult GetSupportedFrameRates(std::vector<std::int32_t>& rates) = 0;
    /// S_FALSE from a camera that does not stream over RTSP. `joins`: this client takes part in the streaming.
    [[nodiscard]] virtual HResult ConnectToRtspServer(bool joins) = 0;
    /// Over RTSP only, after ConnectToRtspServer; `transport` holds what is asked and receives what is granted.
    [[nodiscard]] virtual HResult SetupTransport(MediaStream stream, MediaTransport& transport) = 0;
    [[nodiscard]] virtual HResult GetH264Parameters(H264Description& description) = 0;
    [[nodiscard]] virtual HResult SetImageSize(const PictureFormat& format) = 0;
    [[nodiscard]] virtual HResult SetBitRate(std::int32_t bitRateKbps) = 0;
    [[nodiscard]] virtual HResult SetAudioInVolume(std::int32_t volume) = 0;
    [[nodiscard]] virtual HResult Step(MoveDirection direction, StepSize size) = 0;
    [[nodiscard]] virtual HResult StartMove(MoveDirection direction, std::int32_t speedPercent) = 0;
    [[nodiscard]] virtual HResult StopMove(MoveDirection direction) = 0;
    [[nodiscard]] virtual HResult ZoomToArea(const PictureArea& area) = 0;
    [[nodiscard]] virtual HResult StartVideo(const StreamTarget& target) = 0;
    [[nodiscard]] virtual HResult StartAudio(const StreamTarget& target) = 0;
    [[nodiscard]] virtual HResult PauseStreaming() = 0;
    [[nodiscard]] virtual HResult StopStreaming() = 0;
};
