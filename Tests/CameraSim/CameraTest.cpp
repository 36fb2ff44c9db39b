#include "CameraSim/CameraSimulator.h"

#include "TestClient.h"

#include <gtest/gtest.h>

namespace
{

TEST(CameraSimulator, InquiryIsAnsweredAndJournalled)
{
    CCameraSimulator camera({.model = "SNC-EP580"});
    const std::uint16_t port = camera.Start();
    const ClientReply reply = Fetch(port, "/command/inquiry.cgi?inq=system");
    EXPECT_EQ(200u, reply.status);
    EXPECT_EQ("ModelName=SNC-EP580&Serial=1000001&SoftVersion=1.50.00&HardVersion=1.00", reply.body);
    ASSERT_EQ(1u, camera.Journal().size());
    const JournalEntry entry = camera.Journal()[0];
    EXPECT_EQ("GET /command/inquiry.cgi?inq=system HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n", entry.request.head);
    EXPECT_EQ(200u, entry.status);
}

TEST(CameraSimulator, SettingsChangeAndAreReadBack)
{
    CCameraSimulator camera({.model = "SNC-EP580"});
    CTestClient client(camera.Start());
    EXPECT_EQ(200u, client.Get("/command/camera.cgi?ImageCodec1=mpeg4&ImageSize1=640%2C480&FrameRate1=15").status);
    const std::string line = client.Get("/command/inquiry.cgi?inq=camera").body;
    EXPECT_NE(std::string::npos, line.find("ImageCodec1=mpeg4&ImageSize1=640,480&FrameRate1=15&")) << line;
    EXPECT_EQ(400u, client.Get("/command/camera.cgi?ImageSize1=641%2C480").status);
    EXPECT_EQ("640,480", camera.Setting("ImageSize1"));
}

} // namespace
