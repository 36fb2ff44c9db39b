// Stream starts: the request, and the packets that then arrive.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <winsock2.h>

#include <array>
#include <functional>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

/// A loopback UDP port that waits at most two seconds for a packet.
class CReceiver
{
public:
    /// Port 0: chosen by the system.
    explicit CReceiver(unsigned short port = 0)
    {
        WSADATA data = {};
        const DWORD limitMs = 2000;
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        address.sin_port = ::htons(port);
        int sizeBytes = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
            throw std::runtime_error("WSAStartup failed");
        m_socket = ::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
        if (m_socket == INVALID_SOCKET || ::bind(m_socket, generic, sizeBytes) != 0 ||
            ::getsockname(m_socket, generic, &sizeBytes) != 0 ||
            ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limitMs), sizeof(limitMs)) !=
                0)
            throw std::runtime_error("no loopback port");
        m_port = ::ntohs(address.sin_port);
    }
    ~CReceiver()
    {
        ::closesocket(m_socket);
        ::WSACleanup();
    }
    CReceiver(const CReceiver&) = delete;
    CReceiver& operator=(const CReceiver&) = delete;

    unsigned short Port() const noexcept
    {
        return m_port;
    }
    /// Empty when none came in time.
    std::string Receive() const
    {
        std::array<char, 2048> buffer;
        const int count = ::recv(m_socket, buffer.data(), static_cast<int>(buffer.size()), 0);
        return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : std::string();
    }

private:
    SOCKET m_socket = INVALID_SOCKET;
    unsigned short m_port = 0;
};

class StreamStart : public SimulatedCameraTest
{
protected:
    /// Three packets of one RTP stream (RFC 3550, 5.1).
    static void ExpectRtp(const CReceiver& receiver)
    {
        std::string previous;
        for (int i = 0; i < 3; ++i)
        {
            const std::string packet = receiver.Receive();
            ASSERT_LT(12u, packet.size()) << "no packet";
            EXPECT_EQ('\x80', packet[0]) << "version 2, nothing optional";
            const auto sequence = [](const std::string& bytes) {
                return static_cast<unsigned short>(static_cast<unsigned char>(bytes[2]) * 256 +
                                                   static_cast<unsigned char>(bytes[3]));
            };
            if (!previous.empty())
            {
                EXPECT_EQ(static_cast<unsigned short>(sequence(previous) + 1), sequence(packet));
                EXPECT_EQ(previous.substr(8, 4), packet.substr(8, 4)) << "one source";
            }
            previous = packet;
        }
    }
};

TEST_F(StreamStart, UnicastArrivesAtTheAskedForPort)
{
    const struct
    {
        const char* model;
        const char* path;
        MediaKind kind;
    } rows[] = {{"SNC-EP580", "image1", MediaKind::H264},
                {"SNC-RX550", "mpeg4", MediaKind::Mpeg4},
                {"SNC-UNKNOWN", "mpeg4", MediaKind::Mpeg4}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.model);
        StartConnected({.model = row.model});
        const CReceiver video;
        const CReceiver audio;
        EXPECT_EQ(S_OK, m_command->StartMpeg4Video2(FALSE, video.Port()));
        EXPECT_EQ(S_OK, m_command->StartAudio2(FALSE, audio.Port()));
        EXPECT_THAT(Sent(),
                    ElementsAre(std::string(row.path) + "?UdpMode=unicast&UdpPort=" + std::to_string(video.Port()),
                                "audio?UdpMode=unicast&UdpPort=" + std::to_string(audio.Port())));
        ExpectRtp(video);
        ExpectRtp(audio);
        const std::vector<StreamStatus> streams = m_camera->Streams();
        ASSERT_EQ(2u, streams.size());
        EXPECT_EQ(row.kind, streams[0].order.kind);
        EXPECT_EQ(MediaKind::Pcmu, streams[1].order.kind);
    }
}

TEST_F(StreamStart, MulticastGoesToThePortOfTheCamera)
{
    for (const char* model : {"SNC-EP580", "SNC-ER580"})
    {
        SCOPED_TRACE(model);
        const bool isNewest = std::string(model) == "SNC-EP580";
        StartConnected({.model = model});
        const CReceiver video;
        const CReceiver audio;
        m_camera->SetSetting(isNewest ? "McVideoPort1" : "McVideoPort", std::to_string(video.Port()));
        m_camera->SetSetting("McAudioPort", std::to_string(audio.Port()));
        const std::string request = isNewest ? "image1?UdpMode=multicast" : "mpeg4?udpMode=multicast";
        EXPECT_EQ(S_OK, m_command->StartMpeg4Video());
        EXPECT_EQ(S_OK, m_command->StartAudio());
        EXPECT_THAT(Sent(), ElementsAre(request, "audio?udpMode=multicast"));
        ExpectRtp(video);
        ExpectRtp(audio);
        // Any true value, and a port that counts for unicast only.
        EXPECT_EQ(S_OK, m_command->StartMpeg4Video2(-1, 4711));
        EXPECT_EQ(S_OK, m_command->StartAudio2(2, 4711));
        EXPECT_THAT(Sent(), ElementsAre(request, "audio?udpMode=multicast"));
    }
}

TEST_F(StreamStart, UnicastNeedsAPort)
{
    StartConnected();
    EXPECT_EQ(E_INVALIDARG, m_command->StartMpeg4Video2(FALSE, 0));
    EXPECT_EQ(E_INVALIDARG, m_command->StartAudio2(FALSE, 0));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(StreamStart, PauseAndStopAreTheClientsOwnBusiness)
{
    StartConnected();
    const CReceiver video;
    ASSERT_EQ(S_OK, m_command->StartMpeg4Video2(FALSE, video.Port()));
    ExpectRtp(video);
    Forget();
    EXPECT_EQ(S_OK, m_command->PauseStreaming());
    EXPECT_EQ(S_OK, m_command->StopStreaming());
    EXPECT_THAT(Sent(), IsEmpty()) << "the camera sends until it is told otherwise by other means";
    EXPECT_EQ(1u, m_camera->Streams().size());
}

TEST_F(StreamStart, BadRequestSetsTheCameraUpAndTriesOnceMore)
{
    const struct
    {
        const char* name;
        std::function<HRESULT(IAVCommand5*, unsigned short)> start;
        const char* path;
    } rows[] = {
        {"StartVideo", [](auto c, auto port) { return c->StartMpeg4Video2(FALSE, port); }, "image1"},
        {"StartAudio", [](auto c, auto port) { return c->StartAudio2(FALSE, port); }, "audio"},
    };
    const std::string setup = "command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off";
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        StartConnected();
        // Somebody changes the camera behind the client's back.
        m_camera->SetSetting("AudioIn", "off");
        const CReceiver receiver;
        const std::string request =
            std::string(row.path) + "?UdpMode=unicast&UdpPort=" + std::to_string(receiver.Port());
        EXPECT_EQ(S_OK, row.start(m_command.get(), receiver.Port()));
        EXPECT_THAT(Sent(), ElementsAre(request, setup, request));
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::" + std::string(row.name) + ", request (" + request +
                                  ") failed, dwStatusCode = 400, hr = 0x80004005"));
        ExpectRtp(receiver);
        CameraSettings3 settings = {};
        EXPECT_EQ(S_OK, m_command->GetCameraSettings3(&settings));
        ::SysFreeString(settings.MulticastAddress);
        EXPECT_THAT(Sent(), ElementsAre("command/inquiry.cgi?inq=camera")) << "the setup has emptied the cache";
    }
}

TEST_F(StreamStart, SecondBadRequestIsFinal)
{
    StartConnected();
    m_camera->SetSetting("ImageCodec1", "jpeg"); // which the setup without a codec leaves
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_THAT(Sent(), ElementsAre("image1?UdpMode=multicast",
                                    "command/camera.cgi?AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off",
                                    "image1?UdpMode=multicast"));
}

TEST_F(StreamStart, FailedSetupIsReturned)
{
    StartConnected();
    m_camera->SetSetting("AudioIn", "off");
    m_camera->AddFault("status:403@command/camera.cgi");
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_EQ(E_FAIL, m_command->StartAudio());
    EXPECT_EQ(1u, m_log.Count("CCgiCommandIpela::StartVideo, SetRequiredSettings failed, hr = 0x80004005"));
    EXPECT_EQ(1u, m_log.Count("CCgiCommandIpela::StartAudio, SetRequiredSettings failed, hr = 0x80004005"));
    EXPECT_EQ(4u, Sent().size());
}

TEST_F(StreamStart, OtherFailuresAreFinal)
{
    StartConnected();
    m_camera->AddFault("status:503@image1");
    m_camera->AddFault("status:404@audio");
    EXPECT_EQ(E_FAIL, m_command->StartMpeg4Video());
    EXPECT_EQ(E_FAIL, m_command->StartAudio());
    EXPECT_THAT(Sent(), ElementsAre("image1?UdpMode=multicast", "audio?udpMode=multicast"));
}
} // namespace
