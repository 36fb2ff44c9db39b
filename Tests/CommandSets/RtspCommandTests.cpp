#include "Tests/CommandSets/RtspFixture.h"
#include "Tests/Support/FailingTaskMemory.h"
#include "Tests/Support/VtableSlot.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{
/// The transport that a client asks for, with marks in the fields that the camera fills.
struct Transport : TransportParameters
{
    explicit Transport(const wchar_t* protocol = L"RTP/AVP")
        : TransportParameters{.Protocol = protocol != nullptr ? MakeBstr(protocol).release() : nullptr,
                              .Multicast = FALSE,
                              .ClientPort = 5000,
                              .MulticastAddress = nullptr,
                              .RtpPort = 1,
                              .RtcpPort = 2,
                              .Ttl = 3,
                              .Ssrc = nullptr}
    {
    }
    ~Transport()
    {
        for (const BSTR text : {Protocol, MulticastAddress, Ssrc})
            CBstr owned(text);
    }
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;
};

std::wstring TextOf(const BSTR text)
{
    return text != nullptr ? std::wstring(text, ::SysStringLen(text)) : L"(null)";
}
} // namespace

TEST_F(RtspCommand, OwnOperationsStandBehindThoseOfTheBase)
{
    EXPECT_EQ(SlotOf(&CCgiCommandRtsp::RtspPath), 23u);
    EXPECT_EQ(SlotOf(&CCgiCommandRtsp::CheckPrerequisites), 24u);
}

TEST_F(RtspCommand, ThePlainClassHasNoPathAndNeedsNothing)
{
    CCgiCommandRtsp set(nullptr);
    EXPECT_EQ(set.RtspPath(), L"");
    EXPECT_EQ(set.CheckPrerequisites(), S_OK);
    EXPECT_EQ(set.TryTalkToCamera(), S_OK);
    EXPECT_EQ(set.ConnectToCamera(), S_OK);
    EXPECT_THAT(m_camera.Heads(), IsEmpty()) << "no network traffic";
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(RtspCommand, ConnectToCameraIsThePrerequisites)
{
    m_set.prerequisites = S_FALSE;
    EXPECT_EQ(m_set.ConnectToCamera(), S_FALSE);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
    m_set.prerequisites = E_ACCESSDENIED;
    EXPECT_EQ(m_set.ConnectToCamera(), E_ACCESSDENIED);
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"1 CCgiCommandRtsp::ConnectToCamera, CheckPrerequistes failed"));
}

TEST_F(RtspCommand, WithoutASessionEverythingThatNeedsItIsUnexpected)
{
    Transport transport;
    ImageSize2 size{};
    ImageSize2* sizes = nullptr;
    CameraSettings3 settings{};
    H264Parameters h264{};
    LONG count = 7;
    EXPECT_EQ(m_set.SetupTransport(0, &transport), E_UNEXPECTED);
    EXPECT_EQ(m_set.StartVideo(false, 5000), E_UNEXPECTED);
    EXPECT_EQ(m_set.StartAudio(false, 5000), E_UNEXPECTED);
    EXPECT_EQ(m_set.PauseStreaming(), E_UNEXPECTED);
    EXPECT_EQ(m_set.StopStreaming(), E_UNEXPECTED);
    EXPECT_EQ(m_set.GetSupportedImageSizes(&sizes, &count), E_UNEXPECTED);
    EXPECT_EQ(m_set.GetSupportedImageSizes(nullptr, &count), E_UNEXPECTED);
    EXPECT_EQ(m_set.IsImageSizeSupported(1280, 720, 25, VC_H264), E_UNEXPECTED);
    EXPECT_EQ(m_set.GetCameraSettings(&settings), E_UNEXPECTED);
    EXPECT_EQ(m_set.GetCameraImageSize(&size), E_UNEXPECTED);
    EXPECT_EQ(m_set.GetH264Parameters(&h264), E_UNEXPECTED);
    EXPECT_EQ(sizes, nullptr);
    EXPECT_EQ(count, 7);
}

TEST_F(RtspCommand, NullPointersAreRefusedBeforeTheSessionIsAskedFor)
{
    ImageSize2* sizes = nullptr;
    for (const bool connected : {false, true})
    {
        if (connected)
        {
            ASSERT_EQ(Connect(), S_OK);
        }
        EXPECT_EQ(m_set.SetupTransport(0, nullptr), E_INVALIDARG);
        EXPECT_EQ(m_set.GetSupportedImageSizes(&sizes, nullptr), E_INVALIDARG);
        EXPECT_EQ(m_set.GetCameraSettings(nullptr), E_INVALIDARG);
        EXPECT_EQ(m_set.CCgiCommandRtsp::GetCameraImageSize(nullptr), E_INVALIDARG);
        EXPECT_EQ(m_set.GetH264Parameters(nullptr), E_INVALIDARG);
    }
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(RtspCommand, ConnectJoinsTheSessionOfTheFamilysPath)
{
    EXPECT_EQ(Connect(), S_OK);
    ASSERT_EQ(m_camera.TunnelCount(), 1u);
    EXPECT_TRUE(m_camera.Heads()[0].starts_with("GET /media.amp?videocodec=h264 HTTP/1.1\r\n"));
    EXPECT_THAT(Requests(), IsEmpty()) << "nothing is described before it is needed";
}

TEST_F(RtspCommand, ConnectFailsWhenNoSessionCanBeOpened)
{
    m_camera.SetGetAnswer("HTTP/1.0 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(Connect(), E_FAIL);
    EXPECT_EQ(m_set.StartVideo(false, 0), E_UNEXPECTED);
}

TEST_F(RtspCommand, LeavesTheSessionWhenDestroyed)
{
    {
        CTestCommandSet set;
        ASSERT_EQ(Connect(set), S_OK);
    }
    EXPECT_TRUE(m_camera.WaitForEnd(TunnelSide::Get));
    EXPECT_EQ(m_log.Count(L"CRtspSessionManager::ReleaseRtspSession, remove rtsp session"), 1u);
    EXPECT_THAT(Requests(), IsEmpty()) << "no TEARDOWN";
}

TEST_F(RtspCommand, ConnectingAgainLeavesTheEarlierSessionFirst)
{
    ASSERT_EQ(Connect(), S_OK);
    ASSERT_EQ(Connect(), S_OK);
    EXPECT_EQ(m_log.Count(L"CRtspSessionManager::ReleaseRtspSession, remove rtsp session"), 1u);
    EXPECT_EQ(m_log.Count(L"CRtspSessionManager::JoinRtspSession, succeeded, cookie = 1"), 2u);
    EXPECT_EQ(m_camera.TunnelCount(), 2u);
    m_camera.SetGetAnswer("HTTP/1.0 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(Connect(), E_FAIL);
    EXPECT_EQ(m_set.StartVideo(false, 0), E_UNEXPECTED) << "and is without a session when the new one fails";
}

TEST_F(RtspCommand, AParticipantThatJoinsHoldsPlayBackUntilItIsSetUp)
{
    CTestCommandSet other;
    ASSERT_EQ(Connect(m_set, true), S_OK);
    ASSERT_EQ(Connect(other, true), S_OK);
    EXPECT_EQ(m_camera.TunnelCount(), 1u) << "one session";
    Transport first;
    ASSERT_EQ(m_set.SetupTransport(0, &first), S_OK);
    EXPECT_EQ(m_set.StartVideo(false, 0), S_OK);
    EXPECT_THAT(Requests(), Not(Contains(testing::StartsWith("PLAY"))));
    Transport second;
    ASSERT_EQ(other.SetupTransport(1, &second), S_OK);
    EXPECT_EQ(m_set.StartVideo(false, 0), S_OK);
    EXPECT_THAT(Requests(), Contains("PLAY rtsp://127.0.0.1/all"));
}

TEST_F(RtspCommand, AParticipantThatDoesNotJoinHoldsNothingBack)
{
    CTestCommandSet other;
    ASSERT_EQ(Connect(m_set, true), S_OK);
    ASSERT_EQ(Connect(other, false), S_OK);
    Transport transport;
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    EXPECT_EQ(m_set.StartVideo(false, 0), S_OK);
    EXPECT_THAT(Requests(), Contains("PLAY rtsp://127.0.0.1/all"));
}

TEST_F(RtspCommand, VideoAndAudioBothStartTheWholeSession)
{
    ASSERT_EQ(Connect(), S_OK);
    Transport transport;
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    EXPECT_EQ(m_set.StartVideo(false, 0), S_OK);
    EXPECT_EQ(m_set.StartVideo(true, 4711), S_OK);
    EXPECT_EQ(m_set.StartAudio(true, 4712), S_OK);
    EXPECT_THAT(Requests(), ElementsAre("DESCRIBE rtsp://127.0.0.1/media.amp?videocodec=h264",
                                        "SETUP rtsp://127.0.0.1/media.amp/trackID=1", "PLAY rtsp://127.0.0.1/all",
                                        "PLAY rtsp://127.0.0.1/all", "PLAY rtsp://127.0.0.1/all"));
    const std::vector<std::string> bytes = m_camera.RtspRequests();
    EXPECT_EQ(bytes[2].substr(bytes[2].find("User-Agent")), bytes[4].substr(bytes[4].find("User-Agent")));
}

TEST_F(RtspCommand, PauseSendsNothingAndStopTearsTheSessionDown)
{
    ASSERT_EQ(Connect(), S_OK);
    Transport transport;
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    ASSERT_EQ(m_set.StartVideo(false, 0), S_OK);
    const std::size_t before = Requests().size();
    EXPECT_EQ(m_set.PauseStreaming(), S_OK);
    EXPECT_EQ(Requests().size(), before);
    EXPECT_EQ(m_set.StopStreaming(), S_OK);
    EXPECT_EQ(Requests().back(), "TEARDOWN rtsp://127.0.0.1/all");
    EXPECT_EQ(m_set.StopStreaming(), S_OK) << "already stopped";
    EXPECT_EQ(Requests().size(), before + 1);
}

TEST_F(RtspCommand, FailuresOfTheSessionAreLoggedAndFail)
{
    ASSERT_EQ(Connect(m_set, false), S_OK); // nobody waits for this one to be set up
    EXPECT_EQ(m_set.StartVideo(false, 0), E_FAIL) << "nothing is set up";
    EXPECT_EQ(LastOwnLine(), L"1 CCgiCommandRtsp::StartStreaming, failed");
    m_log.Clear();
    EXPECT_EQ(m_set.StartAudio(false, 0), E_FAIL);
    EXPECT_EQ(LastOwnLine(), L"1 CCgiCommandRtsp::StartStreaming, failed");

    Transport transport;
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    Answer("PLAY", 455);
    Answer("TEARDOWN", 500);
    EXPECT_EQ(m_set.StartVideo(false, 0), E_FAIL);
    EXPECT_EQ(LastOwnLine(), L"1 CCgiCommandRtsp::StartStreaming, failed");
    EXPECT_EQ(m_set.StopStreaming(), E_FAIL);
    EXPECT_EQ(LastOwnLine(), L"1 CCgiCommandRtsp::StopStreaming, failed");
}

TEST_F(RtspCommand, SetupFailureLeavesTheRecordAlone)
{
    ASSERT_EQ(Connect(), S_OK);
    Answer("SETUP", 461);
    Transport transport;
    const BSTR protocol = transport.Protocol;
    EXPECT_EQ(m_set.SetupTransport(0, &transport), E_FAIL);
    EXPECT_EQ(LastOwnLine(), L"1 CCgiCommandRtsp::SetupTransport, failed");
    EXPECT_EQ(transport.Protocol, protocol);
    EXPECT_EQ(transport.RtpPort, 1);
    EXPECT_EQ(transport.RtcpPort, 2);
    EXPECT_EQ(transport.ClientPort, 5000);
}

TEST_F(RtspCommand, SetupWritesTheGrantedTransportBack)
{
    ASSERT_EQ(Connect(), S_OK);
    Transport transport;
    const BSTR protocol = transport.Protocol;
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    EXPECT_EQ(transport.Protocol, protocol) << "the caller's own string: the same protocol was granted";
    EXPECT_EQ(transport.Multicast, FALSE);
    EXPECT_EQ(transport.ClientPort, 5000);
    EXPECT_EQ(transport.MulticastAddress, nullptr);
    EXPECT_EQ(transport.RtpPort, 6970);
    EXPECT_EQ(transport.RtcpPort, 6971);
    EXPECT_EQ(transport.Ttl, 3) << "untouched";
    EXPECT_EQ(TextOf(transport.Ssrc), L"1A2B3C4D");
    EXPECT_THAT(m_camera.RtspRequests().back(),
                testing::HasSubstr("\r\nTransport: RTP/AVP;unicast;client_port=5000-5001\r\n"));
}

TEST_F(RtspCommand, SetupWritesAMulticastTransportBack)
{
    Answer("SETUP", 200,
           "Session: 1\r\nTransport: RTP/AVP/UDP;multicast;destination=239.1.2.3;port=40000-40001;ttl=7\r\n");
    ASSERT_EQ(Connect(), S_OK);
    Transport transport;
    transport.Multicast = 2; // any value but 0 is true
    ASSERT_EQ(m_set.SetupTransport(1, &transport), S_OK);
    EXPECT_EQ(TextOf(transport.Protocol), L"RTP/AVP/UDP") << "another protocol was granted";
    EXPECT_EQ(transport.Multicast, TRUE);
    EXPECT_EQ(TextOf(transport.MulticastAddress), L"239.1.2.3");
    EXPECT_EQ(transport.RtpPort, 40000);
    EXPECT_EQ(transport.RtcpPort, 40001);
    EXPECT_EQ(transport.Ttl, 3) << "the granted one is not handed on";
    EXPECT_EQ(transport.Ssrc, nullptr);
    EXPECT_THAT(m_camera.RtspRequests().back(), testing::HasSubstr("SETUP rtsp://127.0.0.1/media.amp/trackID=2 "));
    EXPECT_THAT(m_camera.RtspRequests().back(), testing::HasSubstr("\r\nTransport: RTP/AVP;multicast;\r\n"));
}

TEST_F(RtspCommand, SetupTakesOverWhatTheCameraChanged)
{
    Answer("SETUP", 200, "Session: 1\r\nTransport: RTP/AVP;multicast;client_port=6000-6001\r\n");
    ASSERT_EQ(Connect(), S_OK);
    Transport transport;
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    EXPECT_EQ(transport.Multicast, TRUE);
    EXPECT_EQ(transport.ClientPort, 6000);
    EXPECT_EQ(transport.RtpPort, 0) << "server ports that are not named become 0";
    EXPECT_EQ(transport.RtcpPort, 0);
}

TEST_F(RtspCommand, OldAddressesAreOverwrittenAndNotFreed)
{
    ASSERT_EQ(Connect(), S_OK);
    const CBstr address = MakeBstr(L"old address");
    const CBstr ssrc = MakeBstr(L"old ssrc");
    Transport transport;
    transport.MulticastAddress = address.get();
    transport.Ssrc = ssrc.get();
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    EXPECT_EQ(transport.MulticastAddress, nullptr);
    EXPECT_EQ(TextOf(transport.Ssrc), L"1A2B3C4D");
    EXPECT_EQ(TextOf(address.get()), L"old address");
    EXPECT_EQ(TextOf(ssrc.get()), L"old ssrc");
}

TEST_F(RtspCommand, NullProtocolIsTheEmptyText)
{
    ASSERT_EQ(Connect(), S_OK);
    Transport transport(nullptr);
    ASSERT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    EXPECT_THAT(m_camera.RtspRequests().back(),
                testing::HasSubstr("\r\nTransport: ;unicast;client_port=5000-5001\r\n"));
    EXPECT_EQ(TextOf(transport.Protocol), L"RTP/AVP");
}

TEST_F(RtspCommand, SetupReplyWithoutTransportChangesNothing)
{
    Answer("SETUP", 200, "Session: 1\r\n");
    ASSERT_EQ(Connect(), S_OK);
    const CBstr address = MakeBstr(L"old address");
    Transport transport;
    transport.Multicast = 2;
    transport.MulticastAddress = address.get();
    EXPECT_EQ(m_set.SetupTransport(0, &transport), S_OK);
    EXPECT_EQ(TextOf(transport.Protocol), L"RTP/AVP");
    EXPECT_EQ(transport.Multicast, 2);
    EXPECT_EQ(transport.ClientPort, 5000);
    EXPECT_EQ(std::exchange(transport.MulticastAddress, nullptr), address.get());
    EXPECT_EQ(transport.RtpPort, 1);
    EXPECT_EQ(transport.RtcpPort, 2);
    EXPECT_EQ(transport.Ssrc, nullptr);
}

TEST_F(RtspCommand, PictureComesFromTheParameterSets)
{
    ASSERT_EQ(Connect(), S_OK);
    ImageSize2 size{};
    ASSERT_EQ(m_set.GetCameraImageSize(&size), S_OK);
    EXPECT_EQ(size.ImageWidth, 1280);
    EXPECT_EQ(size.ImageHeight, 720);
    EXPECT_EQ(size.FrameRate, 25);
    EXPECT_EQ(size.VideoEncoding, VC_H264);

    const CBstr old = MakeBstr(L"old");
    CameraSettings3 settings{old.get(), 1, 2, 3, 4, 5, 6, 7, 8, 9, VC_None};
    ASSERT_EQ(m_set.GetCameraSettings(&settings), S_OK);
    EXPECT_EQ(settings.MulticastAddress, nullptr);
    EXPECT_EQ(settings.MulticastVideoPort, 0);
    EXPECT_EQ(settings.MulticastAudioPort, 0);
    EXPECT_EQ(settings.ImageWidth, 1280);
    EXPECT_EQ(settings.ImageHeight, 720);
    EXPECT_EQ(settings.FrameRate, 25);
    EXPECT_EQ(settings.BitRate, 0);
    EXPECT_EQ(settings.UnicastVideoPort, 0);
    EXPECT_EQ(settings.UnicastAudioPort, 0);
    EXPECT_EQ(settings.AudioInVolume, 0);
    EXPECT_EQ(settings.VideoEncoding, VC_H264);
    EXPECT_EQ(Requests().size(), 1u) << "described once";
}

TEST_F(RtspCommand, SupportedSizesAreTheOneThatIsStreamed)
{
    ASSERT_EQ(Connect(), S_OK);
    LONG count = 0;
    EXPECT_EQ(m_set.GetSupportedImageSizes(nullptr, &count), S_OK);
    EXPECT_EQ(count, 1);
    EXPECT_THAT(Requests(), IsEmpty()) << "the count is known";

    CTaskMemory<ImageSize2> sizes;
    count = 0;
    ASSERT_EQ(m_set.GetSupportedImageSizes(sizes.put(), &count), S_OK);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(sizes.get()->ImageWidth, 1280);
    EXPECT_EQ(sizes.get()->ImageHeight, 720);
    EXPECT_EQ(sizes.get()->FrameRate, 25);
    EXPECT_EQ(sizes.get()->VideoEncoding, VC_H264);
}

TEST_F(RtspCommand, ASizeIsSupportedWhenAllOfItIsTheCurrentOne)
{
    ASSERT_EQ(Connect(), S_OK);
    EXPECT_EQ(m_set.IsImageSizeSupported(1280, 720, 25, VC_H264), S_OK);
    EXPECT_EQ(m_set.IsImageSizeSupported(1280, 720, 30, VC_H264), S_FALSE) << "another frame rate";
    EXPECT_EQ(m_set.IsImageSizeSupported(1281, 720, 25, VC_H264), S_FALSE);
    EXPECT_EQ(m_set.IsImageSizeSupported(1280, 721, 25, VC_H264), S_FALSE);
    EXPECT_EQ(m_set.IsImageSizeSupported(1280, 720, 25, VC_MPEG4), S_FALSE);
}

TEST_F(RtspCommand, WithoutAPictureSizeTheQuestionsFail)
{
    const struct
    {
        const char* reason;
        std::string sdp;
        std::wstring line;
    } rows[] = {
        {"no description", "", L"1 CCgiCommandRtsp::GetH264FormatParameters, no session description"},
        {"a set that cannot be read", Sdp("", "v", "a", "Z0LA"),
         L"4 CCgiCommandRtsp::GetH264ImageSizeFromSPS, failed to deserialize sps"},
    };
    ASSERT_EQ(Connect(), S_OK);
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Describe(row.sdp);
        ImageSize2 size{1, 2, 3, VC_MPEG4};
        CameraSettings3 settings{};
        settings.BitRate = 7;
        CTaskMemory<ImageSize2> sizes;
        LONG count = 9;
        m_log.Clear();
        EXPECT_EQ(m_set.GetCameraImageSize(&size), E_FAIL);
        EXPECT_EQ(LastOwnLine(), row.line);
        EXPECT_EQ(size.ImageWidth, 1);
        EXPECT_EQ(m_set.GetCameraSettings(&settings), E_FAIL);
        EXPECT_EQ(settings.BitRate, 7);
        EXPECT_EQ(m_set.GetSupportedImageSizes(sizes.put(), &count), E_FAIL);
        EXPECT_EQ(sizes.get(), nullptr);
        EXPECT_EQ(count, 9);
        EXPECT_EQ(m_set.IsImageSizeSupported(1280, 720, 25, VC_H264), E_FAIL);
    }
}

TEST_F(RtspCommand, ShortMemoryIsReported)
{
    ASSERT_EQ(Connect(), S_OK);
    ImageSize2 ignored{};
    ASSERT_EQ(m_set.GetCameraImageSize(&ignored), S_OK); // described from here on
    ImageSize2* sizes = &ignored;
    LONG count = 9;
    H264Parameters parameters{nullptr, 5, 6, 7, nullptr};
    m_log.Clear();
    {
        const CFailingTaskMemory failing;
        EXPECT_EQ(m_set.GetSupportedImageSizes(&sizes, &count), E_OUTOFMEMORY);
        EXPECT_EQ(m_set.GetH264Parameters(&parameters), E_OUTOFMEMORY);
    }
    EXPECT_EQ(sizes, nullptr);
    EXPECT_EQ(count, 9);
    EXPECT_EQ(parameters.PacketizationMode, 5) << "untouched";
    EXPECT_THAT(OwnLines(), ElementsAre(L"8 CCgiCommandRtsp::GetSupportedImageSizes, out of memory",
                                        L"8 CCgiCommandRtsp::GetH264Parameters, out of memory"));
}
