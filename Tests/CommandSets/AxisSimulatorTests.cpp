#include "CgiCommandAxis.h"
#include "HttpRequest.h"
#include "Tests/CommandSets/SimulatedCamera.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/RegistryValues.h"
#include "Win32/ComMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>

using testing::Combine;
using testing::Values;

/// The command set and the camera simulator were written from the two ends of the same wire; here they meet, for every
/// model and either capture frequency.
namespace
{
class AxisOnSimulator : public testing::TestWithParam<std::tuple<const char*, bool>>
{
protected:
    static void SetUpTestSuite()
    {
        s_camera = std::make_unique<CSimulatedCamera>();
    }
    static void TearDownTestSuite()
    {
        s_camera.reset();
    }

    static bool IsM5526()
    {
        return std::string(std::get<0>(GetParam())).find("M5526") != std::string::npos;
    }
    static bool Is60Hz()
    {
        return std::get<1>(GetParam());
    }

    void Start(bool hasFactorySettings)
    {
        s_camera->Become(std::get<0>(GetParam()), Is60Hz(), hasFactorySettings);
        ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", s_camera->Port(), L"", L""));
        ASSERT_EQ(S_OK, m_commandSet.TryTalkToCamera());
        ASSERT_EQ(S_OK, m_commandSet.ConnectToCamera());
    }

    static inline std::unique_ptr<CSimulatedCamera> s_camera;
    CLogCapture m_log;
    CTestRegistryKey m_registry{L"Software\\Orbell\\Video"};
    CAsyncHttpRequest m_http;
    CCgiCommandAxis m_commandSet{&m_http};
};
} // namespace

TEST_P(AxisOnSimulator, FactorySettingsAreSetUpOnce)
{
    Start(true);
    const std::size_t lowLatency = IsM5526() ? 0 : 1;
    EXPECT_EQ(1 + 7 + 4 + lowLatency, s_camera->Targets().size()) << "probe, lists, RTSP, audio, modes, group length";
    EXPECT_EQ("yes", s_camera->Setting("Network.RTSP.Enabled"));
    EXPECT_EQ("g711", s_camera->Setting("AudioSource.A0.AudioEncoding"));
    EXPECT_EQ("fixed", s_camera->Setting("Image.I0.MPEG.ZFpsMode"));
    EXPECT_EQ("fixed", s_camera->Setting("Image.I0.MPEG.ZGopMode"));
    EXPECT_EQ(Is60Hz() ? "31" : "26", s_camera->Setting("Image.I0.MPEG.PCount"));
    EXPECT_EQ(IsM5526() ? "" : "on", s_camera->Setting("ImageSource.I0.Sensor.LowLatencyMode"));
    const std::size_t before = s_camera->Targets().size();
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_EQ(before + 7 + lowLatency, s_camera->Targets().size()) << "nothing is wrong any more";
    EXPECT_EQ(Is60Hz(), m_commandSet.IsFrameRateSupported(15));
}

TEST_P(AxisOnSimulator, EverySupportedSizeIsTakenAndReadBack)
{
    Start(false);
    CTaskMemory<ImageSize2> sizes;
    LONG count = 0;
    ASSERT_EQ(S_OK, m_commandSet.GetSupportedImageSizes(sizes.put(), &count));
    EXPECT_EQ(IsM5526() ? 5 : 4, count);
    for (LONG index = 0; index < count; ++index)
    {
        const ImageSize2& asked = sizes.get()[index];
        SCOPED_TRACE(asked.ImageWidth);
        EXPECT_EQ(Is60Hz() ? 30 : 25, asked.FrameRate);
        ASSERT_EQ(S_OK, m_commandSet.SetImageSize(asked.ImageWidth, asked.ImageHeight, 10, asked.VideoEncoding));
        ImageSize2 read = {};
        ASSERT_EQ(S_OK, m_commandSet.GetCameraImageSize(&read));
        EXPECT_EQ(asked.ImageWidth, read.ImageWidth);
        EXPECT_EQ(asked.ImageHeight, read.ImageHeight);
        EXPECT_EQ(10, read.FrameRate);
        EXPECT_EQ(VC_H264, read.VideoEncoding);
    }
}

TEST_P(AxisOnSimulator, UnlimitedRateIsLimited)
{
    Start(true);
    EXPECT_EQ("0", s_camera->Setting("Image.I0.Stream.FPS"));
    ImageSize2 read = {};
    ASSERT_EQ(S_OK, m_commandSet.GetCameraImageSize(&read));
    EXPECT_EQ(Is60Hz() ? 30 : 25, read.FrameRate);
    EXPECT_EQ(Is60Hz() ? "30" : "25", s_camera->Setting("Image.I0.Stream.FPS"));
}

TEST_P(AxisOnSimulator, BitRateVolumeAndMovementsAreTaken)
{
    Start(false);
    EXPECT_EQ(S_OK, m_commandSet.SetBitRate(700));
    EXPECT_EQ("700", s_camera->Setting("Image.I0.RateControl.TargetBitrate"));
    EXPECT_EQ(S_OK, m_commandSet.SetAudioInVolume(-7));
    EXPECT_EQ("-7", s_camera->Setting("AudioSource.A0.InputGain"));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStartCommand(PTZ_UPPER_LEFT, 50));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStartCommand(PTZ_ZOOM_TELE, 100));
    EXPECT_EQ((std::tuple(-50.0, 50.0, true)), s_camera->Movement());
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStopCommand(PTZ_UPPER_LEFT));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStopCommand(PTZ_ZOOM_TELE));
    EXPECT_EQ((std::tuple(0.0, 0.0, false)), s_camera->Movement());
}

INSTANTIATE_TEST_SUITE_P(AllModels, AxisOnSimulator,
                         Combine(Values("AXIS M5526-E", "M5525-E", "AXIS P5635-E", "AXIS V5915", "AXIS Q6055-E"),
                                 Values(true, false)));
