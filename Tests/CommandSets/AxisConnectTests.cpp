#include "Tests/CommandSets/AxisFixture.h"

#include "Win32/ComMemory.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{
std::string Line(const std::string& name, const std::string& value)
{
    return "root." + name + "=" + value + "\r\n";
}

std::wstring FailedToSend(const wchar_t* operation, const wchar_t* query, int statusCode = 503)
{
    return L"1 CCgiCommandAxis::" + std::wstring(operation) +
           L", failed to send request: '/axis-cgi/param.cgi?action=" + query + L"', dwStatusCode = " +
           std::to_wstring(statusCode) + L", hr = 0x80004005";
}

const std::vector<std::wstring> kLogOfARightCamera = {
    L"1 CCgiCommandAxis::CheckPrerequisites, camera name: 'AXIS P5635-E Network Camera'",
    L"1 CCgiCommandAxis::GetVideoStandard, capture frequency: '60Hz', is 'Ntsc'",
};

class AxisProbe : public AxisTest
{
};

class AxisConnect : public AxisTest
{
protected:
    std::vector<LONG> Rates()
    {
        CTaskMemory<LONG> rates;
        LONG count = 0;
        EXPECT_EQ(S_OK, m_commandSet.GetSupportedFrameRates(rates.put(), &count));
        return {rates.get(), rates.get() + count};
    }
    LONG CountOfSizes()
    {
        LONG count = -1;
        EXPECT_EQ(S_OK, m_commandSet.GetSupportedImageSizes(nullptr, &count));
        return count;
    }
    /// The lines behind those of a camera that is right so far.
    std::vector<std::wstring> LoggedNext()
    {
        std::vector<std::wstring> lines = Logged();
        EXPECT_GE(lines.size(), kLogOfARightCamera.size());
        for (std::size_t i = 0; i < kLogOfARightCamera.size() && !lines.empty(); ++i)
        {
            EXPECT_EQ(kLogOfARightCamera[i], lines.front());
            lines.erase(lines.begin());
        }
        return lines;
    }

    AxisReplies m_replies = RightAxisReplies();
};
} // namespace

TEST_F(AxisProbe, AsksWhoTheCameraIs)
{
    Start({HttpAnswer(200, "AXIS P5635-E")});
    EXPECT_EQ(S_OK, m_commandSet.TryTalkToCamera());
    EXPECT_THAT(Sent(), ElementsAre("axis-cgi/com/ptz.cgi?whoami=yes"));
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandAxis::TryTalkToCamera, succeeded, request: "
                                      L"'/axis-cgi/com/ptz.cgi?whoami=yes', server response: 'AXIS P5635-E'"));
}

TEST_F(AxisProbe, AnyAnswerIsThatOfAnAxisCamera)
{
    const struct
    {
        const char* reason;
        ScriptedReply reply;
        std::wstring response;
    } rows[] = {
        {"nothing to say", HttpAnswer(200, ""), L""},
        {"no content", HttpAnswer(204, ""), L""},
        {"an inner error", HttpAnswer(500, "oops"), L"oops"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Start({row.reply});
        EXPECT_EQ(S_OK, m_commandSet.TryTalkToCamera());
        EXPECT_EQ(L"1 CCgiCommandAxis::TryTalkToCamera, succeeded, request: '/axis-cgi/com/ptz.cgi?whoami=yes', "
                  L"server response: '" +
                      row.response + L"'",
                  LastLogged());
    }
}

TEST_F(AxisProbe, FailureIsReturnedAsTheTransportReportedIt)
{
    Start({HttpAnswer(404, "no such page")});
    EXPECT_EQ(E_FAIL, m_commandSet.TryTalkToCamera());
    EXPECT_THAT(Logged(), ElementsAre(L"1 CCgiCommandAxis::TryTalkToCamera, failed, request: "
                                      L"'/axis-cgi/com/ptz.cgi?whoami=yes', dwStatusCode = 404, hr = 0x80004005"));
    m_http.Close();
    EXPECT_EQ(E_UNEXPECTED, m_commandSet.TryTalkToCamera());
}

TEST_F(AxisProbe, CameraHasFourSecondsToAnswer)
{
    ScriptedReply silence;
    silence.silentAfter = true;
    Start({silence});
    const DWORD startMs = ::GetTickCount();
    EXPECT_EQ(kRequestTimeout, m_commandSet.TryTalkToCamera());
    const DWORD elapsedMs = ::GetTickCount() - startMs;
    EXPECT_GE(elapsedMs, 3900u);
    EXPECT_LT(elapsedMs, 5500u);
    EXPECT_NE(std::wstring::npos, LastLogged().find(L"hr = 0x800c05b4"));
}

TEST_F(AxisConnect, MediaPathAsksForH264AndAudio)
{
    EXPECT_EQ(L"/axis-media/media.amp?videocodec=h264&audio=1", m_commandSet.RtspPath());
}

TEST_F(AxisConnect, CameraThatIsRightGetsTheLowLatencyModeAlone)
{
    EXPECT_EQ(S_OK, Connect(m_replies));
    EXPECT_THAT(Logged(), ElementsAreArray(kLogOfARightCamera));
}

TEST_F(AxisConnect, M5526HasNoLowLatencyMode)
{
    m_replies[AxisStep::Brand] = HttpAnswer(200, Line("Brand.ProdNbr", "AXIS M5526-E"));
    m_replies.erase(AxisStep::LowLatency);
    EXPECT_EQ(S_OK, Connect(m_replies));
    EXPECT_EQ(5, CountOfSizes());
}

TEST_F(AxisConnect, ModelIsAPartOfTheProductNumber)
{
    const std::wstring unknown = L"1 CCgiCommandAxis::GetCameraModel, unknown camera model: ";
    const struct
    {
        const char* reason;
        std::string reply;
        bool isM5526;
        std::wstring logged; ///< the first line
    } rows[] = {
        {"name in any case", "ROOT.brand.PRODNBR=M5526-E\r\n", true, kLogOfARightCamera[1]},
        {"of the list", Line("Brand.ProdNbr", "P5635-E"), false, kLogOfARightCamera[1]},
        {"of no list", Line("Brand.ProdNbr", "Q6055-E"), false, unknown + L"Q6055-E"},
        {"empty", Line("Brand.ProdNbr", ""), false, kLogOfARightCamera[1]},
        {"another parameter", Line("Brand.ProdNbr2", "M5526-E"), false, kLogOfARightCamera[1]},
        {"without the root", "Brand.ProdNbr=M5526-E\r\n", false, kLogOfARightCamera[1]},
        {"no line", "", false, kLogOfARightCamera[1]},
        {"the last line counts", Line("Brand.ProdNbr", "X1") + Line("Brand.ProdNbr", "M5526-E"), true, unknown + L"X1"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        CCgiCommandAxis fresh(&m_http);
        m_replies[AxisStep::Brand] = HttpAnswer(200, row.reply);
        Start([&] {
            std::vector<ScriptedReply> script;
            for (const auto& [step, reply] : m_replies)
                script.push_back(reply);
            return script;
        }());
        EXPECT_EQ(S_OK, fresh.ConnectToCamera());
        LONG count = 0;
        EXPECT_EQ(S_OK, fresh.GetSupportedImageSizes(nullptr, &count));
        EXPECT_EQ(row.isM5526 ? 5 : 4, count);
        EXPECT_EQ(row.isM5526 ? 7u : 8u, Sent().size()) << "with the low-latency mode or without";
        EXPECT_EQ(row.logged, Logged().front());
    }
}

TEST_F(AxisConnect, CameraThatDoesNotNameItselfIsOfUnknownModel)
{
    m_replies[AxisStep::Brand] = HttpAnswer(503, "busy");
    EXPECT_EQ(S_OK, Connect(m_replies));
    EXPECT_THAT(Logged(), ElementsAre(FailedToSend(L"CheckPrerequisites", L"list&group=Brand"), kLogOfARightCamera[1]));
    EXPECT_EQ(4, CountOfSizes());
}

TEST_F(AxisConnect, InterfaceOrFirmwareThatIsNotToldFails)
{
    for (const auto& [step, group] : {std::pair(AxisStep::Interface, L"list&group=Properties.API"),
                                      std::pair(AxisStep::Firmware, L"list&group=Properties.Firmware")})
    {
        AxisReplies replies = UpTo(m_replies, step);
        replies[step] = HttpAnswer(503, "busy");
        EXPECT_EQ(E_FAIL, Connect(replies));
        EXPECT_THAT(Logged(), ElementsAre(kLogOfARightCamera[0], FailedToSend(L"CheckPrerequisites", group),
                                          L"1 CCgiCommandRtsp::ConnectToCamera, CheckPrerequistes failed"));
    }
}

TEST_F(AxisConnect, FailureOfTheTransportIsReturnedUnchanged)
{
    Start({HttpAnswer(200, "")});
    m_http.Close();
    EXPECT_EQ(E_UNEXPECTED, m_commandSet.ConnectToCamera());
}

TEST_F(AxisConnect, TooOldInterfacesAndFirmwareAreRefused)
{
    const std::string http = "Properties.API.HTTP.Version";
    const std::string rtsp = "Properties.API.RTSP.Version";
    const std::string auth = "Properties.API.RTSP.RTSPAuth";
    const std::string firmware = "Properties.Firmware.Version";
    const struct
    {
        const char* reason;
        AxisStep step;
        std::string reply;
        const wchar_t* complaint; ///< "" when the camera will do
    } rows[] = {
        {"lowest HTTP", AxisStep::Interface, Line(http, "3"), L""},
        {"newer HTTP", AxisStep::Interface, Line(http, "10.2"), L""},
        {"older HTTP", AxisStep::Interface, Line(http, "2.9"), L"http version: '2.9'"},
        {"no number", AxisStep::Interface, Line(http, "new"), L"http version: 'new'"},
        {"empty", AxisStep::Interface, Line(http, ""), L"http version: ''"},
        {"lowest RTSP", AxisStep::Interface, Line(rtsp, "2.1"), L""},
        {"with a leading zero", AxisStep::Interface, Line(rtsp, "2.01"), L""},
        {"newer RTSP", AxisStep::Interface, Line(rtsp, "3.0"), L""},
        {"newer, of one number", AxisStep::Interface, Line(rtsp, "3"), L""},
        {"older RTSP", AxisStep::Interface, Line(rtsp, "2.0"), L"rtsp version: '2.0'"},
        {"older, of one number", AxisStep::Interface, Line(rtsp, "2"), L"rtsp version: '2'"},
        {"much older RTSP", AxisStep::Interface, Line(rtsp, "1.9"), L"rtsp version: '1.9'"},
        {"with credentials", AxisStep::Interface, Line(auth, "YES"), L""},
        {"without credentials", AxisStep::Interface, Line(auth, "no"), L"rtsp auth: 'no'"},
        {"a longer word", AxisStep::Interface, Line(auth, "yes!"), L"rtsp auth: 'yes!'"},
        {"names in small letters", AxisStep::Interface, "root.properties.api.rtsp.version=2.0", L"rtsp version: '2.0'"},
        {"the first fault counts", AxisStep::Interface, Line(auth, "no") + Line(http, "1"), L"rtsp auth: 'no'"},
        {"names without the root", AxisStep::Interface, "Properties.API.HTTP.Version=1\r\n", L""},
        {"no line", AxisStep::Interface, "", L""},
        {"lowest firmware", AxisStep::Firmware, Line(firmware, "5.0"), L""},
        {"newer firmware", AxisStep::Firmware, Line(firmware, "11.2.3"), L""},
        {"older firmware", AxisStep::Firmware, Line(firmware, "4.99"), L"firmware version: '4.99'"},
        {"no firmware line", AxisStep::Firmware, Line("Properties.Firmware.BuildNumber", "4"), L""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const std::wstring complaint = row.complaint;
        AxisReplies replies = m_replies;
        replies[row.step] = HttpAnswer(200, row.reply);
        if (complaint.empty())
        {
            EXPECT_EQ(S_OK, Connect(replies));
            EXPECT_THAT(Logged(), ElementsAreArray(kLogOfARightCamera));
            continue;
        }
        EXPECT_EQ(E_FAIL, Connect(UpTo(replies, row.step)));
        EXPECT_THAT(Logged(), ElementsAre(kLogOfARightCamera[0],
                                          L"8 CCgiCommandAxis::CheckPrerequisites, incompatible " + complaint,
                                          L"1 CCgiCommandRtsp::ConnectToCamera, CheckPrerequistes failed"));
    }
}

TEST_F(AxisConnect, CaptureFrequencySelectsRatesAndGroupLength)
{
    const std::vector<LONG> rates60Hz = {1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30};
    const std::vector<LONG> rates50Hz = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25};
    const std::string name = "ImageSource.I0.Sensor.CaptureFrequency";
    const struct
    {
        const char* reason;
        std::string reply;
        bool is60Hz;
        std::wstring logged;
    } rows[] = {
        {"50 with a unit", Line(name, "50Hz"), false, L"capture frequency: '50Hz', is 'Pal'"},
        {"none: as before", Line("ImageSource.I0.Name", "Camera"), false, L"unexpected capture frequency: 0, ''"},
        {"60 without a unit", Line(name, "60"), true, L"capture frequency: '60', is 'Ntsc'"},
        {"50 once more", Line(name, "50"), false, L"capture frequency: '50', is 'Pal'"},
        {"another number: as before", Line(name, "59.94 Hz"), false, L"unexpected capture frequency: 59, '59.94 Hz'"},
        {"no number: as before", Line(name, "auto"), false, L"unexpected capture frequency: 0, 'auto'"},
        {"the key anywhere in the name", "root.ImageSource.I0.CaptureFrequencyNow=60", true,
         L"capture frequency: '60', is 'Ntsc'"},
        {"the key in another case: as before", "root.ImageSource.I0.capturefrequency=50", true,
         L"unexpected capture frequency: 0, ''"},
    };
    EXPECT_EQ(rates60Hz, Rates()) << "before any connection";
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        AxisReplies replies = m_replies;
        replies[AxisStep::Source] = HttpAnswer(200, row.reply);
        if (!row.is60Hz)
            replies[AxisStep::SetPFrames] = HttpAnswer(200, "OK"); // the camera's 31 are too many now
        EXPECT_EQ(S_OK, Connect(replies, "26"));
        EXPECT_EQ(L"1 CCgiCommandAxis::GetVideoStandard, " + row.logged, Logged().at(1));
        EXPECT_EQ(row.is60Hz ? rates60Hz : rates50Hz, Rates());
        EXPECT_EQ(row.is60Hz ? S_OK : S_FALSE, m_commandSet.IsImageSizeSupported(480, 270, 15, VC_H264));
    }
}

TEST_F(AxisConnect, FrequencyThatIsNotToldLeavesTheStandard)
{
    m_replies[AxisStep::Source] = HttpAnswer(503, "busy");
    EXPECT_EQ(S_OK, Connect(m_replies));
    EXPECT_THAT(Logged(),
                ElementsAre(kLogOfARightCamera[0], FailedToSend(L"GetVideoStandard", L"list&group=ImageSource.I0")));
    EXPECT_TRUE(m_commandSet.IsFrameRateSupported(30));
}

TEST_F(AxisConnect, RtspServerIsSwitchedOnWhenItIsOff)
{
    const std::string enabled = "Network.RTSP.Enabled";
    const std::string authenticate = "Network.RTSP.AuthenticateRTSPOverHTTP";
    const std::string willEnable = "RTSP is not enabled, will enable it, RTSP settings: '";
    const std::string notAuthenticated = "authenticateRTSTOverHTTP is not enabled, RTSP settings: '";
    const struct
    {
        const char* reason;
        std::string reply;
        bool isSwitchedOn;
        std::string logged; ///< in front of the reply; "" for none
    } rows[] = {
        {"on", Line(enabled, "Yes") + Line(authenticate, "YES"), false, ""},
        {"on, without credentials", Line(enabled, "yes") + Line(authenticate, "no"), false, notAuthenticated},
        {"on, nothing said about credentials", Line(enabled, "yes"), false, notAuthenticated},
        {"off", Line(enabled, "no") + Line(authenticate, "yes"), true, willEnable},
        {"off, without credentials", Line(enabled, "no") + Line(authenticate, "no"), true, willEnable},
        {"nothing said", "", true, willEnable},
        {"the last line counts", Line(enabled, "no") + Line(enabled, "yes") + Line(authenticate, "yes"), false, ""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        AxisReplies replies = m_replies;
        replies[AxisStep::Rtsp] = HttpAnswer(200, row.reply);
        if (row.isSwitchedOn)
            replies[AxisStep::EnableRtsp] = HttpAnswer(200, "OK");
        EXPECT_EQ(S_OK, Connect(replies));
        std::vector<std::wstring> expected;
        if (!row.logged.empty())
            expected.push_back(Widened("1 CCgiCommandAxis::CheckRtspSettings, " + row.logged + row.reply + "'"));
        EXPECT_EQ(expected, LoggedNext());
    }
}

TEST_F(AxisConnect, FailedCheckEndsTheChecksButNotTheConnection)
{
    const std::string rtspOff = Line("Network.RTSP.Enabled", "no");
    const std::string otherAudio = Line("AudioSource.A0.AudioEncoding", "aac");
    const std::string dynamic = Line("Image.I0.MPEG.ZGopMode", "Dynamic");
    const std::string manyFrames = Line("Image.I0.MPEG.PCount", "32");
    const ScriptedReply busy = HttpAnswer(503, "busy");
    const struct
    {
        const char* reason;
        AxisReplies changes;
        AxisStep last;
        std::wstring logged; ///< the last line
    } rows[] = {
        {"RTSP settings are not told",
         {{AxisStep::Rtsp, busy}},
         AxisStep::Rtsp,
         FailedToSend(L"CheckRtspSettings", L"list&group=Network.RTSP")},
        {"RTSP cannot be switched on",
         {{AxisStep::Rtsp, HttpAnswer(200, rtspOff)}, {AxisStep::EnableRtsp, busy}},
         AxisStep::EnableRtsp,
         FailedToSend(L"CheckRtspSettings", L"update&Network.RTSP.Enabled=yes")},
        {"audio settings are not told",
         {{AxisStep::Audio, busy}},
         AxisStep::Audio,
         FailedToSend(L"CheckAudioSettings", L"list&group=AudioSource.A0")},
        {"audio cannot be changed",
         {{AxisStep::Audio, HttpAnswer(200, otherAudio)}, {AxisStep::SetAudio, busy}},
         AxisStep::SetAudio,
         FailedToSend(L"CheckAudioSetting",
                      L"update&AudioSource.A0.AudioEncoding=g711&AudioSource.A0.SampleRate=8000")},
        {"video settings are not told",
         {{AxisStep::Video, busy}},
         AxisStep::Video,
         FailedToSend(L"CheckVideoSettings", L"list&group=Image.I0.MPEG")},
        {"modes cannot be fixed",
         {{AxisStep::Video, HttpAnswer(200, dynamic + manyFrames)}, {AxisStep::FixModes, busy}},
         AxisStep::FixModes,
         FailedToSend(L"CheckVideoSetting", L"update&Image.I0.MPEG.ZFpsMode=fixed&Image.I0.MPEG.ZGopMode=fixed")},
        {"groups cannot be shortened",
         {{AxisStep::Video, HttpAnswer(200, manyFrames)}, {AxisStep::SetPFrames, busy}},
         AxisStep::SetPFrames,
         FailedToSend(L"CheckVideoSetting", L"update&Image.I0.MPEG.PCount=31")},
        {"no low-latency mode",
         {{AxisStep::LowLatency, busy}},
         AxisStep::LowLatency,
         FailedToSend(L"CheckVideoSetting", L"update&root.ImageSource.I0.Sensor.LowLatencyMode=on")},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        AxisReplies replies = m_replies;
        for (const auto& [step, reply] : row.changes)
            replies[step] = reply;
        EXPECT_EQ(S_OK, Connect(UpTo(replies, row.last)));
        EXPECT_EQ(row.logged, LastLogged());
    }
}

TEST_F(AxisConnect, AudioIsSetToG711WhenItIsSomethingElse)
{
    const std::string encoding = "AudioSource.A0.AudioEncoding";
    const std::string rate = "AudioSource.A0.SampleRate";
    const std::string type = "AudioSource.A0.InputType";
    const std::wstring log = L"1 CCgiCommandAxis::CheckAudioSetting, audio ";
    const struct
    {
        const char* reason;
        std::string reply;
        bool isSet;
        std::vector<std::wstring> logged;
    } rows[] = {
        {"right, in capitals", Line(encoding, "G711") + Line(rate, "8000") + Line(type, "MIC"), false, {}},
        {"another encoding",
         Line(encoding, "g726") + Line(rate, "16000") + Line(type, "mic"),
         true,
         {log + L"encoding ('g726') is NOT 'g711', will set it to 'g711'"}},
        {"another rate is left",
         Line(encoding, "g711") + Line(rate, "16000") + Line(type, "mic"),
         false,
         {log + L"sample rate (16000) != 8000"}},
        {"a rate that only begins so",
         Line(encoding, "g711") + Line(rate, "8000Hz") + Line(type, "mic"),
         false,
         {log + L"sample rate (8000Hz) != 8000"}},
        {"another input is left",
         Line(encoding, "g711") + Line(rate, "8000") + Line(type, "line"),
         false,
         {log + L"input type ('line') is NOT 'mic'"}},
        {"everything else",
         Line(encoding, "aac") + Line(rate, "32000") + Line(type, "line"),
         true,
         {log + L"encoding ('aac') is NOT 'g711', will set it to 'g711'", log + L"input type ('line') is NOT 'mic'"}},
        {"nothing said",
         "",
         true,
         {log + L"encoding ('') is NOT 'g711', will set it to 'g711'", log + L"input type ('') is NOT 'mic'"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        AxisReplies replies = m_replies;
        replies[AxisStep::Audio] = HttpAnswer(200, row.reply);
        if (row.isSet)
            replies[AxisStep::SetAudio] = HttpAnswer(200, "OK");
        EXPECT_EQ(S_OK, Connect(replies));
        EXPECT_EQ(row.logged, LoggedNext());
    }
}

TEST_F(AxisConnect, VideoGetsFixedModesAndShortGroups)
{
    const std::string fps = "Image.I0.MPEG.ZFpsMode";
    const std::string gop = "Image.I0.MPEG.ZGopMode";
    const std::string count = "Image.I0.MPEG.PCount";
    const std::string profile = Line("Image.I0.MPEG.H264.Profile", "Main");
    const std::wstring log = L"1 CCgiCommandAxis::CheckVideoSetting, ";
    const std::wstring dynamic = log + L"dynamic fps or gop, will set them to 'fixed', video settings: '";
    const struct
    {
        const char* reason;
        std::string reply;
        bool areModesSet;
        bool isCountSet;
        std::vector<std::wstring> logged;
    } rows[] = {
        {"as many P frames as allowed", profile + Line(count, "31"), false, false, {}},
        {"one more",
         profile + Line(count, "32"),
         false,
         true,
         {log + L"p frame count (32) is too large, will set it to the default value"}},
        {"no number", profile + Line(count, "many"), false, false, {}},
        {"dynamic rate",
         profile + Line(fps, "DYNAMIC"),
         true,
         false,
         {dynamic + Widened(profile + Line(fps, "DYNAMIC")) + L"'"}},
        {"dynamic groups",
         profile + Line(gop, "dynamic"),
         true,
         false,
         {dynamic + Widened(profile + Line(gop, "dynamic")) + L"'"}},
        {"another mode", profile + Line(fps, "dynamically"), false, false, {}},
        {"another profile is left",
         Line("Image.I0.MPEG.H264.Profile", "high"),
         false,
         false,
         {log + L"h264 profile: 'high'"}},
        {"nothing said", "", false, false, {log + L"h264 profile: ''"}},
        {"everything wrong",
         Line(fps, "dynamic") + Line(count, "99"),
         true,
         true,
         {dynamic + Widened(Line(fps, "dynamic") + Line(count, "99")) + L"'",
          log + L"p frame count (99) is too large, will set it to the default value", log + L"h264 profile: ''"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        AxisReplies replies = m_replies;
        replies[AxisStep::Video] = HttpAnswer(200, row.reply);
        if (row.areModesSet)
            replies[AxisStep::FixModes] = HttpAnswer(200, "OK");
        if (row.isCountSet)
            replies[AxisStep::SetPFrames] = HttpAnswer(200, "OK");
        EXPECT_EQ(S_OK, Connect(replies));
        EXPECT_EQ(row.logged, LoggedNext());
    }
}

TEST_F(AxisConnect, ThirtyPFramesAreTooManyAt50HzOnly)
{
    m_replies[AxisStep::Video] =
        HttpAnswer(200, Line("Image.I0.MPEG.PCount", "30") + Line("Image.I0.MPEG.H264.Profile", "main"));
    EXPECT_EQ(S_OK, Connect(m_replies));
    m_replies[AxisStep::Source] = HttpAnswer(200, Line("ImageSource.I0.Sensor.CaptureFrequency", "50Hz"));
    m_replies[AxisStep::SetPFrames] = HttpAnswer(200, "OK");
    EXPECT_EQ(S_OK, Connect(m_replies, "26"));
}
