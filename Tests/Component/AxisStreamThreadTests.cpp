// Several objects on several threads stream at once, from one Axis camera and from several.

#include "Tests/Component/AxisStreamFixture.h"

#include <atomic>
#include <barrier>
#include <deque>
#include <thread>

namespace
{
class AxisStreamThreads : public ComponentTest
{
protected:
    /// As many threads, each in an apartment of its own; how many calls of all did not succeed.
    template <class Work>
    static int OnThreads(int count, Work work)
    {
        std::atomic<int> failures{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i)
        {
            threads.emplace_back([&, i] {
                const CApartment apartment;
                failures += work(i);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        return failures;
    }
    static int Failed(HRESULT hr)
    {
        return hr == S_OK ? 0 : 1;
    }
    static int SetUpStream(const CommandPointer& command, LONG streamId, WORD port)
    {
        CTransport transport(port);
        return Failed(command->SetupTransport(streamId, transport.Record()));
    }
    static std::size_t Count(const CCameraSimulator& camera, const std::string& beginning)
    {
        std::size_t count = 0;
        for (const std::string& head : RequestHeads(camera))
            count += head.starts_with(beginning) ? 1 : 0;
        return count;
    }
    static void MakeSmall(CCameraSimulator& camera)
    {
        camera.SetSetting("Image.I0.Appearance.Resolution", "480x270");
    }
};

TEST_F(AxisStreamThreads, ObjectsOfOneCameraPlayTogether)
{
    constexpr int kObjects = 6;
    constexpr int kRounds = 3;
    CCameraSimulator camera({.model = "AXIS P5635-E"});
    const WORD port = camera.Start();
    MakeSmall(camera);
    std::atomic<int> videoObjects{0};
    std::atomic<int> audioObjects{0};
    std::barrier together(kObjects);
    EXPECT_EQ(0, OnThreads(kObjects, [&](int index) {
                  int failures = 0;
                  const LONG streamId = index % 2 == 0 ? kVideo : kAudio;
                  for (int round = 0; round < kRounds; ++round)
                  {
                      const CRtpReceiver receiver;
                      const CommandPointer command = CreateCommand();
                      failures += Failed(Open(command, port));
                      failures += Failed(command->ConnectToRtspServer(TRUE));
                      together.arrive_and_wait(); // all have joined, or a quick one would play before the others
                      failures += SetUpStream(command, streamId, receiver.Port());
                      failures += Failed(command->StartMpeg4Video());
                      together.arrive_and_wait();
                      // The camera sends each of the two streams where it was set up last.
                      if (!receiver.Receive().empty())
                          ++(streamId == kVideo ? videoObjects : audioObjects);
                      CH264Parameters parameters;
                      failures += Failed(command->GetH264Parameters(&parameters));
                      together.arrive_and_wait(); // the next round begins with a session of its own
                      failures += Failed(command->CloseConnection());
                      together.arrive_and_wait();
                  }
                  return failures;
              }));
    EXPECT_EQ(kRounds, videoObjects);
    EXPECT_EQ(kRounds, audioObjects);
    EXPECT_EQ(static_cast<std::size_t>(kRounds), Count(camera, "GET /axis-media/")) << "one tunnel a round";
    EXPECT_EQ(static_cast<std::size_t>(kRounds), Count(camera, "DESCRIBE "));
    EXPECT_EQ(static_cast<std::size_t>(kRounds * kObjects), Count(camera, "SETUP "));
    EXPECT_EQ(0u, Count(camera, "TEARDOWN "));
}

TEST_F(AxisStreamThreads, ObjectsComeAndGoAsTheyLike)
{
    // The session is made and destroyed while others join, describe and leave.
    constexpr int kObjects = 6;
    constexpr int kRounds = 8;
    CCameraSimulator camera({.model = "AXIS P5635-E"});
    const WORD port = camera.Start();
    MakeSmall(camera);
    EXPECT_EQ(0, OnThreads(kObjects, [&](int index) {
                  int failures = 0;
                  for (int round = 0; round < kRounds; ++round)
                  {
                      const CommandPointer command = CreateCommand();
                      CH264Parameters parameters;
                      failures += Failed(Open(command, port));
                      failures += Failed(command->ConnectToRtspServer(index % 2));
                      failures += Failed(command->GetH264Parameters(&parameters));
                      if (round % 2 == 0)
                          failures += Failed(command->CloseConnection());
                  }
                  return failures;
              }));
    const std::size_t tunnels = Count(camera, "GET /axis-media/");
    EXPECT_LE(1u, tunnels);
    EXPECT_EQ(tunnels, Count(camera, "DESCRIBE ")) << "one for each session, whoever asks first";
}

TEST_F(AxisStreamThreads, CamerasOfDifferentNamesStreamAtOnce)
{
    // Sessions are told apart by the camera's name, in its exact letters.
    const wchar_t* const names[] = {L"127.0.0.1", L"localhost", L"LocalHost"};
    constexpr int kCameras = 3;
    constexpr int kRounds = 3;
    std::deque<CCameraSimulator> cameras;
    for (int i = 0; i < kCameras; ++i)
    {
        cameras.emplace_back(CameraSimulatorOptions{.model = "AXIS P5635-E"});
        cameras.back().Start();
        MakeSmall(cameras.back());
    }
    EXPECT_EQ(0, OnThreads(kCameras, [&](int index) {
                  const CCameraSimulator& camera = cameras[static_cast<std::size_t>(index)];
                  int failures = 0;
                  for (int round = 0; round < kRounds; ++round)
                  {
                      const CRtpReceiver video;
                      const CRtpReceiver audio;
                      const CommandPointer command = CreateCommand();
                      failures += Failed(Open(command, camera.Port(), L"", L"", names[index]));
                      failures += Failed(command->ConnectToRtspServer(TRUE));
                      failures += SetUpStream(command, kVideo, video.Port());
                      failures += SetUpStream(command, kAudio, audio.Port());
                      failures += Failed(command->StartMpeg4Video());
                      failures += video.Receive().empty() ? 1 : 0;
                      failures += audio.Receive().empty() ? 1 : 0;
                      failures += Failed(command->StopStreaming());
                  }
                  return failures;
              }));
    for (const CCameraSimulator& camera : cameras)
    {
        EXPECT_EQ(static_cast<std::size_t>(kRounds), Count(camera, "GET /axis-media/"));
        EXPECT_EQ(static_cast<std::size_t>(kRounds), Count(camera, "PLAY "));
        EXPECT_EQ(static_cast<std::size_t>(kRounds), Count(camera, "TEARDOWN "));
    }
}
} // namespace
