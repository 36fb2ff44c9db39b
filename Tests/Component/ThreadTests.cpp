// Several objects at once, on several threads and in several apartments, towards one camera and towards many.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <map>
#include <thread>

namespace
{
constexpr int kThreads = 8;
constexpr int kRounds = 10;

class Threads : public ComponentTest
{
protected:
    /// One thread's work with objects of its own; the number of calls that did not succeed.
    static int Work(const std::vector<WORD>& ports, int offset, const wchar_t* user, const wchar_t* password)
    {
        const CApartment apartment;
        int failures = 0;
        for (int round = 0; round < kRounds; ++round)
        {
            const WORD port = ports[static_cast<std::size_t>(offset + round) % ports.size()];
            const CommandPointer command = CreateCommand();
            CameraSettings3 settings = {};
            failures += Open(command, port, user, password) == S_OK ? 0 : 1;
            failures += command->ConnectToCamera() == S_OK ? 0 : 1;
            failures += command->GetCameraSettings3(&settings) == S_OK ? 0 : 1;
            failures += command->SetAudioInVolume(round % 10) == S_OK ? 0 : 1;
            failures += command->SendPTZStopCommand(PTZ_LEFT) == S_OK ? 0 : 1;
            ::SysFreeString(settings.MulticastAddress);
        }
        return failures;
    }

    static int WorkOnAllThreads(const std::vector<WORD>& ports, const wchar_t* user = L"",
                                const wchar_t* password = L"")
    {
        std::atomic<int> failures{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([&, i] { failures += Work(ports, i, user, password); });
        for (std::thread& thread : threads)
            thread.join();
        return failures;
    }

    /// How often the camera got a request of this beginning.
    static int Count(const CCameraSimulator& camera, const std::string& start)
    {
        int count = 0;
        for (const std::string& head : RequestHeads(camera))
            count += RequestOf(head).starts_with(start) ? 1 : 0;
        return count;
    }
};

TEST_F(Threads, ManyObjectsTowardsOneCamera)
{
    CCameraSimulator camera;
    const WORD port = camera.Start();
    EXPECT_EQ(0, WorkOnAllThreads({port}));
    constexpr int kObjects = kThreads * kRounds;
    EXPECT_EQ(kObjects, Count(camera, "command/inquiry.cgi?inq=system"));
    EXPECT_EQ(kObjects, Count(camera, "command/inquiry.cgi?inq=camera"));
    EXPECT_EQ(kObjects, Count(camera, "command/camera.cgi?AudioInVolume="));
    EXPECT_EQ(kObjects, Count(camera, "command/ptzf.cgi?Move=stop,motor"));
}

TEST_F(Threads, ManyObjectsTowardsManyCamerasWithDigest)
{
    AuthenticationOptions digest;
    digest.scheme = AuthenticationScheme::Digest;
    std::deque<CCameraSimulator> cameras;
    std::vector<WORD> ports;
    for (const char* model : {"SNC-EP580", "SNC-RX550", "SNC-EP520"})
    {
        cameras.emplace_back(CameraSimulatorOptions{.model = model, .authentication = digest});
        ports.push_back(cameras.back().Start());
    }
    EXPECT_EQ(0, WorkOnAllThreads(ports, L"admin", L"admin"));
    int objects = 0;
    for (const CCameraSimulator& camera : cameras)
        objects += Count(camera, "command/ptzf.cgi?Move=stop,motor");
    EXPECT_EQ(kThreads * kRounds, objects);
}

TEST_F(Threads, CallsOnOneObjectDoNotOverlap)
{
    // A raw pointer across threads, as the interfaces have no proxy; the object's own lock is what is tested.
    CCameraSimulator camera;
    const CommandPointer command = CreateCommand();
    ASSERT_EQ(S_OK, Open(command, camera.Start()));
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round)
                failures += command->SetAudioInVolume(round % 10) == S_OK ? 0 : 1;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, failures);
    EXPECT_EQ(1, Count(camera, "command/inquiry.cgi?inq=system")) << "the first call finds the family for all";
    EXPECT_EQ(kThreads * kRounds, Count(camera, "command/camera.cgi?AudioInVolume="));
    EXPECT_EQ(1u, camera.Journal().back().request.connection) << "one request at a time needs one connection";
}

TEST_F(Threads, SilentCameraHoldsUpNobodyElse)
{
    CCameraSimulator healthy;
    CCameraSimulator silent;
    const WORD healthyPort = healthy.Start();
    const WORD silentPort = silent.Start();
    const CommandPointer command = CreateCommand();
    ASSERT_EQ(S_OK, Open(command, healthyPort));
    ASSERT_EQ(S_OK, command->ConnectToCamera());

    HRESULT waited = E_PENDING;
    std::atomic<bool> isWaiting{true};
    std::thread waiter([&] {
        const CApartment apartment;
        const CommandPointer other = CreateCommand();
        if (SUCCEEDED(Open(other, silentPort)) && SUCCEEDED(other->ConnectToCamera()))
        {
            silent.AddFault("silent");
            waited = other->SetAudioInVolume(1);
        }
        isWaiting = false;
    });
    ASSERT_TRUE(silent.WaitForRequests(3, std::chrono::seconds(20)));
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(S_OK, command->SetAudioInVolume(1));
    EXPECT_TRUE(isWaiting) << "twenty calls in the time of one that waits four seconds";
    waiter.join();
    EXPECT_EQ(kTimedOut, waited);
}
} // namespace
