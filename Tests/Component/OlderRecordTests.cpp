// What the older methods make of the newest records, and who owns the memory.

#include "Tests/Component/ScriptedCameraFixture.h"
#include "Tests/Support/TaskMemorySpy.h"

namespace
{
using testing::ElementsAre;

const std::string kSettings = "VideoStd=ntsc&ImageCodec1=h264&ImageSize1=1280,720&FrameRate1=15&BitRate1=4096"
                              "&AutoRateCtrl1=off&McAddress1=239.192.0.101&McVideoPort1=61000&McAudioPort=61002"
                              "&UcVideoPort1=51000&UcAudioPort=51002&AudioIn=on&AudInCodec=g711_64&AudioInVolume=-4";

class OlderRecord : public ScriptedCameraTest
{
};

/// The ten fields that every version of the record begins with.
template <class Settings>
void ExpectSettings(const Settings& settings)
{
    EXPECT_STREQ(L"239.192.0.101", settings.MulticastAddress);
    EXPECT_EQ(61000, settings.MulticastVideoPort);
    EXPECT_EQ(61002, settings.MulticastAudioPort);
    EXPECT_EQ(1280, settings.ImageWidth);
    EXPECT_EQ(720, settings.ImageHeight);
    EXPECT_EQ(15, settings.FrameRate);
    EXPECT_EQ(4096, settings.BitRate);
    EXPECT_EQ(51000, settings.UnicastVideoPort);
    EXPECT_EQ(51002, settings.UnicastAudioPort);
    EXPECT_EQ(-4, settings.AudioInVolume);
}

TEST_F(OlderRecord, SettingsComeInEachOfTheThreeForms)
{
    StartProbed({HttpAnswer(200, kSettings)});
    struct
    {
        CameraSettings settings = {};
        long guard = 0x5AFE;
    } oldest;
    CameraSettings2 second = {};
    CameraSettings3 newest = {};
    ASSERT_EQ(S_OK, m_command->GetCameraSettings(&oldest.settings));
    ASSERT_EQ(S_OK, m_command->GetCameraSettings2(&second));
    ASSERT_EQ(S_OK, m_command->GetCameraSettings3(&newest));
    ExpectSettings(oldest.settings);
    ExpectSettings(second);
    ExpectSettings(newest);
    EXPECT_EQ(0x5AFE, oldest.guard) << "the oldest record has no codec";
    EXPECT_EQ(VC_H264, second.VideoEncoding);
    EXPECT_EQ(VC_H264, newest.VideoEncoding);
    // Strings of their own: freeing one must leave the others.
    ::SysFreeString(oldest.settings.MulticastAddress);
    ::SysFreeString(second.MulticastAddress);
    EXPECT_STREQ(L"239.192.0.101", newest.MulticastAddress);
    ::SysFreeString(newest.MulticastAddress);
}

TEST_F(OlderRecord, FailureLeavesTheRecordsAlone)
{
    StartProbed({HttpAnswer(200, "McAddress1=239.192.0.1")});
    CameraSettings oldest = {};
    CameraSettings2 second = {};
    CameraSettings3 newest = {};
    oldest.FrameRate = second.FrameRate = newest.FrameRate = 77;
    EXPECT_EQ(E_UNEXPECTED, m_command->GetCameraSettings(&oldest));
    EXPECT_EQ(E_UNEXPECTED, m_command->GetCameraSettings2(&second));
    EXPECT_EQ(E_UNEXPECTED, m_command->GetCameraSettings3(&newest));
    EXPECT_EQ(nullptr, oldest.MulticastAddress);
    EXPECT_EQ(nullptr, second.MulticastAddress);
    EXPECT_EQ(77, oldest.FrameRate);
    EXPECT_EQ(77, second.FrameRate);
}

TEST_F(OlderRecord, SizesLoseOnlyTheirCodec)
{
    StartProbed({HttpAnswer(200, "")}, "SNC-EP580");
    CTaskMemory<ImageSize> sizes;
    CTaskMemory<ImageSize2> sizes2;
    long count = 0;
    long count2 = 0;
    ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes(sizes.put(), &count));
    ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes2(sizes2.put(), &count2));
    ASSERT_EQ(7, count);
    ASSERT_EQ(7, count2);
    for (int i = 0; i < 7; ++i)
    {
        EXPECT_EQ(sizes2.get()[i].ImageWidth, sizes.get()[i].ImageWidth);
        EXPECT_EQ(sizes2.get()[i].ImageHeight, sizes.get()[i].ImageHeight);
        EXPECT_EQ(sizes2.get()[i].FrameRate, sizes.get()[i].FrameRate);
    }
}

TEST_F(OlderRecord, OlderMethodsMeanMpeg4)
{
    StartProbed({HttpAnswer(200, "")}, "SNC-EP580");
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported(1920, 1080, 30)) << "only in H.264";
    EXPECT_EQ(S_OK, m_command->IsImageSizeSupported2(1920, 1080, 30, VC_H264));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize(1920, 1080, 30));
    EXPECT_EQ(S_OK, m_command->SetImageSize(640, 480, 30));
    EXPECT_THAT(Sent(), ElementsAre("command/camera.cgi?ImageCodec1=mpeg4&ImageSize1=640%2C480&FrameRate1=30"));
}

TEST_F(OlderRecord, EverythingThatIsHandedOutIsTheClientsAndNothingElseStays)
{
    m_registry.SetDword(kUseCache, 0);
    StartProbed({HttpAnswer(200, kSettings)});
    const auto callAll = [&] {
        CTaskMemory<ImageSize> sizes;
        CTaskMemory<ImageSize2> sizes2;
        CTaskMemory<long> rates;
        long count = 0;
        CameraSettings settings = {};
        CameraSettings2 settings2 = {};
        CameraSettings3 settings3 = {};
        TransportParameters transport = {};
        transport.Multicast = TRUE;
        ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes(sizes.put(), &count));
        ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes2(sizes2.put(), &count));
        ASSERT_EQ(S_OK, m_command->GetSupportedImageSizes(nullptr, &count)) << "the intermediate array is freed, too";
        ASSERT_EQ(S_OK, m_command->GetSupportedFrameRates(rates.put(), &count));
        ASSERT_EQ(S_OK, m_command->GetCameraSettings(&settings));
        ASSERT_EQ(S_OK, m_command->GetCameraSettings2(&settings2));
        ASSERT_EQ(S_OK, m_command->GetCameraSettings3(&settings3));
        ASSERT_EQ(S_OK, m_command->SetupTransport(0, &transport));
        for (BSTR text : {settings.MulticastAddress, settings2.MulticastAddress, settings3.MulticastAddress,
                          transport.MulticastAddress})
            ::SysFreeString(text);
    };
    callAll(); // the system keeps freed strings for the next ones
    const CTaskMemorySpy spy;
    callAll();
    EXPECT_LE(4u, spy.CountAllocated()) << "the spy sees the arrays at least";
    EXPECT_EQ(0, spy.CountLive());
}

TEST_F(OlderRecord, WantOfMemoryForTheOlderArrayIsReported)
{
    StartProbed({HttpAnswer(200, "")});
    long count = -1;
    ImageSize* sizes = nullptr;
    {
        const CTaskMemorySpy spy(1);
        EXPECT_EQ(E_OUTOFMEMORY, m_command->GetSupportedImageSizes(&sizes, &count));
        EXPECT_EQ(0, spy.CountLive()) << "the command set's own array is freed";
    }
    EXPECT_EQ(nullptr, sizes);
    EXPECT_THAT(m_log.Lines(), ElementsAre("8 CAVCommand::GetSupportedImageSizes, out of memory"));
}

TEST_F(OlderRecord, WantOfMemoryForTheCommandSetsArrayIsReported)
{
    StartProbed({HttpAnswer(200, "")});
    long count = -1;
    ImageSize* sizes = nullptr;
    long* rates = nullptr;
    {
        const CTaskMemorySpy spy(0);
        EXPECT_EQ(E_OUTOFMEMORY, m_command->GetSupportedImageSizes(&sizes, &count));
        EXPECT_EQ(E_OUTOFMEMORY, m_command->GetSupportedFrameRates(&rates, &count));
    }
    EXPECT_EQ(nullptr, sizes);
    EXPECT_EQ(nullptr, rates);
    EXPECT_THAT(m_log.Lines(), ElementsAre("8 CCgiCommandIpela::GetSupportedImageSizes, out of memory",
                                           "8 CCgiCommandBase::GetSupportedImageSizes, out of memory"));
}
} // namespace
