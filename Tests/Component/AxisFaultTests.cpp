// Everything that an Axis camera can do wrong: the call ends in bounded time with the right result, and the object
// works again as soon as the camera does. Then several objects at once.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <chrono>
#include <thread>

namespace
{
/// Connecting may wait twice before it gives up; the rest is for a loaded machine.
constexpr std::chrono::seconds kConnectBound{8};

struct AxisRow
{
    const char* fault;
    HRESULT connect;  ///< fails with its second list
    HRESULT settings; ///< of GetCameraSettings3, whose answer is the body
    HRESULT move;     ///< of SendPTZStartCommand, whose answer has no body
    bool isLate = false;
};

constexpr AxisRow kAxisRows[] = {
    {"delay:200", S_OK, S_OK, S_OK},
    {"delay:1500", kTimedOut, kTimedOut, kTimedOut, true},
    {"drop", E_FAIL, E_FAIL, E_FAIL},
    {"drop-in-headers", kDoneOrFailed, kFailure, kDoneOrFailed},
    {"garbage", kDoneOrFailed, kFailure, kDoneOrFailed},
    {"silent", kTimedOut, kTimedOut, kTimedOut, true},
    {"status:401", E_FAIL, E_FAIL, E_FAIL},
    {"status:500", S_OK, E_FAIL, S_OK}, // an answer, if one that says nothing
    {"status:503", E_FAIL, E_FAIL, E_FAIL},
    {"no-challenge", E_FAIL, E_FAIL, E_FAIL},
    {"big-body:8000000@axis-cgi/imagesize.cgi", S_OK, E_FAIL, S_OK},
    {"chunked:7", S_OK, S_OK, S_OK},
    {"body:image width = 8", S_OK, E_FAIL, S_OK},
};

class AxisFaults : public SimulatedCameraTest, public testing::WithParamInterface<AxisRow>
{
protected:
    void SetUp() override
    {
        StartConnected({.model = "AXIS M5525-E"});
    }

    HRESULT ReadSettings()
    {
        CameraSettings3 settings = {};
        return m_command->GetCameraSettings3(&settings);
    }

    template <class Call>
    void ExpectResult(HRESULT expected, Call call, const char* name)
    {
        SCOPED_TRACE(name);
        m_camera->AddFault(GetParam().fault);
        if (GetParam().isLate)
            m_registry.SetText(kTimeLimit, kShortLimitMs);
        const auto start = std::chrono::steady_clock::now();
        const HRESULT hr = call();
        EXPECT_LT(std::chrono::steady_clock::now() - start, kConnectBound);
        if (expected == kFailure)
            EXPECT_TRUE(FAILED(hr));
        else if (expected == kDoneOrFailed)
            EXPECT_TRUE(hr == S_OK || hr == E_FAIL) << std::hex << hr;
        else
            EXPECT_EQ(expected, hr) << std::hex << hr;
        m_camera->ClearFaults();
        m_registry.Remove(kTimeLimit);
        EXPECT_EQ(S_OK, ReadSettings()) << "once the camera is well again";
    }
};

TEST_P(AxisFaults, LeaveTheObjectUsable)
{
    ExpectResult(
        GetParam().connect, [&] { return m_command->ConnectToCamera(); }, "ConnectToCamera");
    ExpectResult(
        GetParam().settings, [&] { return ReadSettings(); }, "GetCameraSettings3");
    ExpectResult(
        GetParam().move, [&] { return m_command->SendPTZStartCommand(PTZ_UPPER, 5); }, "SendPTZStartCommand");
}

INSTANTIATE_TEST_SUITE_P(All, AxisFaults, testing::ValuesIn(kAxisRows), [](const auto& test) {
    std::string name = test.param.fault;
    std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
    return name;
});

class AxisThreads : public SimulatedCameraTest
{
};

TEST_F(AxisThreads, ManyObjectsTowardsOneCamera)
{
    constexpr int kObjects = 4;
    AuthenticationOptions options;
    options.scheme = AuthenticationScheme::Digest;
    CCameraSimulator camera({.model = "AXIS P5635-E", .authentication = options});
    const WORD port = camera.Start();
    std::vector<std::vector<HRESULT>> results(kObjects);
    std::vector<std::thread> threads;
    for (std::vector<HRESULT>& mine : results)
    {
        threads.emplace_back([&mine, port] {
            const CApartment apartment;
            const CommandPointer command = CreateCommand();
            mine.push_back(Open(command, port, L"admin", L"admin"));
            mine.push_back(command->ConnectToCamera());
            for (long volume = 0; volume < 5; ++volume)
                mine.push_back(command->SetAudioInVolume(volume));
            CameraSettings3 settings = {};
            mine.push_back(command->GetCameraSettings3(&settings));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const std::vector<HRESULT>& mine : results)
        EXPECT_THAT(mine, testing::AllOf(testing::SizeIs(8), testing::Each(S_OK)));
    std::size_t countAccepted = 0;
    for (const JournalEntry& entry : camera.Journal())
        countAccepted += entry.status == 200 ? 1 : 0;
    // Of each object: the second probe, seven lists and the low-latency mode, five volumes, size and rate.
    EXPECT_EQ(std::size_t{kObjects} * (1 + 7 + 1 + 5 + 2), countAccepted);
}
} // namespace
