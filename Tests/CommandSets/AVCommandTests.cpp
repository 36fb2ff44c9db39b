// The command object alone: whom it asks, in which order, and what it passes on. Its command sets are fakes, and it
// sends nothing.

#include "AVCommand.h"

#include "ComHosting/ComObject.h"
#include "Tests/CommandSets/FakeCommandSets.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/ImportPatch.h"
#include "Win32/ComMemory.h"
#include "Win32/ComPointer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

QUORVANE_IMPORT_SLOT(s_sleepSlot, Sleep, 4);

namespace
{
template <int family>
std::unique_ptr<CCgiCommandBase> CreateFake(CAsyncHttpRequest& httpRequest)
{
    return std::make_unique<CFakeCommandSet>(httpRequest, family);
}

constexpr CommandSetFamily kFakeFamilies[] = {
    {L"FIRST", &CreateFake<1>},
    {L"SECOND", &CreateFake<2>},
};
} // namespace

// Takes the place of the component's own: the linker leaves a library's CommandSetFamilies.cpp out when the program
// brings the function itself.
std::span<const CommandSetFamily> CommandSetFamilies() noexcept
{
    return kFakeFamilies;
}

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const auto s_sleep = reinterpret_cast<decltype(&::Sleep)>(s_sleepSlot);

/// Notes the pause between two passes among the probes, and does not make it.
void WINAPI RecordPause(DWORD limitMs)
{
    if (limitMs < 1000)
        s_sleep(limitMs);
    else
        FakeCommandSets::Get().families.push_back("pause " + std::to_string(limitMs));
}

constexpr wchar_t kServer[] = L"127.0.0.1";
constexpr WORD kPort = 8554;

class AVCommand : public testing::Test
{
protected:
    using Interfaces = ComInterfaceChain<IAVCommand5, IAVCommand4, IAVCommand3, IAVCommand2, IAVCommand>;

    AVCommand()
    {
        m_fakes = FakeCommandSets();
        EXPECT_EQ(S_OK, (CreateComObject<CAVCommand, Interfaces>(nullptr, __uuidof(IAVCommand5), m_command.putVoid())));
    }
    HRESULT Open(const wchar_t* server = kServer, WORD port = kPort, const wchar_t* user = L"user",
                 const wchar_t* password = L"password")
    {
        return m_command->OpenConnection(MakeBstr(server).get(), port, MakeBstr(user).get(), MakeBstr(password).get());
    }
    std::vector<std::string> TakeOperations()
    {
        return std::exchange(m_fakes.operations, {});
    }
    std::vector<std::string> TakeFamilies()
    {
        return std::exchange(m_fakes.families, {});
    }

    FakeCommandSets& m_fakes = FakeCommandSets::Get();
    CLogCapture m_log;
    CImportPatch m_pauses{&s_sleepSlot, &RecordPause};
    CComPointer<IAVCommand5> m_command;
};

/// The records and variables that a call is given; what matters is where they are.
struct Outputs
{
    ImageSize2* sizes = nullptr;
    long* rates = nullptr;
    long count = 0;
    ImageSize2 size = {};
    CameraSettings3 settings = {};
    TransportParameters transport = {};
    H264Parameters h264 = {};
};

struct Call
{
    std::string operation;
    std::function<HRESULT(IAVCommand5&)> call;
};

/// Each method that takes numbers only, with arguments that cannot be mistaken for one another.
std::vector<Call> CallsWithNumbers()
{
    return {
        {"ConnectToCamera", [](auto& c) { return c.ConnectToCamera(); }},
        {"StartVideo 1 0", [](auto& c) { return c.StartMpeg4Video(); }},
        {"StartAudio 1 0", [](auto& c) { return c.StartAudio(); }},
        {"IsImageSizeSupported 640 480 30 1", [](auto& c) { return c.IsImageSizeSupported(640, 480, 30); }},
        {"SetImageSize 640 480 30 1", [](auto& c) { return c.SetImageSize(640, 480, 30); }},
        {"SetBitRate 2048", [](auto& c) { return c.SetBitRate(2048); }},
        {"SendPTZCommand 9 7", [](auto& c) { return c.SendPTZCommand(PTZ_UPPER_RIGHT, PT_60); }},
        {"SendPTZAreaZoomCommand 1 2 3 4", [](auto& c) { return c.SendPTZAreaZoomCommand(1, 2, 3, 4); }},
        {"SendPTZStartCommand 4 37", [](auto& c) { return c.SendPTZStartCommand(PTZ_LEFT, 37); }},
        {"SendPTZStartCommand 4 0", [](auto& c) { return c.SendPTZStartCommand(PTZ_LEFT, -5); }},
        {"SendPTZStartCommand 4 100", [](auto& c) { return c.SendPTZStartCommand(PTZ_LEFT, 250); }},
        {"SendPTZStopCommand 11", [](auto& c) { return c.SendPTZStopCommand(PTZ_ZOOM_TELE); }},
        {"StartVideo 1 4711", [](auto& c) { return c.StartMpeg4Video2(2, 4711); }},
        {"StartVideo 0 65535", [](auto& c) { return c.StartMpeg4Video2(FALSE, 65535); }},
        {"StartAudio 1 4711", [](auto& c) { return c.StartAudio2(TRUE, 4711); }},
        {"StartAudio 0 65535", [](auto& c) { return c.StartAudio2(FALSE, 65535); }},
        {"SetAudioInVolume -10", [](auto& c) { return c.SetAudioInVolume(-10); }},
        {"IsImageSizeSupported 1 2 3 2", [](auto& c) { return c.IsImageSizeSupported2(1, 2, 3, VC_H264); }},
        {"IsImageSizeSupported 1 2 3 0", [](auto& c) { return c.IsImageSizeSupported2(1, 2, 3, VC_None); }},
        {"SetImageSize 1 2 3 2", [](auto& c) { return c.SetImageSize2(1, 2, 3, VC_H264); }},
        {"PauseStreaming", [](auto& c) { return c.PauseStreaming(); }},
        {"StopStreaming", [](auto& c) { return c.StopStreaming(); }},
    };
}

/// Each method that hands the caller's pointers on as they are.
std::vector<Call> CallsWithPointers(Outputs& o)
{
    const auto at = [](const void* pointer) { return ShowArgument(pointer); };
    return {
        {"GetSupportedFrameRates" + at(&o.rates) + at(&o.count),
         [&o](auto& c) { return c.GetSupportedFrameRates(&o.rates, &o.count); }},
        {"GetSupportedImageSizes" + at(&o.sizes) + at(&o.count),
         [&o](auto& c) { return c.GetSupportedImageSizes2(&o.sizes, &o.count); }},
        {"SetupTransport 2" + at(&o.transport), [&o](auto& c) { return c.SetupTransport(2, &o.transport); }},
        {"GetCameraImageSize" + at(&o.size), [&o](auto& c) { return c.GetCameraImageSize(&o.size); }},
        {"GetCameraSettings" + at(&o.settings), [&o](auto& c) { return c.GetCameraSettings3(&o.settings); }},
        {"GetH264Parameters" + at(&o.h264), [&o](auto& c) { return c.GetH264Parameters(&o.h264); }},
        {"GetSupportedFrameRates" + at(nullptr) + at(nullptr),
         [](auto& c) { return c.GetSupportedFrameRates(nullptr, nullptr); }},
        {"GetSupportedImageSizes" + at(nullptr) + at(nullptr),
         [](auto& c) { return c.GetSupportedImageSizes2(nullptr, nullptr); }},
        {"SetupTransport -1" + at(nullptr), [](auto& c) { return c.SetupTransport(-1, nullptr); }},
        {"GetCameraImageSize" + at(nullptr), [](auto& c) { return c.GetCameraImageSize(nullptr); }},
        {"GetCameraSettings" + at(nullptr), [](auto& c) { return c.GetCameraSettings3(nullptr); }},
        {"GetCameraSettings" + at(nullptr), [](auto& c) { return c.GetCameraSettings2(nullptr); }},
        {"GetH264Parameters" + at(nullptr), [](auto& c) { return c.GetH264Parameters(nullptr); }},
    };
}

constexpr HRESULT kResults[] = {S_OK,         S_FALSE,   static_cast<HRESULT>(0x000C00CA), E_FAIL,
                                E_INVALIDARG, E_NOTIMPL, static_cast<HRESULT>(0x800C05B4)};
} // namespace

TEST_F(AVCommand, ForwardsArgumentsInOrderAndReturnsTheResultUnchanged)
{
    Outputs outputs;
    std::vector<Call> calls = CallsWithNumbers();
    for (Call& call : CallsWithPointers(outputs))
        calls.push_back(std::move(call));
    for (const HRESULT result : kResults)
    {
        m_fakes.result = result;
        for (const Call& each : calls)
        {
            SCOPED_TRACE(each.operation);
            EXPECT_EQ(result, each.call(*m_command.get()));
            EXPECT_THAT(TakeOperations(), ElementsAre(each.operation));
        }
    }
    EXPECT_THAT(m_fakes.families, ElementsAre("create 1", "probe 1")) << "asked once";
}

TEST_F(AVCommand, OlderFormsReturnTheResultUnchangedToo)
{
    for (const HRESULT result : kResults)
    {
        SCOPED_TRACE(result);
        m_fakes.result = result;
        CameraSettings settings = {};
        CameraSettings2 settings2 = {};
        long count = 0;
        EXPECT_EQ(result, m_command->GetCameraSettings(&settings));
        EXPECT_EQ(result, m_command->GetCameraSettings2(&settings2));
        EXPECT_EQ(result, m_command->GetSupportedImageSizes(nullptr, &count));
        const std::vector<std::string> operations = TakeOperations();
        ASSERT_EQ(3u, operations.size());
        EXPECT_THAT(operations[0], testing::StartsWith("GetCameraSettings *"));
        EXPECT_THAT(operations[1], testing::StartsWith("GetCameraSettings *"));
        EXPECT_THAT(operations[2], testing::StartsWith("GetSupportedImageSizes *"));
        EXPECT_THAT(operations[2], testing::EndsWith(ShowArgument(&count)));
    }
}

TEST_F(AVCommand, RtspServerIsTheOpenConnectionsWithItsCredentials)
{
    ASSERT_EQ(S_OK, Open());
    for (const HRESULT result : kResults)
    {
        m_fakes.result = result;
        EXPECT_EQ(result, m_command->ConnectToRtspServer(TRUE));
    }
    TakeOperations();
    EXPECT_EQ(m_fakes.result, m_command->ConnectToRtspServer(TRUE));
    EXPECT_EQ(m_fakes.result, m_command->ConnectToRtspServer(FALSE));
    EXPECT_EQ(m_fakes.result, m_command->ConnectToRtspServer(7)) << "as true as any";
    EXPECT_THAT(TakeOperations(), ElementsAre("ConnectToRtspServer '127.0.0.1' 8554 'user' 'password' 1",
                                              "ConnectToRtspServer '127.0.0.1' 8554 'user' 'password' 0",
                                              "ConnectToRtspServer '127.0.0.1' 8554 'user' 'password' 1"));

    EXPECT_EQ(E_INVALIDARG, Open(L"127.0.0.2", 0, L"other", L"secret"));
    static_cast<void>(m_command->ConnectToRtspServer(TRUE));
    EXPECT_THAT(TakeOperations(), ElementsAre("ConnectToRtspServer '127.0.0.1' 8554 'user' 'password' 1"))
        << "a failed open keeps the former values";

    ASSERT_EQ(S_OK, Open(L"127.0.0.2", 80, L"other", L"secret"));
    static_cast<void>(m_command->ConnectToRtspServer(TRUE));
    EXPECT_THAT(TakeOperations(), ElementsAre("ConnectToRtspServer '127.0.0.2' 80 'other' 'secret' 1"));
}

TEST_F(AVCommand, AsksTheSecondFamilyWhenTheFirstIsNotExactlyOk)
{
    const struct
    {
        const char* reason;
        HRESULT first;
    } rows[] = {
        {"failure", E_FAIL},
        {"a no", S_FALSE},
        {"another success", static_cast<HRESULT>(0x000C00CA)},
        {"a failure that is no time-out", E_ACCESSDENIED},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_command->CloseConnection();
        m_log.Clear();
        m_fakes = FakeCommandSets();
        m_fakes.firstFamily = {row.first};
        EXPECT_EQ(S_OK, m_command->SetBitRate(64));
        EXPECT_THAT(TakeFamilies(), ElementsAre("create 1", "probe 1", "destroy 1", "create 2", "probe 2"));
        EXPECT_THAT(TakeOperations(), ElementsAre("SetBitRate 64"));
        EXPECT_THAT(m_log.Lines(), ElementsAre(L"1 CAVCommand::ChooseCgiCommandSet, camera is SECOND."));
    }
}

TEST_F(AVCommand, FirstFamilyThatIsOkIsKeptUntilTheConnectionIsClosed)
{
    m_log.Clear();
    EXPECT_EQ(S_OK, m_command->SetBitRate(64));
    EXPECT_EQ(S_OK, m_command->SetBitRate(65));
    EXPECT_THAT(TakeFamilies(), ElementsAre("create 1", "probe 1"));
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"1 CAVCommand::ChooseCgiCommandSet, camera is FIRST."));
    EXPECT_EQ(S_OK, m_command->CloseConnection());
    EXPECT_THAT(TakeFamilies(), ElementsAre("destroy 1"));
    EXPECT_EQ(S_OK, m_command->SetBitRate(66));
    ASSERT_EQ(S_OK, Open());
    EXPECT_THAT(TakeFamilies(), ElementsAre("create 1", "probe 1", "destroy 1")) << "another open starts from nothing";
    EXPECT_EQ(S_OK, m_command->SetBitRate(67));
    m_command.reset();
    EXPECT_THAT(TakeFamilies(), ElementsAre("create 1", "probe 1", "destroy 1")) << "and so does the end";
}

TEST_F(AVCommand, TimeoutOfEitherFamilyLeadsToOneMorePass)
{
    constexpr HRESULT kTimedOut = static_cast<HRESULT>(0x800C05B4);
    const std::vector<std::string> pass = {"create 1", "probe 1", "destroy 1", "create 2", "probe 2", "destroy 2"};
    const struct
    {
        const char* reason;
        HRESULT first;
        HRESULT second;
        bool isRepeated;
    } rows[] = {
        {"the first only", kTimedOut, E_FAIL, true},
        {"the second only", E_FAIL, kTimedOut, true},
        {"the second, after a no", S_FALSE, kTimedOut, true},
        {"the first, before a no", kTimedOut, S_FALSE, true},
        {"both", kTimedOut, kTimedOut, true},
        {"neither", E_FAIL, E_FAIL, false},
        {"neither, with a no each", S_FALSE, S_FALSE, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_log.Clear();
        m_fakes = FakeCommandSets();
        m_fakes.firstFamily = {row.first};
        m_fakes.secondFamily = {row.second};
        EXPECT_EQ(E_FAIL, m_command->SetBitRate(64));
        std::vector<std::string> expected = pass;
        if (row.isRepeated)
        {
            expected.push_back("pause 5000");
            expected.insert(expected.end(), pass.begin(), pass.end());
        }
        EXPECT_THAT(m_fakes.families, ElementsAreArray(expected));
        EXPECT_THAT(m_fakes.operations, IsEmpty());
        EXPECT_EQ(row.isRepeated ? 1u : 0u,
                  m_log.Count(L"CAVCommand::ChooseCgiCommandSet, talk to camera timeout, will try again, tryCount = "
                              L"1."));
    }
}

TEST_F(AVCommand, SecondPassMayFindAnyFamily)
{
    constexpr HRESULT kTimedOut = static_cast<HRESULT>(0x800C05B4);
    m_fakes.firstFamily = {kTimedOut, E_FAIL};
    m_fakes.secondFamily = {E_FAIL, S_OK};
    EXPECT_EQ(S_OK, m_command->SetBitRate(64));
    EXPECT_THAT(TakeFamilies(), ElementsAre("create 1", "probe 1", "destroy 1", "create 2", "probe 2", "destroy 2",
                                            "pause 5000", "create 1", "probe 1", "destroy 1", "create 2", "probe 2"));
    EXPECT_THAT(TakeOperations(), ElementsAre("SetBitRate 64"));
}

TEST_F(AVCommand, NothingThrownLeavesIt)
{
    const struct
    {
        const char* reason;
        std::function<void()> raise;
        HRESULT hr;
    } rows[] = {
        {"memory", [] { throw std::bad_alloc(); }, E_OUTOFMEMORY},
        {"a result", [] { throw static_cast<HRESULT>(E_ACCESSDENIED); }, E_ACCESSDENIED},
        {"anything else", [] { throw std::runtime_error("unforeseen"); }, E_UNEXPECTED},
    };
    Outputs outputs;
    for (const auto& row : rows)
    {
        for (const auto place : {&FakeCommandSets::onCreate, &FakeCommandSets::onProbe, &FakeCommandSets::onOperation})
        {
            SCOPED_TRACE(row.reason);
            m_command->CloseConnection();
            m_fakes = FakeCommandSets();
            m_fakes.*place = row.raise;
            for (const Call& each : CallsWithNumbers())
                EXPECT_EQ(row.hr, each.call(*m_command.get())) << each.operation;
            for (const Call& each : CallsWithPointers(outputs))
                EXPECT_EQ(row.hr, each.call(*m_command.get())) << each.operation;
            EXPECT_EQ(row.hr, m_command->ConnectToRtspServer(TRUE));
            m_fakes.*place = nullptr;
            EXPECT_EQ(S_OK, m_command->SetBitRate(64)) << "the object works on";
        }
    }
}
