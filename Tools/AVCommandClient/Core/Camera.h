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
    /// The packetization mode of the H.264 stream; -1 is what a camera says that does not stream over RTSP.
    [[nodiscard]] virtual HResult GetPacketizationMode(std::int32_t& mode) = 0;
    [[nodiscard]] virtual HResult SetImageSize(const PictureFormat& format) = 0;
    [[nodiscard]] virtual HResult SetBitRate(std::int32_t bitRateKbps) = 0;
    [[nodiscard]] virtual HResult SetAudioInVolume(std::int32_t volume) = 0;
    [[nodiscard]] virtual HResult Step(MoveDirection direction, StepSize size) = 0;
    [[nodiscard]] virtual HResult StartMove(MoveDirection direction, std::int32_t speedPercent) = 0;
    [[nodiscard]] virtual HResult StopMove(MoveDirection direction) = 0;
    [[nodiscard]] virtual HResult ZoomToArea(const PictureArea& area) = 0;
    [[nodiscard]] virtual HResult StartVideo(const StreamTarget& target) = 0;
    [[nodiscard]] virtual HResult StartAudio(const StreamTarget& target) = 0;
};
