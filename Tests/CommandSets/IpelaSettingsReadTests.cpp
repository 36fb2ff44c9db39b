#include "Tests/CommandSets/IpelaFixture.h"

#include "Tests/Support/FailingTaskMemory.h"
#include "Win32/ComMemory.h"

#include <cstring>
#include <functional>
#include <new>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
/// Filled with a pattern, so that an untouched record can be told.
template <class Record>
struct Patterned
{
    Patterned()
    {
        std::memset(&record, 0x5A, sizeof(record));
    }
    bool IsUntouched() const
    {
        const Patterned fresh;
        return std::memcmp(&record, &fresh.record, sizeof(record)) == 0;
    }
    Record record;
};
} // namespace

class IpelaSettingsRead : public IpelaTest
{
};
class IpelaCache : public IpelaTest
{
protected:
    HRESULT Ask()
    {
        CameraSettings3 settings = {};
        const HRESULT hr = m_commandSet.GetCameraSettings(&settings);
        const CBstr address(settings.MulticastAddress);
        return hr;
    }
    std::size_t CountSent()
    {
        return Sent().size();
    }
};

TEST_F(IpelaSettingsRead, Mpeg4CameraFillsTheWholeRecord)
{
    Probe("SNC-ER580", {HttpAnswer(200, kMpeg4Settings)});
    CameraSettings3 settings = {};
    ASSERT_EQ(S_OK, m_commandSet.GetCameraSettings(&settings));
    const CBstr address(settings.MulticastAddress);
    EXPECT_STREQ(L"239.192.0.100", address.get());
    EXPECT_EQ(60000, settings.MulticastVideoPort);
    EXPECT_EQ(60002, settings.MulticastAudioPort);
    EXPECT_EQ(640, settings.ImageWidth);
    EXPECT_EQ(480, settings.ImageHeight);
    EXPECT_EQ(15, settings.FrameRate);
    EXPECT_EQ(2048, settings.BitRate);
    EXPECT_EQ(50000, settings.UnicastVideoPort);
    EXPECT_EQ(50002, settings.UnicastAudioPort);
    EXPECT_EQ(-3, settings.AudioInVolume);
    EXPECT_EQ(VC_MPEG4, settings.VideoEncoding);
    EXPECT_THAT(Sent(), ElementsAre(kInquiry));
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::QueryCameraSettings from camera",
                                      L"1 CCgiCommandIpela::GetCameraSettings, returned strContent = " +
                                          Widened(kMpeg4Settings)));
}

TEST_F(IpelaSettingsRead, H264CameraFillsTheWholeRecord)
{
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    CameraSettings3 settings = {};
    ASSERT_EQ(S_OK, m_commandSet.GetCameraSettings(&settings));
    const CBstr address(settings.MulticastAddress);
    EXPECT_STREQ(L"239.192.0.101", address.get());
    EXPECT_EQ(61000, settings.MulticastVideoPort);
    EXPECT_EQ(61002, settings.MulticastAudioPort);
    EXPECT_EQ(1280, settings.ImageWidth);
    EXPECT_EQ(720, settings.ImageHeight);
    EXPECT_EQ(30, settings.FrameRate);
    EXPECT_EQ(4096, settings.BitRate);
    EXPECT_EQ(51000, settings.UnicastVideoPort);
    EXPECT_EQ(51002, settings.UnicastAudioPort);
    EXPECT_EQ(10, settings.AudioInVolume);
    EXPECT_EQ(VC_H264, settings.VideoEncoding);
}

TEST_F(IpelaSettingsRead, UnknownCodecIsNoneAndLogged)
{
    Probe("SNC-EP580", {HttpAnswer(200, Replaced(kH264Settings, "h264", "jpeg"))});
    CameraSettings3 settings = {};
    ASSERT_EQ(S_OK, m_commandSet.GetCameraSettings(&settings));
    const CBstr address(settings.MulticastAddress);
    EXPECT_EQ(VC_None, settings.VideoEncoding);
    EXPECT_EQ(L"1 CCgiCommandIpela::GetImageCodec, unexpected video codec: jpeg", LastLogged());
}

TEST_F(IpelaSettingsRead, EveryCallHandsOutAStringOfItsOwn)
{
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    CameraSettings3 first = {};
    CameraSettings3 second = {};
    ASSERT_EQ(S_OK, m_commandSet.GetCameraSettings(&first));
    ASSERT_EQ(S_OK, m_commandSet.GetCameraSettings(&second));
    const CBstr firstAddress(first.MulticastAddress);
    const CBstr secondAddress(second.MulticastAddress);
    EXPECT_NE(firstAddress.get(), secondAddress.get());
    EXPECT_STREQ(firstAddress.get(), secondAddress.get());
}

TEST_F(IpelaSettingsRead, BadRepliesLeaveTheRecordUntouched)
{
    const struct
    {
        const char* reason;
        std::string content;
        const wchar_t* text;
    } rows[] = {
        {"port below the lowest", Replaced(kH264Settings, "61000", "1023"), L"invalid number(s)"},
        {"port above the highest", Replaced(kH264Settings, "51002", "65535"), L"invalid number(s)"},
        {"no frame rate", Replaced(kH264Settings, "FrameRate1=30&", ""), L"invalid number(s)"},
        {"no bit rate", Replaced(kH264Settings, "BitRate1=4096&", ""), L"invalid number(s)"},
        {"no image size", Replaced(kH264Settings, "ImageSize1=1280,720&", ""), L"invalid number(s)"},
        {"empty address reads as the rest of the reply, empty port as no number",
         Replaced(kH264Settings, "McVideoPort1=61000", "McVideoPort1="), L"invalid number(s)"},
        {"no address", Replaced(kH264Settings, "McAddress1=239.192.0.101&", ""), L"empty setting(s)"},
        {"no unicast port", Replaced(kH264Settings, "UcVideoPort1=51000&", ""), L"empty setting(s)"},
        {"page of another kind", "<html>hello</html>", L"empty setting(s)"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_registry->SetDword(kUseCache, 0);
        Probe("SNC-EP580", {HttpAnswer(200, row.content)});
        Patterned<CameraSettings3> settings;
        EXPECT_EQ(E_UNEXPECTED, m_commandSet.GetCameraSettings(&settings.record));
        EXPECT_TRUE(settings.IsUntouched());
        EXPECT_EQ(L"8 CCgiCommandIpela::GetCameraSettings, " + std::wstring(row.text) + L", strContent = " +
                      Widened(row.content),
                  LastLogged());
    }
}

TEST_F(IpelaSettingsRead, InquiryFailureLeavesTheRecordsUntouched)
{
    Probe("SNC-EP580", {HttpAnswer(503, "busy")});
    Patterned<CameraSettings3> settings;
    EXPECT_EQ(E_FAIL, m_commandSet.GetCameraSettings(&settings.record));
    EXPECT_TRUE(settings.IsUntouched());
    EXPECT_EQ(L"8 CCgiCommandIpela::GetCameraSettings, failed to QueryCameraSettings, hr = 0x80004005", LastLogged());

    Patterned<ImageSize2> imageSize;
    EXPECT_EQ(E_FAIL, m_commandSet.GetCameraImageSize(&imageSize.record));
    EXPECT_TRUE(imageSize.IsUntouched());
    EXPECT_EQ(L"8 CCgiCommandIpela::GetCameraImageSize, failed to QueryCameraSettings, hr = 0x80004005", LastLogged());

    Patterned<TransportParameters> transport;
    EXPECT_EQ(E_FAIL, m_commandSet.SetupTransport(0, &transport.record));
    EXPECT_TRUE(transport.IsUntouched());
    EXPECT_EQ(L"8 CCgiCommandIpela::SetupTransport, failed to QueryCameraSettings, hr = 0x80004005", LastLogged());
}

TEST_F(IpelaSettingsRead, NullRecordsAreRefusedWithoutARequest)
{
    Probe("SNC-EP580");
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetCameraSettings(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetCameraImageSize(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_commandSet.SetupTransport(0, nullptr));
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetSupportedImageSizes(nullptr, nullptr));
    EXPECT_EQ(S_FALSE, m_commandSet.GetH264Parameters(nullptr));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(IpelaSettingsRead, ShortMemoryForTheAddressLeavesTheRecordUntouched)
{
    Probe("SNC-EP580", {HttpAnswer(200, Replaced(kH264Settings, "239.192.0.101", std::string(5000, '1')))});
    Patterned<CameraSettings3> settings;
    const CFailingTaskMemory shortMemory;
    EXPECT_THROW((void)m_commandSet.GetCameraSettings(&settings.record), std::bad_alloc);
    EXPECT_TRUE(settings.IsUntouched());
    Patterned<TransportParameters> transport;
    EXPECT_THROW((void)m_commandSet.SetupTransport(0, &transport.record), std::bad_alloc);
    EXPECT_TRUE(transport.IsUntouched());
}

TEST_F(IpelaSettingsRead, CameraImageSizeNeedsNoStreamTargets)
{
    Probe("SNC-EP550", {HttpAnswer(200, "ImageCodec1=mpeg4&ImageSize1=640,368&FrameRate1=10")});
    ImageSize2 size = {};
    ASSERT_EQ(S_OK, m_commandSet.GetCameraImageSize(&size));
    EXPECT_EQ(640, size.ImageWidth);
    EXPECT_EQ(368, size.ImageHeight);
    EXPECT_EQ(10, size.FrameRate);
    EXPECT_EQ(VC_MPEG4, size.VideoEncoding);
}

TEST_F(IpelaSettingsRead, CameraImageSizeWithoutANumberIsRefused)
{
    for (const std::string content :
         {"ImageSize1=640&FrameRate1=10", "ImageSize1=0,480&FrameRate1=10", "ImageSize1=640,480&FrameRate1=0"})
    {
        SCOPED_TRACE(content);
        m_registry->SetDword(kUseCache, 0);
        Probe("SNC-EP550", {HttpAnswer(200, content)});
        Patterned<ImageSize2> size;
        EXPECT_EQ(E_UNEXPECTED, m_commandSet.GetCameraImageSize(&size.record));
        EXPECT_TRUE(size.IsUntouched());
        EXPECT_EQ(L"8 CCgiCommandIpela::GetCameraImageSize, invalid number(s), strContent = " + Widened(content),
                  LastLogged());
    }
}

TEST_F(IpelaSettingsRead, TransportIsChosenByMulticastAndStream)
{
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    const struct
    {
        const char* reason;
        BOOL multicast;
        LONG streamId;
        const wchar_t* address;
        WORD rtpPort;
    } rows[] = {
        {"multicast video", TRUE, 0, L"239.192.0.101", 61000},
        {"multicast audio", TRUE, 1, L"239.192.0.101", 61002},
        {"any stream but 0 is audio", TRUE, -1, L"239.192.0.101", 61002},
        {"any flag but 0 is multicast", 2, 0, L"239.192.0.101", 61000},
        {"unicast video", FALSE, 0, nullptr, 51000},
        {"unicast audio", FALSE, 1, nullptr, 51002},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Patterned<TransportParameters> before;
        TransportParameters parameters = before.record;
        parameters.Multicast = row.multicast;
        ASSERT_EQ(S_OK, m_commandSet.SetupTransport(row.streamId, &parameters));
        const CBstr address(parameters.MulticastAddress);
        EXPECT_STREQ(row.address, address.get());
        EXPECT_EQ(row.rtpPort, parameters.RtpPort);
        EXPECT_EQ(0, parameters.RtcpPort);
        EXPECT_EQ(row.multicast, parameters.Multicast);
        EXPECT_EQ(before.record.Protocol, parameters.Protocol);
        EXPECT_EQ(before.record.ClientPort, parameters.ClientPort);
        EXPECT_EQ(before.record.Ttl, parameters.Ttl);
        EXPECT_EQ(before.record.Ssrc, parameters.Ssrc);
    }
}

TEST_F(IpelaSettingsRead, TransportChecksTheTargetsButNotThePicture)
{
    const struct
    {
        const char* reason;
        std::string content;
        HRESULT hr;
        const wchar_t* text;
    } rows[] = {
        {"picture absent", Replaced(kH264Settings, "ImageSize1=1280,720&FrameRate1=30&BitRate1=4096&", ""), S_OK,
         nullptr},
        {"no audio port", Replaced(kH264Settings, "UcAudioPort=51002&", ""), E_UNEXPECTED, L"empty setting(s)"},
        {"address of another stream", Replaced(kH264Settings, "McAddress1=", "McAddress12="), E_UNEXPECTED,
         L"empty setting(s)"},
        {"port that is not asked for is checked too", Replaced(kH264Settings, "51000", "1023"), E_UNEXPECTED,
         L"invalid number(s)"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_registry->SetDword(kUseCache, 0);
        Probe("SNC-EP580", {HttpAnswer(200, row.content)});
        Patterned<TransportParameters> parameters;
        EXPECT_EQ(row.hr, m_commandSet.SetupTransport(0, &parameters.record));
        if (FAILED(row.hr))
        {
            EXPECT_TRUE(parameters.IsUntouched());
            EXPECT_EQ(L"8 CCgiCommandIpela::SetupTransport, " + std::wstring(row.text) + L", strContent = " +
                          Widened(row.content),
                      LastLogged());
        }
        else
        {
            const CBstr address(parameters.record.MulticastAddress);
        }
    }
}

TEST_F(IpelaSettingsRead, SupportedImageSizesAreTaskMemoryOfTheCaller)
{
    Probe("SNC-EP580");
    LONG count = 0;
    ASSERT_EQ(S_OK, m_commandSet.GetSupportedImageSizes(nullptr, &count));
    EXPECT_EQ(7, count);

    CTaskMemory<ImageSize2> sizes;
    count = 0;
    ASSERT_EQ(S_OK, m_commandSet.GetSupportedImageSizes(sizes.put(), &count));
    ASSERT_EQ(7, count);
    const ImageSize2& first = sizes.get()[0];
    EXPECT_EQ(1920, first.ImageWidth);
    EXPECT_EQ(1080, first.ImageHeight);
    EXPECT_EQ(30, first.FrameRate);
    EXPECT_EQ(VC_H264, first.VideoEncoding);
    const ImageSize2& fourth = sizes.get()[3];
    EXPECT_EQ(320, fourth.ImageWidth);
    EXPECT_EQ(192, fourth.ImageHeight);
    EXPECT_EQ(VC_MPEG4, fourth.VideoEncoding);
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(IpelaSettingsRead, ShortMemoryForTheImageSizesIsReported)
{
    Probe("SNC-EP580");
    ImageSize2 other = {};
    ImageSize2* sizes = &other;
    LONG count = 4711;
    {
        const CFailingTaskMemory shortMemory;
        EXPECT_EQ(E_OUTOFMEMORY, m_commandSet.GetSupportedImageSizes(&sizes, &count));
    }
    EXPECT_EQ(nullptr, sizes);
    EXPECT_EQ(7, count) << "the count is told even so";
    EXPECT_THAT(Logged(), ElementsAre(L"8 CCgiCommandIpela::GetSupportedImageSizes, out of memory"));
}

TEST_F(IpelaSettingsRead, ImageSizeSupportIsSizeAndFrameRateButNotTheRowsRate)
{
    Probe("SNC-ER580");
    EXPECT_EQ(S_OK, m_commandSet.IsImageSizeSupported(1280, 720, 30, VC_MPEG4));
    EXPECT_EQ(S_OK, m_commandSet.IsImageSizeSupported(1280, 720, 5, VC_MPEG4));
    EXPECT_EQ(S_FALSE, m_commandSet.IsImageSizeSupported(1280, 720, 7, VC_MPEG4));
    EXPECT_EQ(S_FALSE, m_commandSet.IsImageSizeSupported(1280, 720, 30, VC_H264));
    EXPECT_EQ(S_FALSE, m_commandSet.IsImageSizeSupported(1280, 480, 30, VC_MPEG4));
    Probe("SNC-UNKNOWN");
    EXPECT_EQ(S_OK, m_commandSet.IsImageSizeSupported(1920, 1080, 30, VC_MPEG4)) << "though the row says 20";
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(IpelaSettingsRead, H264ParametersAreNotKnown)
{
    Patterned<H264Parameters> parameters;
    EXPECT_EQ(S_OK, m_commandSet.GetH264Parameters(&parameters.record));
    EXPECT_EQ(nullptr, parameters.record.ProfileLeveId);
    EXPECT_EQ(-1, parameters.record.PacketizationMode);
    EXPECT_EQ(0, parameters.record.ParameterSet1Size);
    EXPECT_EQ(0, parameters.record.ParameterSet2Size);
    EXPECT_EQ(nullptr, parameters.record.ParameterSets);
}

TEST_F(IpelaCache, AnswersForTenSeconds)
{
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    EXPECT_EQ(S_OK, Ask());
    EXPECT_THAT(Sent(), ElementsAre(kInquiry));
    Logged();

    s_tickMs += 9999;
    EXPECT_EQ(S_OK, Ask());
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_EQ(L"1 CCgiCommandIpela::QueryCameraSettings from cache", Logged().front());

    s_tickMs += 1;
    EXPECT_EQ(S_OK, Ask());
    EXPECT_THAT(Sent(), ElementsAre(kInquiry));
    EXPECT_EQ(L"1 CCgiCommandIpela::QueryCameraSettings from camera", Logged().front());
}

TEST_F(IpelaCache, SurvivesTheTickCountGoingRound)
{
    s_tickMs = 0xFFFFFFFFu - 4999;
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(1u, CountSent());
    s_tickMs += 9999;
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(0u, CountSent());
    s_tickMs += 1;
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(1u, CountSent());
}

TEST_F(IpelaCache, ServesEveryReader)
{
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_EQ(1u, CountSent());
    EXPECT_EQ(S_OK, Ask());
    ImageSize2 size = {};
    EXPECT_EQ(S_OK, m_commandSet.GetCameraImageSize(&size));
    TransportParameters parameters = {};
    EXPECT_EQ(S_OK, m_commandSet.SetupTransport(0, &parameters));
    EXPECT_EQ(0u, CountSent());
}

TEST_F(IpelaCache, RegistrySwitchesItOff)
{
    struct Row
    {
        const char* reason;
        std::function<void(CTestRegistryKey&)> set;
        std::size_t countOfInquiries;
    };
    const Row rows[] = {
        {"absent: on", [](auto& key) { key.Remove(kUseCache); }, 1},
        {"0: off", [](auto& key) { key.SetDword(kUseCache, 0); }, 2},
        {"1: on", [](auto& key) { key.SetDword(kUseCache, 1); }, 1},
        {"any other number: on", [](auto& key) { key.SetDword(kUseCache, 0x80000000u); }, 1},
        {"text of four bytes: on", [](auto& key) { key.SetText(kUseCache, L"0"); }, 1},
        {"number of two bytes: on", [](auto& key) { key.SetBytes(kUseCache, REG_DWORD, "\0\0", 2); }, 1},
        {"number of eight bytes: on", [](auto& key) { key.SetBytes(kUseCache, REG_QWORD, "\0\0\0\0\0\0\0", 8); }, 1},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.reason);
        row.set(*m_registry);
        s_tickMs += 60000;
        Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
        EXPECT_EQ(S_OK, Ask());
        EXPECT_EQ(S_OK, Ask());
        EXPECT_EQ(row.countOfInquiries, CountSent());
    }
}

TEST_F(IpelaCache, IsOnWithoutTheRegistryKey)
{
    m_registry.reset();
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(1u, CountSent());
}

TEST_F(IpelaCache, IsFilledEvenWhileItIsSwitchedOff)
{
    m_registry->SetDword(kUseCache, 0);
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
    EXPECT_EQ(S_OK, Ask());
    m_registry->SetDword(kUseCache, 1);
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(1u, CountSent());
}

TEST_F(IpelaCache, IsEmptiedByEveryChangeButTheVolume)
{
    struct Row
    {
        const char* reason;
        std::function<HRESULT(CCgiCommandIpela&)> change;
        std::size_t countOfInquiries;
    };
    const Row rows[] = {
        {"image size", [](CCgiCommandIpela& set) { return set.SetImageSize(640, 480, 15, VC_H264); }, 1},
        {"bit rate", [](CCgiCommandIpela& set) { return set.SetBitRate(512); }, 1},
        {"volume", [](CCgiCommandIpela& set) { return set.SetAudioInVolume(3); }, 0},
        {"movement", [](CCgiCommandIpela& set) { return set.SendPTZCommand(PTZ_UPPER, PT_10); }, 0},
        {"stream start", [](CCgiCommandIpela& set) { return set.StartVideo(true, 0); }, 0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.reason);
        s_tickMs += 60000;
        Probe("SNC-EP580", {HttpAnswer(200, kH264Settings)});
        ASSERT_EQ(S_OK, Ask());
        ASSERT_EQ(S_OK, row.change(m_commandSet));
        Sent();
        EXPECT_EQ(S_OK, Ask());
        EXPECT_EQ(row.countOfInquiries, CountSent());
    }
}

TEST_F(IpelaCache, IsEmptiedByTheSetup)
{
    const std::string wrong = Replaced(kH264Settings, "AudioIn=on", "AudioIn=off");
    Probe("SNC-EP580", {HttpAnswer(200, wrong), HttpAnswer(200, "OK"), HttpAnswer(200, kH264Settings)});
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_EQ(2u, CountSent());
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(1u, CountSent());
}

TEST_F(IpelaCache, StaysWhenAChangeFails)
{
    Probe("SNC-EP580", {HttpAnswer(200, kH264Settings), HttpAnswer(403, "no"), HttpAnswer(403, "no")});
    EXPECT_EQ(S_OK, Ask());
    EXPECT_EQ(E_FAIL, m_commandSet.SetImageSize(640, 480, 15, VC_H264));
    EXPECT_EQ(E_FAIL, m_commandSet.SetBitRate(512));
    Sent();
    EXPECT_EQ(S_OK, Ask());
    EXPECT_THAT(Sent(), IsEmpty());
}
