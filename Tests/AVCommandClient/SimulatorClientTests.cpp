#include "Demo/SimulatorClient.h"

#include "CameraSim/CameraSimulator.h"

#include <asio.hpp>
#include <gmock/gmock.h>

namespace
{
using testing::HasSubstr;

CameraSimulatorOptions OptionsOf(const std::string& model, AuthenticationScheme scheme)
{
    CameraSimulatorOptions options;
    options.model = model;
    options.controlPort = 0;
    options.authentication.scheme = scheme;
    options.authentication.user = "j\xC3\xBCrgen";
    options.authentication.password = "p\xC3\xA4ss";
    return options;
}

/// A request as a browser would send it, without credentials.
void Ask(std::uint16_t port, const std::string& target)
{
    asio::io_context io;
    asio::ip::tcp::socket socket(io);
    socket.connect({asio::ip::address_v4::loopback(), port});
    asio::write(socket, asio::buffer("GET " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
    std::string reply;
    asio::error_code error;
    asio::read(socket, asio::dynamic_buffer(reply), error);
    EXPECT_THAT(reply, HasSubstr("HTTP/1.1"));
}

TEST(SimulatorClient, AddressHasThePortAndTheCredentialsOfTheCamera)
{
    CCameraSimulator camera(OptionsOf("SNC-EP580", AuthenticationScheme::Digest));
    const std::uint16_t port = camera.Start();
    CSimulatorClient client("127.0.0.1", camera.ControlPort());
    const CameraAddress address = client.Address();
    EXPECT_EQ(address.host, "127.0.0.1");
    EXPECT_EQ(address.port, port);
    EXPECT_EQ(address.userName, "j\xC3\xBCrgen");
    EXPECT_EQ(address.password, "p\xC3\xA4ss");
    EXPECT_EQ(client.LocalAddress(), "127.0.0.1");
}

TEST(SimulatorClient, OpenCameraHasNoCredentials)
{
    CCameraSimulator camera(OptionsOf("SNC-EP580", AuthenticationScheme::None));
    camera.Start();
    EXPECT_EQ(CSimulatorClient("127.0.0.1", camera.ControlPort()).Address().userName, "");
}

TEST(SimulatorClient, SettingsOfTheNewerCamerasAreRead)
{
    CCameraSimulator simulator(OptionsOf("SNC-EP580", AuthenticationScheme::None));
    simulator.Start();
    CameraChange change;
    change.settings = {{"ImageCodec1", "h264"},  {"ImageSize1", "640,480"}, {"FrameRate1", "15"},
                       {"BitRate1", "512"},      {"AudioInVolume", "-4"},   {"McAddress1", "239.1.2.3"},
                       {"McVideoPort1", "2001"}, {"McAudioPort", "2002"},   {"UcVideoPort1", "2003"},
                       {"UcAudioPort", "2004"}};
    change.position = PtzPosition{10.5, -3, 4};
    simulator.Change(change);
    CSimulatorClient client("127.0.0.1", simulator.ControlPort());
    const SimulatedCamera camera = client.Camera();
    EXPECT_EQ(camera.model, "SNC-EP580");
    EXPECT_EQ(camera.settings.picture, (PictureFormat{640, 480, 15, StreamCodec::kH264}));
    EXPECT_EQ(camera.settings.bitRateKbps, 512);
    EXPECT_EQ(camera.settings.audioInVolume, -4);
    EXPECT_EQ(camera.settings.multicastAddress, "239.1.2.3");
    EXPECT_EQ(camera.settings.multicastVideoPort, 2001);
    EXPECT_EQ(camera.settings.multicastAudioPort, 2002);
    EXPECT_EQ(camera.settings.unicastVideoPort, 2003);
    EXPECT_EQ(camera.settings.unicastAudioPort, 2004);
    EXPECT_EQ(camera.position, (CameraPosition{10.5, -3, 4}));
}

TEST(SimulatorClient, OlderCamerasStoreNoHeight)
{
    CCameraSimulator simulator(OptionsOf("SNC-RX550", AuthenticationScheme::None));
    simulator.Start();
    CameraChange change;
    change.settings = {{"ImageCodec", "mpeg4"}, {"M4ImageSize", "320,0"}, {"M4FrameRate", "5"}, {"M4BitRate", "256"}};
    simulator.Change(change);
    const StreamSettings settings = CSimulatorClient("127.0.0.1", simulator.ControlPort()).Camera().settings;
    EXPECT_EQ(settings.picture, (PictureFormat{320, 0, 5, StreamCodec::kMpeg4}));
    EXPECT_EQ(settings.bitRateKbps, 256);
}

TEST(SimulatorClient, EachRequestIsTakenOnce)
{
    CCameraSimulator camera(OptionsOf("SNC-EP580", AuthenticationScheme::Digest));
    const std::uint16_t port = camera.Start();
    CSimulatorClient client("127.0.0.1", camera.ControlPort());
    Ask(port, "/command/inquiry.cgi?inq=system");
    auto requests = client.TakeRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].target, "/command/inquiry.cgi?inq=system");
    EXPECT_EQ(requests[0].status, 401);
    EXPECT_FALSE(requests[0].isAuthorized);
    EXPECT_TRUE(client.TakeRequests().empty());
    Ask(port, "/audio");
    requests = client.TakeRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].target, "/audio");
}

TEST(SimulatorClient, TheCameraItselfIsNoControlEndpoint)
{
    CCameraSimulator camera(OptionsOf("SNC-EP580", AuthenticationScheme::None));
    const std::uint16_t port = camera.Start();
    try
    {
        CSimulatorClient client("127.0.0.1", port);
        FAIL() << "it was taken for one";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_THAT(error.what(), HasSubstr("is that its control endpoint?"));
    }
}
} // namespace
