// The client header: sizes and offsets of the records, GUIDs, values of the enumerations. Clients that were compiled
// years ago depend on every figure here.

#include <Quorvane.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

static_assert(sizeof(ImageSize) == 12);
static_assert(offsetof(ImageSize, ImageWidth) == 0);
static_assert(offsetof(ImageSize, ImageHeight) == 4);
static_assert(offsetof(ImageSize, FrameRate) == 8);

static_assert(sizeof(ImageSize2) == 16);
static_assert(offsetof(ImageSize2, ImageWidth) == 0);
static_assert(offsetof(ImageSize2, ImageHeight) == 4);
static_assert(offsetof(ImageSize2, FrameRate) == 8);
static_assert(offsetof(ImageSize2, VideoEncoding) == 12);

template <class Settings>
constexpr bool HasSettingsLayout = offsetof(Settings, MulticastAddress) == 0 &&
                                   offsetof(Settings, MulticastVideoPort) == 4 &&
                                   offsetof(Settings, MulticastAudioPort) == 6 && offsetof(Settings, ImageWidth) == 8 &&
                                   offsetof(Settings, ImageHeight) == 12 && offsetof(Settings, FrameRate) == 16 &&
                                   offsetof(Settings, BitRate) == 20 && offsetof(Settings, UnicastVideoPort) == 24 &&
                                   offsetof(Settings, UnicastAudioPort) == 26 &&
                                   offsetof(Settings, AudioInVolume) == 28;
static_assert(sizeof(CameraSettings) == 32 && HasSettingsLayout<CameraSettings>);
static_assert(sizeof(CameraSettings2) == 36 && HasSettingsLayout<CameraSettings2>);
static_assert(offsetof(CameraSettings2, VideoEncoding) == 32);
static_assert(sizeof(CameraSettings3) == 36 && HasSettingsLayout<CameraSettings3>);
static_assert(offsetof(CameraSettings3, VideoEncoding) == 32);
static_assert(!std::is_same_v<CameraSettings2, CameraSettings3>);

static_assert(sizeof(TransportParameters) == 28);
static_assert(offsetof(TransportParameters, Protocol) == 0);
static_assert(offsetof(TransportParameters, Multicast) == 4);
static_assert(offsetof(TransportParameters, ClientPort) == 8);
static_assert(offsetof(TransportParameters, MulticastAddress) == 12);
static_assert(offsetof(TransportParameters, RtpPort) == 16);
static_assert(offsetof(TransportParameters, RtcpPort) == 18);
static_assert(offsetof(TransportParameters, Ttl) == 20);
static_assert(offsetof(TransportParameters, Ssrc) == 24);

static_assert(sizeof(H264Parameters) == 20);
static_assert(offsetof(H264Parameters, ProfileLeveId) == 0);
static_assert(offsetof(H264Parameters, PacketizationMode) == 4);
static_assert(offsetof(H264Parameters, ParameterSet1Size) == 8);
static_assert(offsetof(H264Parameters, ParameterSet2Size) == 12);
static_assert(offsetof(H264Parameters, ParameterSets) == 16);

// Field types: signedness and width, which offsets alone do not show.
static_assert(std::is_same_v<decltype(ImageSize::ImageWidth), long> && sizeof(long) == 4);
static_assert(std::is_same_v<decltype(CameraSettings::MulticastVideoPort), unsigned short>);
static_assert(std::is_same_v<decltype(CameraSettings::MulticastAddress), BSTR>);
static_assert(std::is_same_v<decltype(CameraSettings3::VideoEncoding), VideoCodec>);
static_assert(std::is_same_v<decltype(TransportParameters::Ttl), unsigned short>);
static_assert(std::is_same_v<decltype(H264Parameters::ParameterSets), unsigned char*>);

// Enumerations travel as 32-bit signed integers, members or not.
static_assert(std::is_same_v<std::underlying_type_t<PTZCommand>, int>);
static_assert(std::is_same_v<std::underlying_type_t<PTDistance>, int>);
static_assert(std::is_same_v<std::underlying_type_t<VideoCodec>, int>);
static_assert(PTZ_None == 0 && PTZ_LOWER_LEFT == 1 && PTZ_LOWER == 2 && PTZ_LOWER_RIGHT == 3 && PTZ_LEFT == 4 &&
              PTZ_RIGHT == 6 && PTZ_UPPER_LEFT == 7 && PTZ_UPPER == 8 && PTZ_UPPER_RIGHT == 9 && PTZ_ZOOM_WIDE == 10 &&
              PTZ_ZOOM_TELE == 11);
static_assert(PT_10 == 1 && PT_15 == 2 && PT_20 == 3 && PT_25 == 4 && PT_30 == 5 && PT_40 == 6 && PT_60 == 7 &&
              PT_667 == 8 && PT_833 == 9 && PT_100 == 10);
static_assert(VC_None == 0 && VC_MPEG4 == 1 && VC_H264 == 2);

static_assert(std::is_base_of_v<IUnknown, IAVCommand> && std::is_base_of_v<IAVCommand, IAVCommand2> &&
              std::is_base_of_v<IAVCommand2, IAVCommand3> && std::is_base_of_v<IAVCommand3, IAVCommand4> &&
              std::is_base_of_v<IAVCommand4, IAVCommand5>);

namespace
{
GUID FromText(const wchar_t* text)
{
    GUID guid{};
    EXPECT_EQ(S_OK, ::CLSIDFromString(text, &guid));
    return guid;
}

TEST(ClientHeader, GuidsAreThePublishedOnes)
{
    EXPECT_EQ(FromText(L"{FFF2981C-9D4E-4360-B19B-57118EF4C2E4}"), LIBID_QUORVANELib);
    EXPECT_EQ(FromText(L"{ACA3DFFE-7AEB-4932-BED8-EBB773D8ABC4}"), CLSID_AVCommand);
    EXPECT_EQ(FromText(L"{D2613B40-2570-41FE-8954-9156D4A697F5}"), IID_IAVCommand);
    EXPECT_EQ(FromText(L"{F22A0E5B-0C03-4C91-9E73-BFF230671472}"), IID_IAVCommand2);
    EXPECT_EQ(FromText(L"{543EBC86-0785-4089-A3F4-BDBBBD235953}"), IID_IAVCommand3);
    EXPECT_EQ(FromText(L"{7FA01544-AA1D-42DF-B894-26610BC9C6D5}"), IID_IAVCommand4);
    EXPECT_EQ(FromText(L"{8027FFEE-FA59-44EE-9D07-6EF5B48B91D9}"), IID_IAVCommand5);
}

TEST(ClientHeader, UuidofKnowsEveryInterface)
{
    EXPECT_EQ(IID_IAVCommand, __uuidof(IAVCommand));
    EXPECT_EQ(IID_IAVCommand2, __uuidof(IAVCommand2));
    EXPECT_EQ(IID_IAVCommand3, __uuidof(IAVCommand3));
    EXPECT_EQ(IID_IAVCommand4, __uuidof(IAVCommand4));
    EXPECT_EQ(IID_IAVCommand5, __uuidof(IAVCommand5));
}
} // namespace
