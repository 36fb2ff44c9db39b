// Every Axis model at both capture frequencies: what the client is told, what the camera is asked, and what is read
// back.

#include "Tests/Component/SimulatedCameraFixture.h"

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const std::string kList = "axis-cgi/param.cgi?action=list&group=";

class AxisModels : public SimulatedCameraTest,
                   public testing::WithParamInterface<std::tuple<const char*, VideoStandard>>
{
protected:
    static CameraSimulatorOptions Camera(bool hasFactorySettings = false)
    {
        return {.model = std::get<0>(GetParam()),
                .standard = std::get<1>(GetParam()),
                .factorySettings = hasFactorySettings};
    }
    static bool IsM5526()
    {
        return std::string(std::get<0>(GetParam())).find("M5526") != std::string::npos;
    }
    static bool Is60Hz()
    {
        return std::get<1>(GetParam()) == VideoStandard::Ntsc;
    }
    static long HighestRate()
    {
        return Is60Hz() ? 30 : 25;
    }
    static std::vector<std::pair<long, long>> ExpectedSizes()
    {
        std::vector<std::pair<long, long>> sizes = {{480, 270}, {800, 450}, {1280, 720}, {1920, 1080}};
        if (IsM5526())
            sizes.emplace_back(2688, 1512);
        return sizes;
    }
};

TEST_P(AxisModels, SupportsTheseSizesInH264)
{
    StartConnected(Camera());
    CTaskMemory<ImageSize2> sizes2;
    CTaskMemory<ImageSize> sizes;
    long count2 = 0;
    long count = 0;
    ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes2(sizes2.put(), &count2));
    ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes(sizes.put(), &count));
    const auto expected = ExpectedSizes();
    ASSERT_EQ(static_cast<long>(expected.size()), count2);
    ASSERT_EQ(count2, count);
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        const ImageSize2& newer = sizes2.get()[i];
        EXPECT_EQ(expected[i], std::pair(newer.ImageWidth, newer.ImageHeight));
        EXPECT_EQ(HighestRate(), newer.FrameRate);
        EXPECT_EQ(VC_H264, newer.VideoEncoding);
        const ImageSize& older = sizes.get()[i];
        EXPECT_EQ(expected[i], std::pair(older.ImageWidth, older.ImageHeight));
        EXPECT_EQ(HighestRate(), older.FrameRate);
    }
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_P(AxisModels, TakesEverySizeAndReadsItBack)
{
    StartConnected(Camera());
    for (const auto& [width, height] : ExpectedSizes())
    {
        SCOPED_TRACE(width);
        EXPECT_EQ(S_OK, m_command->SetImageSize2(width, height, 10, VC_H264));
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        EXPECT_THAT(Sent(), ElementsAre(kUpdate + "Image.I0.Appearance.Resolution=" + size,
                                        kUpdate + "Image.I0.Stream.FPS=10"));
        EXPECT_EQ(size, m_camera->Setting("Image.I0.Appearance.Resolution"));
        EXPECT_EQ("10", m_camera->Setting("Image.I0.Stream.FPS"));
        ImageSize2 read = {};
        EXPECT_EQ(S_OK, m_command->GetCameraImageSize(&read));
        EXPECT_EQ(width, read.ImageWidth);
        EXPECT_EQ(height, read.ImageHeight);
        EXPECT_EQ(10, read.FrameRate);
        EXPECT_EQ(VC_H264, read.VideoEncoding);
        EXPECT_THAT(Sent(), ElementsAre("axis-cgi/imagesize.cgi?camera=1", kList + "Image.I0.Stream.FPS"));
    }
}

TEST_P(AxisModels, RefusesWhatIsInNoRow)
{
    StartConnected(Camera());
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported(1280, 720, 10)) << "the older method means MPEG-4";
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported2(640, 480, 10, VC_H264));
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported2(1280, 720, 7, VC_H264));
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported2(1280, 720, 10, VC_None));
    EXPECT_EQ(IsM5526() ? S_OK : S_FALSE, m_command->IsImageSizeSupported2(2688, 1512, 10, VC_H264));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize(1280, 720, 10));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize2(640, 480, 10, VC_H264));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize2(1280, 720, 7, VC_H264));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize2(1280, 720, 10, VC_MPEG4));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_P(AxisModels, OutOfTheBoxIsMadeReadyToStream)
{
    Start(Camera(true));
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    const std::string groupLength = Is60Hz() ? "31" : "26";
    std::vector<std::string> expected = {
        "command/inquiry.cgi?inq=system",
        "axis-cgi/com/ptz.cgi?whoami=yes",
        kList + "Brand",
        kList + "Properties.API",
        kList + "Properties.Firmware",
        kList + "ImageSource.I0",
        kList + "Network.RTSP",
        kUpdate + "Network.RTSP.Enabled=yes",
        kList + "AudioSource.A0",
        kUpdate + "AudioSource.A0.AudioEncoding=g711&AudioSource.A0.SampleRate=8000",
        kList + "Image.I0.MPEG",
        kUpdate + "Image.I0.MPEG.ZFpsMode=fixed&Image.I0.MPEG.ZGopMode=fixed",
        kUpdate + "Image.I0.MPEG.PCount=" + groupLength,
    };
    if (!IsM5526())
        expected.push_back(kUpdate + "root.ImageSource.I0.Sensor.LowLatencyMode=on");
    EXPECT_THAT(Sent(), ElementsAreArray(expected));
    EXPECT_EQ("yes", m_camera->Setting("Network.RTSP.Enabled"));
    EXPECT_EQ("g711", m_camera->Setting("AudioSource.A0.AudioEncoding"));
    EXPECT_EQ("fixed", m_camera->Setting("Image.I0.MPEG.ZFpsMode"));
    EXPECT_EQ(groupLength, m_camera->Setting("Image.I0.MPEG.PCount"));
    EXPECT_EQ("line", m_camera->Setting("AudioSource.A0.InputType")) << "only reported";
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::CheckRtspSettings, RTSP is not enabled, will enable it, "));
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::CheckAudioSetting, audio encoding ('g726') is NOT 'g711', will"));
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::CheckAudioSetting, audio input type ('line') is NOT 'mic'"));
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::CheckVideoSetting, dynamic fps or gop, will set them to 'fixed', "));
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::CheckVideoSetting, p frame count (61) is too large, will"));
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::CheckVideoSetting, h264 profile: 'high'"));
    Forget();
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    EXPECT_EQ(IsM5526() ? 7u : 8u, Sent().size()) << "the settings that are right now are asked for alone";
    EXPECT_EQ(0u, m_log.Count("will "));
}

INSTANTIATE_TEST_SUITE_P(All, AxisModels,
                         testing::Combine(testing::Values("AXIS M5526-E", "AXIS M5525-E", "P5635-E", "V5915",
                                                          "AXIS Q6055-E"),
                                          testing::Values(VideoStandard::Ntsc, VideoStandard::Pal)),
                         [](const auto& test) {
                             std::string name = std::get<0>(test.param);
                             name = name.substr(name.find(' ') + 1);
                             name = name.substr(0, name.find('-'));
                             return name + (std::get<1>(test.param) == VideoStandard::Ntsc ? "_60Hz" : "_50Hz");
                         });
} // namespace
