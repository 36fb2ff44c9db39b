#include "Tests/CommandSets/IpelaFixture.h"

#include <utility>

#include "Win32/ComMemory.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
const std::string kMpeg4Setup = "command/camera.cgi?ImageCodec=mpeg4&AudioIn=on&AudInCodec=g711_64&M4AutoRateCtrl=off";
const std::string kH264Setup = "command/camera.cgi?ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
const std::string kH264SetupWithoutCodec = "command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";

LONG CountOfSizes(CCgiCommandBase& commandSet)
{
    LONG count = -1;
    EXPECT_EQ(S_OK, commandSet.GetSupportedImageSizes(nullptr, &count));
    return count;
}

std::vector<LONG> Rates(CCgiCommandBase& commandSet)
{
    CTaskMemory<LONG> rates;
    LONG count = 0;
    EXPECT_EQ(S_OK, commandSet.GetSupportedFrameRates(rates.put(), &count));
    return {rates.get(), rates.get() + count};
}
} // namespace

class IpelaProbe : public IpelaTest
{
};
class IpelaConnect : public IpelaTest
{
};

TEST_F(IpelaProbe, SendsTheSystemInquiryAndLogsWhatAnswered)
{
    Start({HttpAnswer(200, "ModelName=SNC-EP580&Serial=100200&SoftVersion=1.53.00")});
    EXPECT_EQ(S_OK, m_commandSet.TryTalkToCamera());
    EXPECT_THAT(Sent(), ElementsAre("command/inquiry.cgi?inq=system"));
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::TryTalkToCamera, IPELA ModelName = 'SNC-EP580', "
                                      L"Serial = '100200', SoftVersion = '1.53.00'"));
}

TEST_F(IpelaProbe, ModelComesFromTheUpperCasedName)
{
    const struct
    {
        const char* reason;
        const char* reply;
        LONG countOfSizes;
    } rows[] = {
        {"lower case, with a suffix", "ModelName=snc-ep550x&Serial=1", 10},
        {"prefix must stand in front", "ModelName=XSNC-EP550&Serial=1", 4},
        {"mixed case", "Serial=1&ModelName=Snc-Wr600", 3},
        {"two sizes", "ModelName=SNC-RZ25N&Serial=1", 2},
        {"no name", "Serial=1", 4},
        {"empty reply", "", 4},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start({HttpAnswer(200, row.reply)});
        EXPECT_EQ(S_OK, m_commandSet.TryTalkToCamera()) << "an unknown model is one of the family all the same";
        EXPECT_EQ(row.countOfSizes, CountOfSizes(m_commandSet));
    }
}

TEST_F(IpelaProbe, UnknownModelIsLoggedInUpperCase)
{
    Start({HttpAnswer(200, "ModelName=xsnc-ep550&Serial=1&SoftVersion=2")});
    EXPECT_EQ(S_OK, m_commandSet.TryTalkToCamera());
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::GetCameraModel, unknown camera model: XSNC-EP550",
                                      L"1 CCgiCommandIpela::TryTalkToCamera, IPELA ModelName = 'xsnc-ep550', "
                                      L"Serial = '1', SoftVersion = '2'"));
}

TEST_F(IpelaProbe, FailureIsReturnedAsTheTransportReportedIt)
{
    Start({HttpAnswer(404, "no such page")});
    EXPECT_EQ(E_FAIL, m_commandSet.TryTalkToCamera());
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::TryTalkToCamera, failed to send request: "
                                      L"'command/inquiry.cgi?inq=system', hr = 0x80004005"));
    m_http.Close();
    EXPECT_EQ(E_UNEXPECTED, m_commandSet.TryTalkToCamera());
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::TryTalkToCamera, failed to send request: "
                                      L"'command/inquiry.cgi?inq=system', hr = 0x8000ffff"));
}

// An inner error of the camera is a reply like any other for the transport.
TEST_F(IpelaProbe, Status500CountsAsAnAnswer)
{
    Start({HttpAnswer(500, "ModelName=SNC-EP520")});
    EXPECT_EQ(S_OK, m_commandSet.TryTalkToCamera());
    EXPECT_EQ(4, CountOfSizes(m_commandSet));
}

TEST_F(IpelaConnect, CameraThatIsSetUpRightIsOnlyAsked)
{
    for (const auto& [model, settings] :
         {std::pair{"SNC-ER580", kMpeg4Settings}, std::pair{"SNC-EP580", kH264Settings}})
    {
        SCOPED_TRACE(model);
        CCgiCommandIpela fresh(&m_http, &TickMs);
        Start({HttpAnswer(200, std::string("ModelName=") + model), HttpAnswer(200, settings)});
        m_countSeen = 1;
        ASSERT_EQ(S_OK, fresh.TryTalkToCamera());
        m_log.Clear();
        EXPECT_EQ(S_OK, fresh.ConnectToCamera());
        EXPECT_THAT(Sent(), ElementsAre(kInquiry));
        EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::QueryCameraSettings from camera",
                                          L"1 CCgiCommandIpela::ConnectToCamera, VideoStd = ntsc"));
    }
}

TEST_F(IpelaConnect, CameraThatIsSetUpWrongGetsTheSetupRequestOfItsModel)
{
    const struct
    {
        const char* reason;
        const char* model;
        std::string settings;
        std::string setup;
    } rows[] = {
        {"audio off", "SNC-ER580", Replaced(kMpeg4Settings, "AudioIn=on", "AudioIn=off"), kMpeg4Setup},
        {"other audio codec", "SNC-RX550", Replaced(kMpeg4Settings, "g711_64", "g726_40"), kMpeg4Setup},
        {"automatic rate", "SNC-RZ25", Replaced(kMpeg4Settings, "M4AutoRateCtrl=off", "M4AutoRateCtrl=on"),
         kMpeg4Setup},
        {"wrong codec", "SNC-RH124", Replaced(kMpeg4Settings, "mpeg4", "jpeg"), kMpeg4Setup},
        {"unknown model", "SNC-XX", Replaced(kMpeg4Settings, "AudioIn=on", "AudioIn=off"), kMpeg4Setup},
        {"audio off, codec right", "SNC-EP580", Replaced(kH264Settings, "AudioIn=on", "AudioIn=off"),
         kH264SetupWithoutCodec},
        {"H.264 camera that sends MPEG-4 keeps doing so", "SNC-EP520",
         Replaced(Replaced(kH264Settings, "h264", "mpeg4"), "AutoRateCtrl1=off", "AutoRateCtrl1=on"),
         kH264SetupWithoutCodec},
        {"wrong codec", "SNC-EP550", Replaced(kH264Settings, "h264", "jpeg"), kH264Setup},
        {"wrong codec", "SNC-EP580", Replaced(kH264Settings, "h264", "jpeg"), kH264Setup},
        {"codec absent", "SNC-EP520", Replaced(kH264Settings, "ImageCodec1=h264&", ""), kH264Setup},
        {"SNC-WR600 gets the codec even when it is right", "SNC-WR600",
         Replaced(kH264Settings, "AudioIn=on", "AudioIn=off"), kH264Setup},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.reason << ", " << row.model);
        CCgiCommandIpela fresh(&m_http, &TickMs);
        Start({HttpAnswer(200, std::string("ModelName=") + row.model), HttpAnswer(200, row.settings),
               HttpAnswer(200, "OK")});
        m_countSeen = 1;
        ASSERT_EQ(S_OK, fresh.TryTalkToCamera());
        EXPECT_EQ(S_OK, fresh.ConnectToCamera());
        EXPECT_THAT(Sent(), ElementsAre(kInquiry, row.setup));
        EXPECT_EQ(1u, m_log.Count(L"CCgiCommandIpela::ConnectToCamera, SetRequiredSettings called"));
    }
}

TEST_F(IpelaConnect, UnexpectedCodecAndTheSetupAreLogged)
{
    Probe("SNC-EP580", {HttpAnswer(200, Replaced(kH264Settings, "h264", "jpeg")), HttpAnswer(200, "OK")});
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandIpela::QueryCameraSettings from camera",
                                      L"1 CCgiCommandIpela::ConnectToCamera, VideoStd = ntsc",
                                      L"1 CCgiCommandIpela::GetImageCodec, unexpected video codec: jpeg",
                                      L"4 CCgiCommandIpela::ConnectToCamera, SetRequiredSettings called"));
}

TEST_F(IpelaConnect, VideoStandardSelectsTheTables)
{
    const std::vector<LONG> rates60Hz = {1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30};
    const std::vector<LONG> rates50Hz = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25};
    const struct
    {
        const char* reason;
        const char* videoStd;
        bool is60Hz;
    } rows[] = {
        {"PAL in upper case", "VideoStd=PAL&", false}, {"back to NTSC", "VideoStd=ntsc&", true},
        {"PAL in lower case", "VideoStd=pal&", false}, {"absent means 60 Hz again", "", true},
        {"PAL once more", "VideoStd=Pal&", false},     {"any other word means 60 Hz", "VideoStd=secam&", true},
    };
    Probe("SNC-EP580");
    EXPECT_EQ(rates60Hz, Rates(m_commandSet)) << "before any connection";
    m_registry->SetDword(kUseCache, 0);
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start({HttpAnswer(200, Replaced(kH264Settings, "VideoStd=ntsc&", row.videoStd))});
        ASSERT_EQ(S_OK, m_commandSet.ConnectToCamera());
        EXPECT_EQ(row.is60Hz ? rates60Hz : rates50Hz, Rates(m_commandSet));
        EXPECT_EQ(row.is60Hz, m_commandSet.IsFrameRateSupported(15));
        EXPECT_EQ(row.is60Hz ? S_OK : S_FALSE, m_commandSet.IsImageSizeSupported(320, 192, 10, VC_H264));
        EXPECT_EQ(row.is60Hz ? S_FALSE : S_OK, m_commandSet.IsImageSizeSupported(320, 184, 10, VC_H264));
    }
}

TEST_F(IpelaConnect, InquiryFailureIsReturned)
{
    Probe("SNC-EP580", {HttpAnswer(503, "busy")});
    EXPECT_EQ(E_FAIL, m_commandSet.ConnectToCamera());
    EXPECT_THAT(Sent(), ElementsAre(kInquiry));
    EXPECT_THAT(Logged(),
                ElementsAre(L"1 CCgiCommandIpela::QueryCameraSettings from camera",
                            L"1 CCgiCommandIpela::QueryCameraSettings, request (command/inquiry.cgi?inq=camera) "
                            L"failed, dwStatusCode = 503, hr = 0x80004005",
                            L"8 CCgiCommandIpela::ConnectToCamera, failed to QueryCameraSettings, hr = 0x80004005"));
}

TEST_F(IpelaConnect, EmptyInquiryReplyIsAFailure)
{
    for (const int statusCode : {200, 204})
    {
        SCOPED_TRACE(statusCode);
        Probe("SNC-EP580", {HttpAnswer(statusCode, "")});
        EXPECT_EQ(E_FAIL, m_commandSet.ConnectToCamera());
        EXPECT_THAT(Logged(),
                    ElementsAre(L"1 CCgiCommandIpela::QueryCameraSettings from camera",
                                L"8 CCgiCommandIpela::QueryCameraSettings, request (command/inquiry.cgi?inq=camera) "
                                L"returns 0 byte",
                                L"8 CCgiCommandIpela::ConnectToCamera, failed to QueryCameraSettings, "
                                L"hr = 0x80004005"));
    }
}

TEST_F(IpelaConnect, SetupFailureIsReturned)
{
    Probe("SNC-ER580",
          {HttpAnswer(200, Replaced(kMpeg4Settings, "AudioIn=on", "AudioIn=off")), HttpAnswer(403, "not you")});
    EXPECT_EQ(E_FAIL, m_commandSet.ConnectToCamera());
    EXPECT_THAT(Sent(), ElementsAre(kInquiry, kMpeg4Setup));
    EXPECT_THAT(Logged(),
                ElementsAre(L"1 CCgiCommandIpela::QueryCameraSettings from camera",
                            L"1 CCgiCommandIpela::ConnectToCamera, VideoStd = ntsc",
                            L"4 CCgiCommandIpela::ConnectToCamera, SetRequiredSettings called",
                            L"1 CCgiCommandIpela::SetRequiredSettings, request (" + Widened(kMpeg4Setup) +
                                L"), dwStatusCode = 403, hr = 0x80004005",
                            L"8 CCgiCommandIpela::ConnectToCamera, failed to SetRequiredSettings, hr = 0x80004005"));
}

TEST_F(IpelaConnect, RegistryReplacesTheSetupRequestWhole)
{
    const std::wstring longest(254, L'x');
    const std::wstring tooLong(255, L'x');
    const struct
    {
        const char* reason;
        const char* model;
        const wchar_t* name;
        DWORD type;
        std::wstring text;
        std::string setup;
    } rows[] = {
        {"MPEG-4 family", "SNC-ER580", kSetupCommand, REG_SZ, L"command/camera.cgi?A=1", "command/camera.cgi?A=1"},
        {"H.264 family", "SNC-EP580", kSetupCommand, REG_SZ, L"command/camera.cgi?A=1", "command/camera.cgi?A=1"},
        {"expandable text is not expanded", "SNC-EP580", kSetupCommand, REG_EXPAND_SZ, L"command/camera.cgi?A=%2C",
         "command/camera.cgi?A=%2C"},
        {"one character is enough", "SNC-EP580", kSetupCommand, REG_SZ, L"x", "x"},
        {"longest", "SNC-EP580", kSetupCommand, REG_SZ, longest, std::string(254, 'x')},
        {"too long for the buffer", "SNC-EP580", kSetupCommand, REG_SZ, tooLong, kH264Setup},
        {"empty text", "SNC-EP580", kSetupCommand, REG_SZ, L"", kH264Setup},
        {"number", "SNC-EP580", kSetupCommand, REG_DWORD, L"x", kH264Setup},
        {"binary", "SNC-EP580", kSetupCommand, REG_BINARY, L"x", kH264Setup},
        {"SNC-WR600 has a value of its own", "SNC-WR600", kSetupCommandWr600, REG_SZ, L"command/camera.cgi?W=1",
         "command/camera.cgi?W=1"},
        {"SNC-WR600 does not use the general one", "SNC-WR600", kSetupCommand, REG_SZ, L"command/camera.cgi?A=1",
         kH264Setup},
        {"the others do not use that of SNC-WR600", "SNC-EP580", kSetupCommandWr600, REG_SZ, L"command/camera.cgi?W=1",
         kH264Setup},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.reason << ", " << row.model);
        m_registry->Remove(kSetupCommand);
        m_registry->Remove(kSetupCommandWr600);
        m_registry->SetText(row.name, row.text, row.type);
        CCgiCommandIpela fresh(&m_http, &TickMs);
        // No settings at all: everything is wrong for either family.
        Start({HttpAnswer(200, std::string("ModelName=") + row.model), HttpAnswer(200, "A=1"), HttpAnswer(200, "OK")});
        m_countSeen = 1;
        ASSERT_EQ(S_OK, fresh.TryTalkToCamera());
        EXPECT_EQ(S_OK, fresh.ConnectToCamera());
        EXPECT_THAT(Sent(), ElementsAre(kInquiry, row.setup));
    }
}
