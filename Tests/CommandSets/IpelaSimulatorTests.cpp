#include "CgiCommandIpela.h"
#include "HttpRequest.h"
#include "Tests/CommandSets/SimulatedCamera.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/RegistryValues.h"
#include "Win32/ComMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <string>
#include <tuple>

using testing::Combine;
using testing::Values;

/// The command set and the camera simulator were written from the two ends of the same wire; here they meet, for every
/// model and either video standard.
namespace
{
struct Model
{
    const char* name;
    LONG countOfSizes;
    bool doesStartSetTheCodec;
};

void PrintTo(const Model& model, std::ostream* stream)
{
    *stream << model.name;
}

class IpelaOnSimulator : public testing::TestWithParam<std::tuple<Model, bool>>
{
protected:
    // One web server for all tests, as one camera after the other is put into its place.
    static void SetUpTestSuite()
    {
        s_camera = std::make_unique<CSimulatedCamera>();
    }
    static void TearDownTestSuite()
    {
        s_camera.reset();
    }

    const Model& CameraModel() const
    {
        return std::get<0>(GetParam());
    }
    bool Is60Hz() const
    {
        return std::get<1>(GetParam());
    }

    void Start(bool hasFactorySettings)
    {
        s_camera->Become(CameraModel().name, Is60Hz(), hasFactorySettings);
        ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", s_camera->Port(), L"", L""));
        ASSERT_EQ(S_OK, m_commandSet.TryTalkToCamera());
    }

    void TearDown() override
    {
        if (!HasFailure())
            return;
        for (const std::wstring& line : m_log.Lines())
            std::cerr << testing::PrintToString(line) << "\n";
    }

    void ExpectSettings(LONG bitRate, LONG volume)
    {
        CameraSettings3 settings = {};
        ASSERT_EQ(S_OK, m_commandSet.GetCameraSettings(&settings));
        const CBstr address(settings.MulticastAddress);
        EXPECT_EQ(bitRate, settings.BitRate);
        EXPECT_EQ(volume, settings.AudioInVolume);
        EXPECT_NE(VC_None, settings.VideoEncoding);
    }

    static inline std::unique_ptr<CSimulatedCamera> s_camera;
    CLogCapture m_log;
    CTestRegistryKey m_registry{L"Software\\Orbell\\Video"};
    CAsyncHttpRequest m_http;
    CCgiCommandIpela m_commandSet{&m_http};
};
} // namespace

TEST_P(IpelaOnSimulator, FactorySettingsAreSetUpOnce)
{
    Start(true);
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_EQ(3u, s_camera->Targets().size()) << "probe, inquiry, setup";
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_EQ(4u, s_camera->Targets().size()) << "one more inquiry finds everything in order";
    EXPECT_EQ(Is60Hz(), m_commandSet.IsFrameRateSupported(15));
}

TEST_P(IpelaOnSimulator, EverySupportedSizeIsTakenAndReadBack)
{
    Start(false);
    ASSERT_EQ(S_OK, m_commandSet.ConnectToCamera());
    CTaskMemory<ImageSize2> sizes;
    LONG count = 0;
    ASSERT_EQ(S_OK, m_commandSet.GetSupportedImageSizes(sizes.put(), &count));
    EXPECT_EQ(CameraModel().countOfSizes, count);
    for (LONG index = 0; index < count; ++index)
    {
        const ImageSize2& asked = sizes.get()[index];
        SCOPED_TRACE(testing::Message() << asked.ImageWidth << "x" << asked.ImageHeight << " codec "
                                        << static_cast<int>(asked.VideoEncoding));
        ASSERT_EQ(S_OK, m_commandSet.SetImageSize(asked.ImageWidth, asked.ImageHeight, 10, asked.VideoEncoding));
        ImageSize2 read = {};
        ASSERT_EQ(S_OK, m_commandSet.GetCameraImageSize(&read));
        EXPECT_EQ(asked.ImageWidth, read.ImageWidth);
        EXPECT_EQ(asked.ImageHeight, read.ImageHeight);
        EXPECT_EQ(10, read.FrameRate);
        EXPECT_EQ(asked.VideoEncoding, read.VideoEncoding);
    }
}

TEST_P(IpelaOnSimulator, BitRateAndVolumeAreTakenAndReadBack)
{
    m_registry.SetDword(L"IPELAUseCachedCameraSettings", 0);
    Start(false);
    ASSERT_EQ(S_OK, m_commandSet.ConnectToCamera());
    ASSERT_EQ(S_OK, m_commandSet.SetBitRate(100));
    ASSERT_EQ(S_OK, m_commandSet.SetAudioInVolume(-7));
    ExpectSettings(128, -7);
    ASSERT_EQ(S_OK, m_commandSet.SetBitRate(9000));
    ASSERT_EQ(S_OK, m_commandSet.SetAudioInVolume(10));
    ExpectSettings(8192, 10);
}

TEST_P(IpelaOnSimulator, StreamsStartAndMovementsAreTaken)
{
    Start(false);
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_EQ(S_OK, m_commandSet.StartVideo(false, 50000));
    EXPECT_EQ(S_OK, m_commandSet.StartAudio(false, 50002));
    EXPECT_EQ(2u, s_camera->CountOfStreams());
    EXPECT_EQ(S_OK, m_commandSet.SendPTZCommand(PTZ_UPPER, PT_10));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStartCommand(PTZ_UPPER_LEFT, 50));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStopCommand(PTZ_UPPER_LEFT));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStartCommand(PTZ_ZOOM_TELE, 100));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZStopCommand(PTZ_ZOOM_TELE));
    EXPECT_EQ(S_OK, m_commandSet.SendPTZAreaZoomCommand(0, 0, 320, 240));
}

// The setup in between leaves the codec of the newer models alone, and the simulator starts no stream, not even audio,
// while the codec is wrong.
TEST_P(IpelaOnSimulator, RefusedStartSetsTheCameraUpAndTriesOnceMore)
{
    Start(true);
    EXPECT_EQ(CameraModel().doesStartSetTheCodec ? S_OK : E_FAIL, m_commandSet.StartAudio(false, 50002));
    EXPECT_EQ(4u, s_camera->Targets().size()) << "probe, refused start, setup, start";
    ASSERT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_EQ(S_OK, m_commandSet.StartAudio(false, 50002));
    EXPECT_EQ(1u, s_camera->CountOfStreams());
}

INSTANTIATE_TEST_SUITE_P(AllModels, IpelaOnSimulator,
                         Combine(Values(Model{"SNC-CH110", 4, true}, Model{"SNC-RX550", 2, true},
                                        Model{"SNC-RZ25", 2, true}, Model{"SNC-RH124", 3, true},
                                        Model{"SNC-ER550", 3, true}, Model{"SNC-ER580", 3, true},
                                        Model{"SNC-EP550", 10, false}, Model{"SNC-EP520", 4, false},
                                        Model{"SNC-WR600", 3, true}, Model{"SNC-EP580", 7, false}),
                                 Values(true, false)));
