// Everything that a camera can do wrong: the call ends in bounded time with the right result, and the object works
// again as soon as the camera does.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <chrono>

namespace
{
/// One call may wait for the headers twice and for the body; the rest is for a loaded machine.
constexpr std::chrono::seconds kBound{8};

struct Row
{
    const char* fault;
    HRESULT volume;   ///< of SetAudioInVolume, whose answer has no body
    HRESULT settings; ///< of GetCameraSettings3, whose answer is the body
    HRESULT step;     ///< of SendPTZCommand
    bool isLate = false;
};

constexpr HRESULT kNotCalled = 3;

constexpr Row kRows[] = {
    {"delay:200", S_OK, S_OK, S_OK},
    {"delay:1500", kTimedOut, kTimedOut, kTimedOut, true},
    {"body-delay:1500", kNotCalled, E_FAIL, kNotCalled, true},
    {"drip:0", S_OK, S_OK, S_OK}, // some hundred writes
    {"drip:50", kTimedOut, kTimedOut, kTimedOut, true},
    {"drop", E_FAIL, E_FAIL, E_FAIL},
    {"drop-in-headers", kDoneOrFailed, kFailure, kDoneOrFailed},
    {"drop-after-headers", S_OK, kFailure, S_OK},
    {"garbage", kDoneOrFailed, kFailure, kDoneOrFailed},
    {"silent", kTimedOut, kTimedOut, kTimedOut, true},
    {"status:400", E_FAIL, E_FAIL, E_FAIL},
    {"status:500", S_OK, E_FAIL, S_OK},
    {"status:503", E_FAIL, E_FAIL, E_FAIL},
    {"status:999", E_FAIL, E_FAIL, E_FAIL},
    {"no-challenge", E_FAIL, E_FAIL, E_FAIL},
    {"truncate", kDoneOrFailed, kFailure, kDoneOrFailed},
    {"big-body:8000000", S_OK, E_UNEXPECTED, S_OK},
    {"big-body:16777217", kNotCalled, E_FAIL, kNotCalled}, // more than is taken from any camera
    {"chunked:7", S_OK, S_OK, S_OK},
    {"body:&&&===&McAddress1", S_OK, E_UNEXPECTED, S_OK},
};

class Faults : public SimulatedCameraTest, public testing::WithParamInterface<Row>
{
protected:
    void SetUp() override
    {
        m_registry.SetDword(kUseCache, 0);
        StartConnected();
    }

    HRESULT ReadSettings()
    {
        CameraSettings3 settings = {};
        const HRESULT hr = m_command->GetCameraSettings3(&settings);
        ::SysFreeString(settings.MulticastAddress);
        return hr;
    }

    template <class Call>
    void ExpectResult(HRESULT expected, Call call, const char* name)
    {
        if (expected == kNotCalled)
            return;
        SCOPED_TRACE(name);
        if (GetParam().isLate)
            m_registry.SetText(kTimeLimit, kShortLimitMs);
        const auto start = std::chrono::steady_clock::now();
        const HRESULT hr = call();
        EXPECT_LT(std::chrono::steady_clock::now() - start, kBound);
        switch (expected)
        {
        case kFailure:
            EXPECT_TRUE(FAILED(hr));
            break;
        case kDoneOrFailed:
            EXPECT_TRUE(hr == S_OK || hr == E_FAIL) << std::hex << hr;
            break;
        default:
            EXPECT_EQ(expected, hr) << std::hex << hr;
        }
        m_camera->ClearFaults();
        m_registry.Remove(kTimeLimit);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(S_OK, ReadSettings()) << "once the camera is well again";
        m_camera->AddFault(GetParam().fault);
    }
};

TEST_P(Faults, LeaveTheObjectUsable)
{
    m_camera->AddFault(GetParam().fault);
    ExpectResult(
        GetParam().volume, [&] { return m_command->SetAudioInVolume(3); }, "SetAudioInVolume");
    ExpectResult(
        GetParam().settings, [&] { return ReadSettings(); }, "GetCameraSettings3");
    ExpectResult(
        GetParam().step, [&] { return m_command->SendPTZCommand(PTZ_LEFT, PT_10); }, "SendPTZCommand");
}

INSTANTIATE_TEST_SUITE_P(All, Faults, testing::ValuesIn(kRows), [](const auto& test) {
    std::string name = test.param.fault;
    std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
    return name;
});
} // namespace
