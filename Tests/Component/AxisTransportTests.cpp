// Transports of an Axis camera through COM: which fields the camera's answer changes, and which it leaves.

#include "Tests/Component/AxisStreamFixture.h"
#include "Tests/Support/TaskMemorySpy.h"

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kStart = "rtsp://127.0.0.1/axis-media/media.amp";
const std::string kQuery = "?videocodec=h264&audio=1";

class AxisTransport : public AxisStreamTest
{
protected:
    void SetUp() override
    {
        AxisStreamTest::SetUp();
        ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
        ASSERT_TRUE(WaitForTunnels(1));
        Forget();
    }
    /// The Transport header of the last request.
    std::string Wanted() const
    {
        const JournalEntry last = m_camera->Journal().back();
        const std::string* header = last.request.Header("Transport");
        return header != nullptr ? *header : std::string();
    }
    static std::wstring Text(BSTR text)
    {
        return {text, ::SysStringLen(text)};
    }
};

TEST_F(AxisTransport, DescriptionIsFetchedOnceAndNamesTheStreams)
{
    CTransport video(5000);
    CTransport audio(5002);
    EXPECT_EQ(S_OK, m_command->SetupTransport(kVideo, video.Record()));
    EXPECT_EQ("RTP/AVP;unicast;client_port=5000-5001", Wanted());
    EXPECT_EQ(S_OK, m_command->SetupTransport(kAudio, audio.Record()));
    EXPECT_THAT(Requests(), ElementsAre("DESCRIBE " + kStart + kQuery + " RTSP/1.0",
                                        "SETUP " + kStart + "/trackID=1" + kQuery + " RTSP/1.0",
                                        "SETUP " + kStart + "/trackID=2" + kQuery + " RTSP/1.0"));
    const std::vector<RtspSessionStatus> sessions = m_camera->RtspSessions();
    ASSERT_EQ(1u, sessions.size());
    EXPECT_EQ(2u, sessions[0].tracks.size());
    EXPECT_FALSE(sessions[0].playing);
}

TEST_F(AxisTransport, UnicastIsWrittenBack)
{
    CTransport video(5000);
    const BSTR protocol = video->Protocol;
    ASSERT_EQ(S_OK, m_command->SetupTransport(kVideo, video.Record()));
    EXPECT_EQ(protocol, video->Protocol) << "the same text: the client's own stays";
    EXPECT_EQ(L"RTP/AVP", Text(video->Protocol));
    EXPECT_EQ(FALSE, video->Multicast);
    EXPECT_EQ(5000, video->ClientPort);
    EXPECT_EQ(nullptr, video->MulticastAddress);
    EXPECT_EQ(CTransport::kTtl, video->Ttl);
    const std::string granted = m_camera->RtspSessions().at(0).tracks.at(0).transport;
    EXPECT_THAT(granted, HasSubstr(";server_port=" + std::to_string(video->RtpPort) + "-" +
                                   std::to_string(video->RtcpPort) + ";"));
    EXPECT_EQ(video->RtpPort + 1, video->RtcpPort);
    const std::wstring ssrc = Text(video->Ssrc);
    EXPECT_EQ(8u, ssrc.size());
    EXPECT_THAT(granted, HasSubstr(";ssrc=" + std::string(ssrc.begin(), ssrc.end())));
}

TEST_F(AxisTransport, MulticastIsWrittenBack)
{
    const struct
    {
        LONG streamId;
        const wchar_t* address;
    } rows[] = {{kVideo, L"239.200.0.1"}, {kAudio, L"239.200.0.2"}};
    for (const auto& row : rows)
    {
        CTransport transport(5000, true);
        ASSERT_EQ(S_OK, m_command->SetupTransport(row.streamId, transport.Record()));
        EXPECT_EQ("RTP/AVP;multicast;", Wanted());
        EXPECT_EQ(TRUE, transport->Multicast);
        EXPECT_EQ(row.address, Text(transport->MulticastAddress));
        EXPECT_EQ(5000, transport->ClientPort);
        EXPECT_NE(0, transport->RtpPort);
        EXPECT_EQ(transport->RtpPort + 1, transport->RtcpPort);
        EXPECT_EQ(8u, ::SysStringLen(transport->Ssrc));
        EXPECT_EQ(CTransport::kTtl, transport->Ttl) << "also when the camera names one";
    }
}

TEST_F(AxisTransport, AnyTrueValueMeansMulticast)
{
    CTransport transport(5000);
    transport.Record()->Multicast = -1;
    ASSERT_EQ(S_OK, m_command->SetupTransport(kVideo, transport.Record()));
    EXPECT_EQ("RTP/AVP;multicast;", Wanted());
    EXPECT_EQ(TRUE, transport->Multicast);
}

TEST_F(AxisTransport, AnswersChangeWhatTheyName)
{
    const struct
    {
        const char* reason;
        const char* answer;
        const wchar_t* protocol;
        LONG isMulticast;
        WORD clientPort;
        const wchar_t* address;
        WORD rtpPort;
        WORD rtcpPort;
        const wchar_t* ssrc;
    } rows[] = {
        {"all of unicast", "RTP/AVP;unicast;client_port=6000-6001;server_port=7000-7001;ssrc=1A2B3C4D", L"RTP/AVP",
         FALSE, 6000, L"", 7000, 7001, L"1A2B3C4D"},
        {"protocol alone: ports that are not named are 0", "RTP/AVP", L"RTP/AVP", FALSE, 5000, L"", 0, 0, L""},
        {"another protocol replaces the client's", "RTP/AVP/TCP;interleaved=0-1", L"RTP/AVP/TCP", FALSE, 5000, L"", 0,
         0, L""},
        {"multicast where unicast was asked for", "RTP/AVP;multicast;destination=224.2.0.1;port=3456-3457;ttl=16",
         L"RTP/AVP", TRUE, 5000, L"224.2.0.1", 3456, 3457, L""},
        {"the second offer does not count", "RTP/AVP;unicast,RTP/AVP;multicast;ssrc=2", L"RTP/AVP", FALSE, 5000, L"", 0,
         0, L""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_camera->ClearFaults();
        m_camera->AddFault(
            Fault{.kind = FaultKind::Header, .path = "rtsp:SETUP", .text = "Transport=" + std::string(row.answer)});
        CTransport transport(5000);
        ASSERT_EQ(S_OK, m_command->SetupTransport(kVideo, transport.Record()));
        EXPECT_EQ(row.protocol, Text(transport->Protocol));
        EXPECT_EQ(row.isMulticast, transport->Multicast);
        EXPECT_EQ(row.clientPort, transport->ClientPort);
        EXPECT_EQ(row.address, Text(transport->MulticastAddress));
        EXPECT_EQ(*row.address == L'\0', transport->MulticastAddress == nullptr) << "null, not an empty text";
        EXPECT_EQ(row.rtpPort, transport->RtpPort);
        EXPECT_EQ(row.rtcpPort, transport->RtcpPort);
        EXPECT_EQ(row.ssrc, Text(transport->Ssrc));
        EXPECT_EQ(*row.ssrc == L'\0', transport->Ssrc == nullptr);
        EXPECT_EQ(CTransport::kTtl, transport->Ttl);
    }
}

TEST_F(AxisTransport, FailureAndAnswersWithoutATransportChangeNothing)
{
    const struct
    {
        const char* reason;
        const char* fault;
        HRESULT hr;
        unsigned countLogged;
    } rows[] = {
        {"refused", "status:461@rtsp:SETUP", E_FAIL, 1},
        {"without a Transport header", "header:Transport=@rtsp:SETUP", S_OK, 0},
        {"no answer at all", "drop@rtsp:SETUP", E_FAIL, 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_camera->ClearFaults();
        m_camera->AddFault(row.fault);
        m_log.Clear();
        CTransport transport(5000);
        const CBstr address = MakeBstr(L"the client's");
        const CBstr ssrc = MakeBstr(L"also");
        TransportParameters given = {transport->Protocol, -1, 5000, address.get(), 1, 2, 3, ssrc.get()};
        EXPECT_EQ(row.hr, m_command->SetupTransport(kVideo, &given));
        EXPECT_EQ(transport->Protocol, given.Protocol);
        EXPECT_EQ(L"RTP/AVP", Text(given.Protocol));
        EXPECT_EQ(-1, given.Multicast);
        EXPECT_EQ(5000, given.ClientPort);
        EXPECT_EQ(address.get(), given.MulticastAddress);
        EXPECT_EQ(1, given.RtpPort);
        EXPECT_EQ(2, given.RtcpPort);
        EXPECT_EQ(3, given.Ttl);
        EXPECT_EQ(ssrc.get(), given.Ssrc);
        EXPECT_EQ(row.countLogged, m_log.Count("1 CCgiCommandRtsp::SetupTransport, failed"));
    }
}

TEST_F(AxisTransport, StreamsThatTheCameraLacksFail)
{
    StartConnected(Small());
    m_camera->SetSetting("AudioSource.A0.AudioEncoding", "g726");
    ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(FALSE));
    ASSERT_TRUE(WaitForTunnels(1));
    Forget();
    for (const LONG streamId : {kAudio, 2L, -1L})
    {
        CTransport transport(5000);
        EXPECT_EQ(E_FAIL, m_command->SetupTransport(streamId, transport.Record()));
        EXPECT_EQ(1u, m_log.Count("1 CCgiCommandRtsp::SetupTransport, empty media url for stream: " +
                                  std::to_string(streamId)));
    }
    EXPECT_THAT(Requests(), ElementsAre("DESCRIBE " + kStart + kQuery + " RTSP/1.0"));
}

TEST_F(AxisTransport, TextsAreTheClientsAndNothingElseStays)
{
    const auto setUp = [&] {
        CTransport multicast(5000, true);
        CTransport unicast(5000, false, L"RTP/AVP/UDP");
        ASSERT_EQ(S_OK, m_command->SetupTransport(kVideo, multicast.Record()));
        m_camera->AddFault("header:Transport=RTP/AVP;unicast;ssrc=1@rtsp:SETUP*1");
        ASSERT_EQ(S_OK, m_command->SetupTransport(kVideo, unicast.Record()));
        ASSERT_EQ(L"RTP/AVP", Text(unicast->Protocol));
        m_camera->AddFault("status:461@rtsp:SETUP*1");
        CTransport refused(5000);
        ASSERT_EQ(E_FAIL, m_command->SetupTransport(kVideo, refused.Record()));
    };
    CTaskMemorySpy::SeeEveryString();
    setUp();
    const CTaskMemorySpy spy;
    setUp();
    // Three protocols and an address of the test's own; an address, two sources and another protocol of the camera's.
    EXPECT_EQ(7u, spy.CountAllocated());
    EXPECT_EQ(0, spy.CountLive());
}
} // namespace
