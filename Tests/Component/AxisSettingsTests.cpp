// Settings of an Axis camera through COM: read in each form, changed, refused, and what the family does not have.

#include "Tests/Component/SimulatedCameraFixture.h"
#include "Tests/Support/TaskMemorySpy.h"

#include <algorithm>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kIsAxis = "1 CAVCommand::ChooseCgiCommandSet, camera is AXIS.";
const std::string kAxisProbe = "axis-cgi/com/ptz.cgi?whoami=yes";

class AxisSettings : public SimulatedCameraTest
{
protected:
    void SetUp() override
    {
        StartConnected({.model = "AXIS P5635-E"});
    }
    void SetSetting(const char* name, std::optional<std::string> value)
    {
        CameraChange change;
        change.settings.emplace_back(name, std::move(value));
        m_camera->Change(change);
    }
};

TEST_F(AxisSettings, FamilyIsFoundBehindIpela)
{
    Start({.model = "AXIS P5635-E"});
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(1));
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(2));
    EXPECT_THAT(Sent(), ElementsAre("command/inquiry.cgi?inq=system", kAxisProbe,
                                    kUpdate + "AudioSource.A0.InputGain=1", kUpdate + "AudioSource.A0.InputGain=2"));
    EXPECT_THAT(m_log.Lines(),
                ElementsAre("1 CHttpRequest::SendRequest, failed for url: 'command/inquiry.cgi?inq=system', "
                            "status code: 404, 'Not Found'",
                            "1 CCgiCommandIpela::TryTalkToCamera, failed to send request: "
                            "'command/inquiry.cgi?inq=system', hr = 0x80004005",
                            "1 CCgiCommandAxis::TryTalkToCamera, succeeded, request: "
                            "'/axis-cgi/com/ptz.cgi?whoami=yes', server response: 'AXIS P5635-E\\r\\n'",
                            kIsAxis));
}

TEST_F(AxisSettings, RequestsAndCredentialsNameThePathAsItIs)
{
    AuthenticationOptions options;
    options.scheme = AuthenticationScheme::Digest;
    Start({.model = "AXIS M5526-E", .authentication = options}, L"admin", L"admin");
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    EXPECT_EQ(S_OK, m_command->SetBitRate(700));
    EXPECT_EQ("700", m_camera->Setting("Image.I0.RateControl.TargetBitrate"));
    const JournalEntry last = m_camera->Journal().back();
    EXPECT_EQ("/" + kUpdate + "Image.I0.RateControl.Mode=cbr&Image.I0.RateControl.TargetBitrate=700",
              last.request.target);
    const std::string* authorization = last.request.Header("Authorization");
    ASSERT_NE(nullptr, authorization);
    EXPECT_NE(std::string::npos, authorization->find("uri=\"" + last.request.target + "\""));
    EXPECT_EQ(200u, last.status);
}

TEST_F(AxisSettings, ComeInEachOfTheThreeForms)
{
    ASSERT_EQ(S_OK, m_command->SetImageSize2(800, 450, 15, VC_H264));
    wchar_t own[] = L"the client's";
    struct
    {
        CameraSettings settings = {};
        long guard = 0x5AFE;
    } oldest;
    CameraSettings2 second = {};
    CameraSettings3 newest = {own, 1, 2, 3, 4, 5, 6, 7, 8, 9, VC_None};
    ASSERT_EQ(S_OK, m_command->GetCameraSettings(&oldest.settings));
    ASSERT_EQ(S_OK, m_command->GetCameraSettings2(&second));
    ASSERT_EQ(S_OK, m_command->GetCameraSettings3(&newest));
    const auto expectPictureAlone = [](const auto& settings) {
        EXPECT_EQ(nullptr, settings.MulticastAddress);
        EXPECT_EQ(0, settings.MulticastVideoPort);
        EXPECT_EQ(0, settings.MulticastAudioPort);
        EXPECT_EQ(800, settings.ImageWidth);
        EXPECT_EQ(450, settings.ImageHeight);
        EXPECT_EQ(15, settings.FrameRate);
        EXPECT_EQ(0, settings.BitRate);
        EXPECT_EQ(0, settings.UnicastVideoPort);
        EXPECT_EQ(0, settings.UnicastAudioPort);
        EXPECT_EQ(0, settings.AudioInVolume);
    };
    expectPictureAlone(oldest.settings);
    expectPictureAlone(second);
    expectPictureAlone(newest);
    EXPECT_EQ(0x5AFE, oldest.guard) << "the oldest record has no codec";
    EXPECT_EQ(VC_H264, second.VideoEncoding);
    EXPECT_EQ(VC_H264, newest.VideoEncoding);
}

TEST_F(AxisSettings, AreAskedForEveryTime)
{
    CameraSettings3 settings = {};
    Forget();
    EXPECT_EQ(S_OK, m_command->GetCameraSettings3(&settings));
    EXPECT_EQ(S_OK, m_command->GetCameraSettings3(&settings));
    EXPECT_EQ(4u, Sent().size()) << "nothing is cached";
}

TEST_F(AxisSettings, FailureLeavesTheRecordsAlone)
{
    const struct
    {
        const char* fault;
        const char* logged;
    } rows[] = {
        {"status:503@axis-cgi/imagesize.cgi", "1 CCgiCommandAxis::GetCameraImageSize, GetImageSize failed, hr = 0x"},
        {"body:Error: no size@axis-cgi/imagesize.cgi",
         "1 CCgiCommandAxis::GetCameraImageSize, failed, http response: Error: no size"},
        {"status:503@axis-cgi/param.cgi",
         "1 CCgiCommandAxis::GetCameraImageSize, GetFrameRate failed, hr = 0x80004005"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.fault);
        m_camera->ClearFaults();
        m_camera->AddFault(row.fault);
        m_log.Clear();
        CameraSettings oldest = {};
        CameraSettings2 second = {};
        CameraSettings3 newest = {};
        ImageSize2 size = {};
        oldest.FrameRate = second.FrameRate = newest.FrameRate = size.FrameRate = 77;
        EXPECT_EQ(E_FAIL, m_command->GetCameraSettings(&oldest));
        EXPECT_EQ(E_FAIL, m_command->GetCameraSettings2(&second));
        EXPECT_EQ(E_FAIL, m_command->GetCameraSettings3(&newest));
        EXPECT_EQ(E_FAIL, m_command->GetCameraImageSize(&size));
        EXPECT_EQ(77, oldest.FrameRate);
        EXPECT_EQ(77, second.FrameRate);
        EXPECT_EQ(77, newest.FrameRate);
        EXPECT_EQ(77, size.FrameRate);
        EXPECT_EQ(4u, m_log.Count(row.logged));
        EXPECT_EQ(3u, m_log.Count("1 CCgiCommandAxis::GetCameraSettings, GetCameraImageSize failed, hr = 0x"));
    }
}

TEST_F(AxisSettings, RatesFollowTheCaptureFrequency)
{
    const std::vector<long> at60Hz = {1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30};
    const std::vector<long> at50Hz = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25};
    for (const VideoStandard standard : {VideoStandard::Ntsc, VideoStandard::Pal})
    {
        const bool is60Hz = standard == VideoStandard::Ntsc;
        SCOPED_TRACE(is60Hz);
        StartConnected({.model = "AXIS P5635-E", .standard = standard});
        const std::vector<long>& expected = is60Hz ? at60Hz : at50Hz;
        CTaskMemory<long> rates;
        long count = 0;
        ASSERT_EQ(S_OK, m_command->GetSupportedFrameRates(rates.put(), &count));
        EXPECT_EQ(expected, std::vector<long>(rates.get(), rates.get() + count));
        for (long rate = -1; rate <= 32; ++rate)
        {
            const bool isListed = std::find(expected.begin(), expected.end(), rate) != expected.end();
            EXPECT_EQ(isListed ? S_OK : S_FALSE, m_command->IsImageSizeSupported2(1280, 720, rate, VC_H264)) << rate;
        }

        const std::string highest = std::to_string(expected.back());
        m_camera->SetSetting("Image.I0.Stream.FPS", "0");
        ImageSize2 read = {};
        EXPECT_EQ(S_OK, m_command->GetCameraImageSize(&read));
        EXPECT_EQ(expected.back(), read.FrameRate) << "a rate without limit is set to the highest";
        EXPECT_EQ(highest, m_camera->Setting("Image.I0.Stream.FPS"));
        EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::GetCameraFrameRate, unlimited frame rate, will set it to our "
                                  "default: " +
                                  highest));
    }
}

TEST_F(AxisSettings, BitRateAndVolumeGoToTheCameraAsTheyAre)
{
    for (const long rate : {100L, 1L, 50000L})
    {
        EXPECT_EQ(S_OK, m_command->SetBitRate(rate));
        EXPECT_EQ(std::to_string(rate), m_camera->Setting("Image.I0.RateControl.TargetBitrate"));
    }
    EXPECT_EQ("cbr", m_camera->Setting("Image.I0.RateControl.Mode"));
    for (const long volume : {-10L, 0L, 11L})
    {
        EXPECT_EQ(S_OK, m_command->SetAudioInVolume(volume));
        EXPECT_EQ(std::to_string(volume), m_camera->Setting("AudioSource.A0.InputGain"));
    }
    Forget();
    // The camera refuses it with a text and status 200, which counts as done.
    EXPECT_EQ(S_OK, m_command->SetBitRate(-5));
    EXPECT_THAT(Sent(), ElementsAre(kUpdate + "Image.I0.RateControl.Mode=cbr&Image.I0.RateControl.TargetBitrate=-5"));
    EXPECT_EQ("50000", m_camera->Setting("Image.I0.RateControl.TargetBitrate"));
}

TEST_F(AxisSettings, RefusedChangesAreReturnedAndLogged)
{
    m_camera->AddFault("status:503@axis-cgi/param.cgi");
    const struct
    {
        const char* name;
        const char* query;
        HRESULT hr;
    } rows[] = {
        {"SetImageSize", "Image.I0.Appearance.Resolution=800x450", m_command->SetImageSize2(800, 450, 15, VC_H264)},
        {"SetBitRate", "Image.I0.RateControl.Mode=cbr&Image.I0.RateControl.TargetBitrate=64",
         m_command->SetBitRate(64)},
        {"SetAudioInVolume", "AudioSource.A0.InputGain=3", m_command->SetAudioInVolume(3)},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(E_FAIL, row.hr);
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandAxis::" + std::string(row.name) + ", failed to send request: '/" +
                                  kUpdate + row.query + "', dwStatusCode = 503, hr = 0x80004005"));
    }
    EXPECT_THAT(Sent(), testing::SizeIs(3)) << "no rate behind a refused size";
}

TEST_F(AxisSettings, TooOldCamerasAreRefused)
{
    const struct
    {
        const char* name;
        const char* value;
        const char* complaint; ///< "" when the camera will do
    } rows[] = {
        {"Properties.API.HTTP.Version", "2", "http version: '2'"},
        {"Properties.API.RTSP.Version", "2.0", "rtsp version: '2.0'"},
        {"Properties.API.RTSP.Version", "2.1", ""},
        {"Properties.API.RTSP.Version", "3.0", ""},
        {"Properties.API.RTSP.RTSPAuth", "no", "rtsp auth: 'no'"},
        {"Properties.Firmware.Version", "4.99", "firmware version: '4.99'"},
        {"Properties.Firmware.Version", "5.0", ""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(std::string(row.name) + "=" + row.value);
        StartConnected({.model = "AXIS P5635-E"});
        SetSetting(row.name, row.value);
        const std::string complaint = row.complaint;
        EXPECT_EQ(complaint.empty() ? S_OK : E_FAIL, m_command->ConnectToCamera());
        EXPECT_EQ(complaint.empty() ? 0u : 1u,
                  m_log.Count("8 CCgiCommandAxis::CheckPrerequisites, incompatible " + complaint));
        EXPECT_EQ(complaint.empty() ? 0u : 1u,
                  m_log.Count("1 CCgiCommandRtsp::ConnectToCamera, CheckPrerequistes failed"));
    }
}

TEST_F(AxisSettings, FailedListsFailTheConnectionOnlyWhereItNeedsThem)
{
    const struct
    {
        const char* group;
        HRESULT hr;
        std::size_t countSent;
    } rows[] = {
        {"Brand", S_OK, 8},          {"Properties.API", E_FAIL, 2}, {"Properties.Firmware", E_FAIL, 3},
        {"ImageSource.I0", S_OK, 8}, {"Network.RTSP", S_OK, 5},     {"AudioSource.A0", S_OK, 6},
        {"Image.I0.MPEG", S_OK, 7},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.group);
        m_camera->ClearFaults();
        m_camera->AddFault("status:503@axis-cgi/param.cgi?action=list&group=" + std::string(row.group));
        Forget();
        EXPECT_EQ(row.hr, m_command->ConnectToCamera());
        EXPECT_EQ(row.countSent, Sent().size());
        EXPECT_EQ(1u, m_log.Count("failed to send request: '/axis-cgi/param.cgi?action=list&group=" +
                                  std::string(row.group) + "', dwStatusCode = 503, hr = 0x80004005"));
    }
}

TEST_F(AxisSettings, WhatIsLoggedMayHoldAnythingThatACameraSays)
{
    // Percent signs of a reply are text, not conversions.
    SetSetting("Brand.ProdFullName", "100%s %n %d");
    SetSetting("Brand.ProdNbr", "%x%s");
    Forget();
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::CheckPrerequisites, camera name: '100%s %n %d'"));
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandAxis::GetCameraModel, unknown camera model: %x%s"));
}

TEST_F(AxisSettings, StreamingNeedsTheRtspServerFirst)
{
    wchar_t protocol[] = L"RTP/AVP";
    TransportParameters transport = {};
    transport.Protocol = protocol;
    H264Parameters h264 = {};
    EXPECT_EQ(E_UNEXPECTED, m_command->SetupTransport(0, &transport));
    EXPECT_EQ(E_UNEXPECTED, m_command->GetH264Parameters(&h264));
    EXPECT_EQ(protocol, transport.Protocol);
    EXPECT_EQ(nullptr, h264.ParameterSets);
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(AxisSettings, NullPointersAreRefused)
{
    long count = -1;
    CTaskMemory<ImageSize> sizes;
    CTaskMemory<ImageSize2> sizes2;
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraSettings(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraSettings2(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraSettings3(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraImageSize(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->SetupTransport(0, nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetH264Parameters(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedImageSizes(sizes.put(), nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedImageSizes2(sizes2.put(), nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedFrameRates(nullptr, &count));
    EXPECT_EQ(S_OK, m_command->GetSupportedImageSizes(nullptr, &count));
    EXPECT_EQ(4, count);
    EXPECT_EQ(S_OK, m_command->GetSupportedImageSizes2(nullptr, &count));
    EXPECT_EQ(4, count);
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(AxisSettings, EverythingThatIsHandedOutIsTheClientsAndNothingElseStays)
{
    const auto callAll = [&] {
        CTaskMemory<ImageSize> sizes;
        CTaskMemory<ImageSize2> sizes2;
        CTaskMemory<long> rates;
        long count = 0;
        CameraSettings settings = {};
        CameraSettings2 settings2 = {};
        CameraSettings3 settings3 = {};
        ASSERT_EQ(S_OK, m_command->ConnectToCamera());
        ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes(sizes.put(), &count));
        ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes2(sizes2.put(), &count));
        ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes(nullptr, &count));
        ASSERT_EQ(S_OK, m_command->GetSupportedFrameRates(rates.put(), &count));
        ASSERT_EQ(S_OK, m_command->GetCameraSettings(&settings));
        ASSERT_EQ(S_OK, m_command->GetCameraSettings2(&settings2));
        ASSERT_EQ(S_OK, m_command->GetCameraSettings3(&settings3));
    };
    callAll(); // the system keeps freed strings for the next ones
    const CTaskMemorySpy spy;
    callAll();
    EXPECT_LE(4u, spy.CountAllocated()) << "the spy sees the arrays at least";
    EXPECT_EQ(0, spy.CountLive());
}

TEST_F(AxisSettings, WantOfMemoryIsReported)
{
    long count = -1;
    ImageSize* sizes = nullptr;
    ImageSize2* sizes2 = nullptr;
    {
        const CTaskMemorySpy spy(0);
        EXPECT_EQ(E_OUTOFMEMORY, m_command->GetSupportedImageSizes2(&sizes2, &count));
    }
    {
        const CTaskMemorySpy spy(1);
        EXPECT_EQ(E_OUTOFMEMORY, m_command->GetSupportedImageSizes(&sizes, &count));
        EXPECT_EQ(0, spy.CountLive()) << "the command set's own array is freed";
    }
    EXPECT_EQ(nullptr, sizes);
    EXPECT_EQ(nullptr, sizes2);
    EXPECT_THAT(m_log.Lines(), ElementsAre("8 CCgiCommandAxis::GetSupportedImageSizes, out of memory",
                                           "8 CAVCommand::GetSupportedImageSizes, out of memory"));
}
} // namespace
