#include "CameraSim/CameraSimulator.h"

#include "TestClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{

using namespace std::chrono_literals;

constexpr const char* kSystem = "/command/inquiry.cgi?inq=system";

TEST(CameraSimulator, JournalHoldsTheExactRequestAndTheAnswer)
{
    CCameraSimulator camera({.model = "SNC-EP580"});
    CTestClient client(camera.Start());
    const std::string head = "GET /command/inquiry.cgi?inq=system HTTP/1.1\r\nhOST: cam\r\nX-Odd:  a  b \r\n\r\n";
    const auto before = std::chrono::system_clock::now();
    client.Send(head);
    const ClientReply reply = client.Receive();
    const auto journal = camera.Journal();
    ASSERT_EQ(1u, journal.size());
    const JournalEntry& entry = journal[0];
    EXPECT_EQ(1u, entry.number);
    EXPECT_GE(entry.when, before);
    EXPECT_LE(entry.when, std::chrono::system_clock::now());
    EXPECT_EQ(head, entry.request.head);
    EXPECT_EQ("GET", entry.request.method);
    EXPECT_EQ(kSystem, entry.request.target);
    EXPECT_EQ((std::vector<HttpHeader>{{"hOST", "cam"}, {"X-Odd", "a  b"}}), entry.request.headers);
    EXPECT_EQ(1u, entry.request.connection);
    EXPECT_EQ("127.0.0.1", entry.request.peerAddress);
    EXPECT_TRUE(entry.request.fromThisMachine);
    EXPECT_EQ(200u, entry.status);
    EXPECT_EQ(reply.body.size(), entry.bodyBytes);
    EXPECT_EQ(reply.head, entry.answerHead);
    EXPECT_TRUE(entry.authenticated);
    EXPECT_EQ("", entry.note);
}

TEST(CameraSimulator, JournalHoldsUnreadableRequests)
{
    CCameraSimulator camera;
    CTestClient client(camera.Start());
    client.Send("rubbish\r\n\r\n");
    EXPECT_EQ(400u, client.Receive().status);
    const auto journal = camera.Journal();
    ASSERT_EQ(1u, journal.size());
    EXPECT_EQ("rubbish\r\n\r\n", journal[0].request.head);
    EXPECT_EQ(400u, journal[0].status);
    EXPECT_NE("", journal[0].note);
}

TEST(CameraSimulator, JournalCountsOnAcrossAClear)
{
    CCameraSimulator camera;
    CTestClient client(camera.Start());
    client.Get(kSystem);
    camera.ClearJournal();
    EXPECT_TRUE(camera.Journal().empty());
    client.Get("/nowhere");
    ASSERT_EQ(1u, camera.Journal().size());
    EXPECT_EQ(2u, camera.Journal()[0].number);
    EXPECT_EQ("this camera has no nowhere", camera.Journal()[0].note);
    EXPECT_EQ(2u, camera.State().requests);
}

TEST(CameraSimulator, WaitForRequestsEndsWithThemOrWithTheTime)
{
    CCameraSimulator camera;
    CTestClient client(camera.Start());
    EXPECT_FALSE(camera.WaitForRequests(1, 20ms));
    client.SendRequest("GET", kSystem);
    EXPECT_TRUE(camera.WaitForRequests(1, 10s));
    EXPECT_FALSE(camera.WaitForRequests(2, 20ms));
}

TEST(CameraSimulator, EachRequestIsReportedOnce)
{
    std::vector<std::string> seen;
    CCameraSimulator camera({.onRequest = [&](const JournalEntry& entry) { seen.push_back(entry.request.target); }});
    CTestClient client(camera.Start());
    client.Get("/a");
    client.Get("/b");
    camera.Stop();
    EXPECT_EQ((std::vector<std::string>{"/a", "/b"}), seen);
}

TEST(CameraSimulator, ComesBackAtTheSamePortWithItsState)
{
    CCameraSimulator camera({.controlPort = std::uint16_t{0}});
    const std::uint16_t port = camera.Start();
    EXPECT_EQ(port, camera.Start()) << "a second start changes nothing";
    const std::uint16_t controlPort = camera.ControlPort();
    CTestClient client(port);
    EXPECT_EQ(200u, client.Get("/command/camera.cgi?BitRate1=64").status);
    camera.Stop();
    camera.Stop();
    EXPECT_TRUE(client.WaitForClose());
    EXPECT_THROW(CTestClient(port).Get(kSystem), std::system_error) << "nobody listens";
    EXPECT_EQ("64", camera.Setting("BitRate1"));
    EXPECT_EQ(1u, camera.Journal().size());
    EXPECT_EQ(port, camera.Start());
    EXPECT_EQ(controlPort, camera.ControlPort());
    EXPECT_EQ(200u, Fetch(port, kSystem).status);
    EXPECT_EQ(200u, Fetch(controlPort, "/state").status);
}

TEST(CameraSimulator, TwoCamerasDoNotDisturbEachOther)
{
    CCameraSimulator first({.model = "SNC-EP580"});
    CCameraSimulator second({.model = "SNC-RZ25"});
    const std::uint16_t firstPort = first.Start();
    const std::uint16_t secondPort = second.Start();
    EXPECT_NE(firstPort, secondPort);
    Fetch(firstPort, kSystem);
    EXPECT_TRUE(Fetch(secondPort, kSystem).body.starts_with("ModelName=SNC-RZ25&"));
    EXPECT_EQ(1u, first.Journal().size());
    EXPECT_EQ(1u, second.Journal().size());
}

TEST(CameraSimulator, APortInUseIsAnErrorAndTheSimulatorStaysUsable)
{
    CCameraSimulator first;
    const std::uint16_t port = first.Start();
    CCameraSimulator second({.port = port});
    EXPECT_THROW(second.Start(), std::runtime_error);
    CCameraSimulator third({.controlPort = port});
    EXPECT_THROW(third.Start(), std::runtime_error);
    third.Stop();
    first.Stop();
    EXPECT_EQ(port, second.Start());
}

TEST(CameraSimulator, StateIsSafeToUseWhileRequestsRun)
{
    CCameraSimulator camera;
    const std::uint16_t port = camera.Start();
    std::atomic<bool> done = false;
    std::thread watcher([&] {
        while (!done)
        {
            camera.State();
            camera.SetSetting("BitRate1", "64");
            camera.AddFault("delay:1@nowhere*1");
            camera.ClearFaults();
            camera.Journal();
        }
    });
    CTestClient client(port);
    unsigned good = 0;
    for (int i = 0; i < 200; ++i)
        good += client.Get(kSystem).status == 200 ? 1u : 0u;
    done = true;
    watcher.join();
    EXPECT_EQ(200u, good);
}

TEST(CameraSimulator, ManyConnectionsComeAndGo)
{
    CCameraSimulator camera;
    const std::uint16_t port = camera.Start();
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(200u, Fetch(port, kSystem).status) << i;
    EXPECT_EQ(300u, camera.Journal().back().request.connection);
}

} // namespace
