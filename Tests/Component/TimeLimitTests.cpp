// How long a call waits for a silent camera. Cameras that are waited for at the same time share the waiting, so each
// test runs its objects side by side, each on a thread and in an apartment of its own.

#include "Tests/Component/LastingCamera.h"

#include <chrono>
#include <functional>
#include <iostream>
#include <thread>

namespace
{
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// What one object did on its thread.
struct Outcome
{
    HRESULT hr = E_PENDING;
    Milliseconds elapsed{0};
};

using Call = std::function<HRESULT(IAVCommand5*)>;

/// Finds the camera's family, then makes the call.
Outcome Measure(const CScriptedCamera& camera, const Call& call)
{
    const CApartment apartment;
    const CommandPointer command = CreateCommand();
    Outcome outcome;
    if (FAILED(Open(command, camera.Port())) || FAILED(command->PauseStreaming()))
        return outcome;
    const auto start = Clock::now();
    outcome.hr = call(command.get());
    outcome.elapsed = std::chrono::duration_cast<Milliseconds>(Clock::now() - start);
    return outcome;
}

HRESULT ReadSettings(IAVCommand5* command)
{
    CameraSettings3 settings = {};
    const HRESULT hr = command->GetCameraSettings3(&settings);
    ::SysFreeString(settings.MulticastAddress);
    return hr;
}

class TimeLimit : public LastingCameraTest
{
};

TEST_F(TimeLimit, EachRequestHasItsOwn)
{
    const struct
    {
        const char* name;
        const char* model;
        Call call;
        Milliseconds limit;
    } rows[] = {
        {"bit rate", "SNC-EP580", [](auto c) { return c->SetBitRate(64); }, Milliseconds(4000)},
        {"step", "SNC-EP580", [](auto c) { return c->SendPTZCommand(PTZ_LEFT, PT_10); }, Milliseconds(4000)},
        {"video", "SNC-RZ25", [](auto c) { return c->StartMpeg4Video(); }, Milliseconds(4000)},
        {"size", "SNC-EP580", [](auto c) { return c->SetImageSize(640, 480, 30); }, Milliseconds(5000)},
        {"size of a slow model", "SNC-RZ25", [](auto c) { return c->SetImageSize(640, 480, 30); }, Milliseconds(10000)},
        {"settings", "SNC-EP580", ReadSettings, Milliseconds(10000)},
    };
    Outcome outcomes[std::size(rows)];
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < std::size(rows); ++i)
    {
        const CScriptedCamera& camera = MakeCamera({ProbeReply(rows[i].model), Silence()});
        threads.emplace_back(
            [&outcome = outcomes[i], &camera, &call = rows[i].call] { outcome = Measure(camera, call); });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < std::size(rows); ++i)
    {
        SCOPED_TRACE(rows[i].name);
        EXPECT_EQ(kTimedOut, outcomes[i].hr);
        EXPECT_GE(outcomes[i].elapsed, rows[i].limit);
        EXPECT_LT(outcomes[i].elapsed, rows[i].limit + Milliseconds(900)) << "closer to this limit than to the next";
    }
}

const std::string kSettings =
    "VideoStd=ntsc&ImageCodec1=h264&ImageSize1=1280,720&FrameRate1=15&BitRate1=4096&AutoRateCtrl1=off"
    "&McAddress1=239.192.0.101&McVideoPort1=61000&McAudioPort=61002&UcVideoPort1=51000&UcAudioPort=51002"
    "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=-4";

TEST_F(TimeLimit, SettingsAreAskedForAnewAfterTenSeconds)
{
    m_registry.SetText(kTimeLimit, L"10100");
    const CScriptedCamera& camera =
        MakeCamera({ProbeReply(), HttpAnswer(200, kSettings), Silence(), HttpAnswer(200, kSettings)});
    const CommandPointer command = OpenTo(camera);
    ASSERT_EQ(S_OK, ReadSettings(command.get()));
    ASSERT_EQ(S_OK, ReadSettings(command.get()));
    EXPECT_EQ(2u, camera.Requests().size());
    // A failed change leaves the cache alone; it only takes its time.
    ASSERT_EQ(kTimedOut, command->SetAudioInVolume(1));
    m_registry.Remove(kTimeLimit);
    EXPECT_EQ(S_OK, ReadSettings(command.get()));
    EXPECT_EQ(4u, camera.Requests().size());
    EXPECT_EQ("command/inquiry.cgi?inq=camera", RequestOf(camera.Requests().back()));
}

ScriptedReply Dripping(std::size_t pieceBytes, unsigned pauseMs, bool headAtOnce)
{
    ScriptedReply reply = HttpAnswer(200, std::string(4'000'000, 'x'));
    reply.pieceBytes = pieceBytes;
    reply.pauseMs = pauseMs;
    reply.wholeBytes = headAtOnce ? reply.bytes.find("\r\n\r\n") + 4 : 0;
    return reply;
}

TEST_F(TimeLimit, HoldsForACameraThatDrips)
{
    constexpr Milliseconds kLimit{400};
    const struct
    {
        const char* reason;
        ScriptedReply reply;
        HRESULT hr;
        Milliseconds held;
    } rows[] = {
        {"a byte of the header each second", Dripping(1, 1000, false), kTimedOut, kLimit},
        {"a byte of the body each second", Dripping(1, 1000, true), E_FAIL, kLimit},
        {"a buffer of the body in time, again and again", Dripping(5000, 200, true), E_FAIL, 16 * kLimit},
    };
    m_registry.SetText(kTimeLimit, L"400");
    Outcome outcomes[std::size(rows)];
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < std::size(rows); ++i)
    {
        const CScriptedCamera& camera = MakeCamera({ProbeReply(), rows[i].reply});
        threads.emplace_back([&, i] { outcomes[i] = Measure(camera, [](auto c) { return c->SetAudioInVolume(1); }); });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < std::size(rows); ++i)
    {
        EXPECT_EQ(rows[i].hr, outcomes[i].hr) << rows[i].reason;
        EXPECT_GE(outcomes[i].elapsed, rows[i].held) << rows[i].reason;
        EXPECT_LT(outcomes[i].elapsed, rows[i].held + Milliseconds(1500)) << rows[i].reason;
        std::cout << rows[i].reason << ": held for " << outcomes[i].elapsed.count() << " ms\n";
    }
    EXPECT_EQ(1u, m_log.Count("8 CAsyncHttpRequest::SendRequest, response not complete after 6400 ms, given up, url = "
                              "'command/camera.cgi?AudioInVolume=1'"));
}

TEST_F(TimeLimit, RegistryReplacesIt)
{
    constexpr Milliseconds kReplyAfter{600};
    const struct
    {
        const char* reason;
        std::function<void(CTestRegistryKey&)> set;
        HRESULT hr; ///< from a camera that answers after 600 ms
    } rows[] = {
        {"absent", [](auto&) {}, S_OK},
        {"shorter", [](auto& key) { key.SetText(kTimeLimit, L"200"); }, kTimedOut},
        {"expandable", [](auto& key) { key.SetText(kTimeLimit, L"200", REG_EXPAND_SZ); }, kTimedOut},
        {"leading digits", [](auto& key) { key.SetText(kTimeLimit, L" 200 ms"); }, kTimedOut},
        {"zero", [](auto& key) { key.SetText(kTimeLimit, L"0"); }, S_OK},
        {"negative", [](auto& key) { key.SetText(kTimeLimit, L"-200"); }, S_OK},
        {"no number", [](auto& key) { key.SetText(kTimeLimit, L"soon"); }, S_OK},
        {"empty", [](auto& key) { key.SetText(kTimeLimit, L""); }, S_OK},
        {"number of another type", [](auto& key) { key.SetDword(kTimeLimit, 200); }, S_OK},
        {"bytes", [](auto& key) { key.SetBytes(kTimeLimit, REG_BINARY, L"200", 8); }, S_OK},
        {"several texts", [](auto& key) { key.SetBytes(kTimeLimit, REG_MULTI_SZ, L"200\0", 10); }, S_OK},
        {"not terminated", [](auto& key) { key.SetBytes(kTimeLimit, REG_SZ, L"200", 6); }, S_OK},
        {"half a character", [](auto& key) { key.SetBytes(kTimeLimit, REG_SZ, L"200", 7); }, S_OK},
        {"longer than the buffer", [](auto& key) { key.SetText(kTimeLimit, std::wstring(300, L'0') + L"200"); }, S_OK},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        CScriptedCamera& camera = MakeCamera({ProbeReply()});
        const CommandPointer command = OpenTo(camera);
        ASSERT_EQ(S_OK, command->PauseStreaming());
        ScriptedReply late = HttpAnswer(200, "");
        late.held = true;
        camera.Enqueue(late);
        m_registry.Remove(kTimeLimit);
        row.set(m_registry);
        std::thread release([&] {
            // Counted from the arrival of the request.
            if (camera.WaitForRequests(2))
                camera.WaitForRequests(3, static_cast<DWORD>(kReplyAfter.count()));
            camera.ReleaseHeld();
        });
        EXPECT_EQ(row.hr, command->SetAudioInVolume(1));
        release.join();
        m_registry.Remove(kTimeLimit);
    }
}

TEST_F(TimeLimit, RegistryMayMakeItLonger)
{
    m_registry.SetText(kTimeLimit, L"15000");
    CScriptedCamera& camera = MakeCamera({ProbeReply()});
    const CommandPointer command = OpenTo(camera);
    ASSERT_EQ(S_OK, command->PauseStreaming());
    ScriptedReply late = HttpAnswer(200, "");
    late.held = true;
    camera.Enqueue(late);
    std::thread release([&] {
        if (camera.WaitForRequests(2))
            camera.WaitForRequests(3, 4500);
        camera.ReleaseHeld();
    });
    EXPECT_EQ(S_OK, command->SetAudioInVolume(1)) << "later than the usual four seconds";
    release.join();
}
} // namespace
