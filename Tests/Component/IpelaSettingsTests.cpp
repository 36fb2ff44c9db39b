// Settings of an IPELA camera: read, cached, changed, refused.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <functional>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kInquiry = "command/inquiry.cgi?inq=camera";

class IpelaSettings : public SimulatedCameraTest
{
protected:
    HRESULT ReadSettings()
    {
        ::SysFreeString(std::exchange(m_settings, CameraSettings3{}).MulticastAddress);
        return m_command->GetCameraSettings3(&m_settings);
    }
    ~IpelaSettings() override
    {
        ::SysFreeString(m_settings.MulticastAddress);
    }

    CameraSettings3 m_settings = {};
};

TEST_F(IpelaSettings, AreWhatTheCameraSays)
{
    for (const char* model : {"SNC-EP580", "SNC-RX550"})
    {
        SCOPED_TRACE(model);
        StartConnected({.model = model});
        ASSERT_EQ(S_OK, m_command->SetAudioInVolume(-4));
        ASSERT_EQ(S_OK, m_command->SetBitRate(512)); // forgets what was read before
        ASSERT_EQ(S_OK, ReadSettings());
        const bool isNewest = std::string(model) == "SNC-EP580";
        EXPECT_STREQ(L"239.192.0.1", m_settings.MulticastAddress);
        EXPECT_EQ(60000, m_settings.MulticastVideoPort);
        EXPECT_EQ(60010, m_settings.MulticastAudioPort);
        EXPECT_EQ(50000, m_settings.UnicastVideoPort);
        EXPECT_EQ(50010, m_settings.UnicastAudioPort);
        EXPECT_EQ(isNewest ? 1280 : 640, m_settings.ImageWidth);
        EXPECT_EQ(isNewest ? 720 : 480, m_settings.ImageHeight);
        EXPECT_EQ(30, m_settings.FrameRate);
        EXPECT_EQ(512, m_settings.BitRate);
        EXPECT_EQ(-4, m_settings.AudioInVolume);
        EXPECT_EQ(isNewest ? VC_H264 : VC_MPEG4, m_settings.VideoEncoding);
    }
}

TEST_F(IpelaSettings, AreAskedForOnceWithinTenSeconds)
{
    StartConnected();
    ASSERT_EQ(S_OK, ReadSettings());
    ASSERT_EQ(S_OK, ReadSettings());
    ImageSize2 size = {};
    TransportParameters transport = {};
    ASSERT_EQ(S_OK, m_command->GetCameraImageSize(&size));
    ASSERT_EQ(S_OK, m_command->SetupTransport(0, &transport));
    EXPECT_THAT(Sent(), IsEmpty()) << "connecting has asked already";
    EXPECT_EQ(4u, m_log.Count("1 CCgiCommandIpela::QueryCameraSettings from cache"));
    EXPECT_EQ(0u, m_log.Count("1 CCgiCommandIpela::QueryCameraSettings from camera"));
}

TEST_F(IpelaSettings, CacheIsSwitchedOffByTheRegistry)
{
    const struct
    {
        const char* reason;
        std::function<void(CTestRegistryKey&, const wchar_t*)> set;
        std::size_t countSent; ///< of two reads after connecting
    } rows[] = {
        {"zero", [](auto& key, auto name) { key.SetDword(name, 0); }, 2},
        {"not zero", [](auto& key, auto name) { key.SetDword(name, 7); }, 0},
        {"absent", [](auto& key, auto name) { key.Remove(name); }, 0},
        {"two bytes of zero", [](auto& key, auto name) { key.SetBytes(name, REG_DWORD, "\0", 2); }, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        StartConnected();
        row.set(m_registry, kUseCache);
        ASSERT_EQ(S_OK, ReadSettings());
        ASSERT_EQ(S_OK, ReadSettings());
        EXPECT_EQ(row.countSent, Sent().size());
    }
}

TEST_F(IpelaSettings, SuccessfulChangeEmptiesTheCache)
{
    const struct
    {
        const char* name;
        std::function<HRESULT(IAVCommand5*)> change;
        bool empties;
    } rows[] = {
        {"size", [](auto c) { return c->SetImageSize2(640, 480, 10, VC_H264); }, true},
        {"older size", [](auto c) { return c->SetImageSize(640, 480, 15); }, true},
        {"bit rate", [](auto c) { return c->SetBitRate(64); }, true},
        {"volume stays cached", [](auto c) { return c->SetAudioInVolume(5); }, false},
        {"step", [](auto c) { return c->SendPTZCommand(PTZ_LEFT, PT_10); }, false},
    };
    StartConnected();
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(S_OK, ReadSettings());
        ASSERT_EQ(S_OK, row.change(m_command.get()));
        Forget();
        ASSERT_EQ(S_OK, ReadSettings());
        EXPECT_EQ(row.empties ? 1u : 0u, Sent().size());
    }
    EXPECT_EQ(640, m_settings.ImageWidth);
    EXPECT_EQ(15, m_settings.FrameRate);
    EXPECT_EQ(64, m_settings.BitRate);
    EXPECT_EQ(0, m_settings.AudioInVolume);
}

TEST_F(IpelaSettings, FailedChangeKeepsTheCache)
{
    StartConnected();
    m_camera->AddFault("status:503@command/camera.cgi");
    EXPECT_EQ(E_FAIL, m_command->SetBitRate(64));
    Forget();
    EXPECT_EQ(S_OK, ReadSettings());
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(IpelaSettings, ImpossibleValuesAreRefused)
{
    const struct
    {
        const char* reason;
        const char* name;
        std::optional<std::string> value;
        const char* message; ///< "" when the value is good
        bool isTransportRefused;
    } rows[] = {
        {"no multicast address", "McAddress1", std::nullopt, "empty setting(s)", true},
        {"empty value in the line, which reads on to its end", "McAddress1", "", "", false},
        {"no video port", "McVideoPort1", std::nullopt, "empty setting(s)", true},
        {"empty port, for the same reason no number", "UcAudioPort", "", "invalid number(s)", true},
        {"port below the lowest", "McVideoPort1", "1023", "invalid number(s)", true},
        {"lowest port", "McVideoPort1", "1024", "", false},
        {"highest port", "UcVideoPort1", "65534", "", false},
        {"port above the highest", "UcVideoPort1", "65535", "invalid number(s)", true},
        {"port beyond 16 bits", "McAudioPort", "66000", "invalid number(s)", true},
        {"port that is no number", "UcAudioPort", "video", "invalid number(s)", true},
        {"size without a comma", "ImageSize1", "1280", "invalid number(s)", false},
        {"no width", "ImageSize1", "0,720", "invalid number(s)", false},
        {"no frame rate", "FrameRate1", "0", "invalid number(s)", false},
        {"no bit rate", "BitRate1", "x", "invalid number(s)", false},
        {"volume is not checked", "AudioInVolume", "99", "", false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start();
        CameraChange change;
        change.settings.emplace_back(row.name, row.value);
        m_camera->Change(change);
        const std::string message = row.message;
        EXPECT_EQ(message.empty() ? S_OK : E_UNEXPECTED, ReadSettings());
        EXPECT_EQ(message.empty() ? 0u : 1u,
                  m_log.Count("8 CCgiCommandIpela::GetCameraSettings, " + message + ", strContent = "));
        TransportParameters transport = {};
        EXPECT_EQ(row.isTransportRefused ? E_UNEXPECTED : S_OK, m_command->SetupTransport(0, &transport));
        EXPECT_EQ(row.isTransportRefused ? 1u : 0u,
                  m_log.Count("8 CCgiCommandIpela::SetupTransport, " + message + ", strContent = "));
    }
}

TEST_F(IpelaSettings, ImageSizeIsRefusedWhenItIsNone)
{
    for (const auto& [name, value] : {std::pair("ImageSize1", "1280"), std::pair("FrameRate1", "0")})
    {
        Start();
        m_camera->SetSetting(name, value);
        ImageSize2 size = {};
        EXPECT_EQ(E_UNEXPECTED, m_command->GetCameraImageSize(&size));
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::GetCameraImageSize, invalid number(s), strContent = "));
    }
}

TEST_F(IpelaSettings, VideoStandardIsWhatTheCameraSays)
{
    const struct
    {
        const char* reason;
        std::optional<std::string> value;
        HRESULT at12; ///< a rate of the 50 Hz table only
    } rows[] = {
        {"60 Hz", "ntsc", S_FALSE},        {"50 Hz in capitals", "PAL", S_OK}, {"50 Hz", "pal", S_OK},
        {"absent", std::nullopt, S_FALSE}, {"unknown", "secam", S_FALSE},      {"longer word", "palm", S_FALSE},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start();
        CameraChange change;
        change.settings.emplace_back("VideoStd", row.value);
        m_camera->Change(change);
        EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported(640, 480, 12)) << "60 Hz before connecting";
        ASSERT_EQ(S_OK, m_command->ConnectToCamera());
        EXPECT_EQ(1u, m_log.Count("1 CCgiCommandIpela::ConnectToCamera, VideoStd = " + row.value.value_or("")));
        EXPECT_EQ(row.at12, m_command->IsImageSizeSupported(640, 480, 12));
        EXPECT_EQ(row.at12 == S_OK ? S_FALSE : S_OK, m_command->IsImageSizeSupported(640, 480, 30));
    }
}

TEST_F(IpelaSettings, CameraIsSetUpOnlyWhenSomethingIsWrong)
{
    const std::string withoutCodec = "command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    const std::string withCodec = "command/camera.cgi?ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    const struct
    {
        const char* reason;
        const char* name;
        const char* value;
        std::string setup; ///< "" for none
    } rows[] = {
        {"as it should be", "AudioIn", "on", ""},
        {"in capitals", "AutoRateCtrl1", "OFF", ""},
        {"either codec will do", "ImageCodec1", "MPEG4", ""},
        {"audio off", "AudioIn", "off", withoutCodec},
        {"other audio codec", "AudInCodec", "g726_40", withoutCodec},
        {"rate control", "AutoRateCtrl1", "on", withoutCodec},
        {"picture codec", "ImageCodec1", "jpeg", withCodec},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start({.model = "SNC-EP550"});
        m_camera->SetSetting(row.name, row.value);
        ASSERT_EQ(S_OK, m_command->ConnectToCamera());
        const std::vector<std::string> sent = Sent();
        ASSERT_EQ(row.setup.empty() ? 2u : 3u, sent.size());
        EXPECT_EQ(kInquiry, sent[1]);
        if (!row.setup.empty())
        {
            EXPECT_EQ(row.setup, sent[2]);
        }
    }
}

TEST_F(IpelaSettings, SetupRequestIsReplacedByTheRegistry)
{
    const std::string builtIn = "command/camera.cgi?ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    const std::string own = "command/camera.cgi?AudioIn=on";
    const std::wstring wideOwn(own.begin(), own.end());
    const struct
    {
        const char* reason;
        const char* model;
        const wchar_t* value;
        std::wstring text;
        DWORD type;
        std::string sent;
    } rows[] = {
        {"a text", "SNC-EP580", kSetupCommand, wideOwn, REG_SZ, own},
        {"an expandable text", "SNC-EP580", kSetupCommand, wideOwn, REG_EXPAND_SZ, own},
        {"an empty text", "SNC-EP580", kSetupCommand, L"", REG_SZ, builtIn},
        {"no text", "SNC-EP580", kSetupCommand, wideOwn, REG_BINARY, builtIn},
        {"more than fits", "SNC-EP580", kSetupCommand, std::wstring(300, L'x'), REG_SZ, builtIn},
        {"the value of another model", "SNC-EP580", kSetupCommandWr600, wideOwn, REG_SZ, builtIn},
        {"the model with its own value", "SNC-WR600", kSetupCommandWr600, wideOwn, REG_SZ, own},
        {"not the value of the others", "SNC-WR600", kSetupCommand, wideOwn, REG_SZ, builtIn},
        {"an older camera", "SNC-RX550", kSetupCommand, wideOwn, REG_SZ, own},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_registry.Remove(kSetupCommand);
        m_registry.Remove(kSetupCommandWr600);
        m_registry.SetText(row.value, row.text, row.type);
        Start({.model = row.model, .factorySettings = true});
        EXPECT_EQ(S_OK, m_command->ConnectToCamera());
        EXPECT_EQ(row.sent, Sent().back());
    }
}

TEST_F(IpelaSettings, FailedSetupIsReturned)
{
    Start({.factorySettings = true, .faults = {}});
    m_camera->AddFault("status:403@command/camera.cgi");
    EXPECT_EQ(E_FAIL, m_command->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandIpela::SetRequiredSettings, request (command/camera.cgi?ImageCodec1=h264&"
                              "AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off), dwStatusCode = 403, hr = 0x80004005"));
    EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::ConnectToCamera, failed to SetRequiredSettings, hr = 0x80004005"));
}

TEST_F(IpelaSettings, FailedInquiryIsReturnedByAllWhoNeedIt)
{
    Start();
    m_camera->AddFault("status:503@command/inquiry.cgi?inq=camera");
    CameraSettings3 settings = {};
    ImageSize2 size = {};
    TransportParameters transport = {};
    EXPECT_EQ(E_FAIL, m_command->ConnectToCamera());
    EXPECT_EQ(E_FAIL, m_command->GetCameraSettings3(&settings));
    EXPECT_EQ(E_FAIL, m_command->GetCameraImageSize(&size));
    EXPECT_EQ(E_FAIL, m_command->SetupTransport(0, &transport));
    for (const char* name : {"ConnectToCamera", "GetCameraSettings", "GetCameraImageSize", "SetupTransport"})
    {
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::" + std::string(name) +
                                  ", failed to QueryCameraSettings, hr = 0x80004005"));
    }
    EXPECT_EQ(4u, m_log.Count("1 CCgiCommandIpela::QueryCameraSettings, request (command/inquiry.cgi?inq=camera) "
                              "failed, dwStatusCode = 503, hr = 0x80004005"));
}

TEST_F(IpelaSettings, BitRateIsRaisedToTheNextStep)
{
    const struct
    {
        long asked;
        const char* sent;
    } rows[] = {{100, "128"},   {128, "128"},   {1024, "1024"}, {1025, "1536"},
                {8192, "8192"}, {9000, "8192"}, {0, "64"},      {-5, "64"}};
    StartConnected();
    for (const auto& row : rows)
    {
        EXPECT_EQ(S_OK, m_command->SetBitRate(row.asked));
        EXPECT_THAT(Sent(), ElementsAre(std::string("command/camera.cgi?BitRate1=") + row.sent));
        EXPECT_EQ(row.sent, m_camera->Setting("BitRate1"));
        EXPECT_EQ(1u, m_log.Count("1 CCgiCommandIpela::SetBitRate, change bitRate from " + std::to_string(row.asked) +
                                  " to " + row.sent));
        m_log.Clear();
    }
}

TEST_F(IpelaSettings, VolumeHasLimits)
{
    StartConnected();
    for (const long volume : {-10L, 0L, 10L})
    {
        EXPECT_EQ(S_OK, m_command->SetAudioInVolume(volume));
        EXPECT_EQ(std::to_string(volume), m_camera->Setting("AudioInVolume"));
    }
    Forget();
    for (const long volume : {-11L, 11L, 2147483647L})
        EXPECT_EQ(E_INVALIDARG, m_command->SetAudioInVolume(volume));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(IpelaSettings, TransportIsWhatTheCameraIsSetTo)
{
    const struct
    {
        long streamId;
        long isMulticast;
        const wchar_t* address;
        unsigned short rtpPort;
    } rows[] = {
        {0, TRUE, L"239.192.0.1", 60000}, {1, TRUE, L"239.192.0.1", 60010}, {-1, 7, L"239.192.0.1", 60010},
        {0, FALSE, nullptr, 50000},       {2, FALSE, nullptr, 50010},
    };
    StartConnected();
    wchar_t own[] = L"";
    for (const auto& row : rows)
    {
        TransportParameters parameters = {own, row.isMulticast, 5555, own, 1, 2, 17, own};
        EXPECT_EQ(S_OK, m_command->SetupTransport(row.streamId, &parameters));
        EXPECT_STREQ(row.address, parameters.MulticastAddress);
        EXPECT_EQ(row.rtpPort, parameters.RtpPort);
        EXPECT_EQ(0, parameters.RtcpPort);
        EXPECT_EQ(own, parameters.Protocol) << "the rest is the client's";
        EXPECT_EQ(5555, parameters.ClientPort);
        EXPECT_EQ(17, parameters.Ttl);
        EXPECT_EQ(own, parameters.Ssrc);
        ::SysFreeString(parameters.MulticastAddress);
    }
}

TEST_F(IpelaSettings, NewestMethodsThatTheFamilyNeedsNot)
{
    StartConnected();
    H264Parameters parameters = {};
    parameters.PacketizationMode = 1;
    parameters.ParameterSet1Size = 4;
    EXPECT_EQ(S_OK, m_command->GetH264Parameters(&parameters));
    EXPECT_EQ(nullptr, parameters.ProfileLeveId);
    EXPECT_EQ(-1, parameters.PacketizationMode);
    EXPECT_EQ(0, parameters.ParameterSet1Size);
    EXPECT_EQ(0, parameters.ParameterSet2Size);
    EXPECT_EQ(nullptr, parameters.ParameterSets);
    EXPECT_EQ(S_OK, m_command->PauseStreaming());
    EXPECT_EQ(S_OK, m_command->StopStreaming());
    EXPECT_EQ(S_FALSE, m_command->ConnectToRtspServer(TRUE));
    EXPECT_EQ(S_FALSE, m_command->ConnectToRtspServer(FALSE));
    EXPECT_THAT(Sent(), IsEmpty());
}
} // namespace
