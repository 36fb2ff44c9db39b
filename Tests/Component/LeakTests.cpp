// Thousands of connections leave the host as they found it: handles, threads, memory that grows with each.

#include "Tests/Component/ComponentFixture.h"
#include "Tests/Component/SimulatorProcess.h"
#include "Tests/Support/HandleCount.h"

#include <tlhelp32.h>

namespace
{
unsigned CountOwnThreads()
{
    const CKernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    unsigned count = 0;
    for (BOOL more = ::Thread32First(snapshot.get(), &entry); more; more = ::Thread32Next(snapshot.get(), &entry))
        count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
    return count;
}

DWORD WINAPI WaitForEvent(void* event)
{
    return ::WaitForSingleObject(static_cast<HANDLE>(event), 30'000);
}

struct Usage
{
    unsigned handles = CountOwnHandles();
    unsigned threads = CountOwnThreads();
};

class Leaks : public ComponentTest
{
protected:
    /// The system's worker threads end in their own time after the last request: what is left when nothing has changed
    /// for the better any more, within a limit.
    static Usage SettledUsage(const Usage& wanted)
    {
        const ULONGLONG end = ::GetTickCount64() + 30'000;
        const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        for (;;)
        {
            const Usage now;
            // The event of this function is one of the handles.
            if ((now.handles <= wanted.handles + 1 && now.threads <= wanted.threads) || ::GetTickCount64() >= end)
                return {now.handles - 1, now.threads};
            ::WaitForSingleObject(never.get(), 50);
        }
    }

    /// The first cycles do not count: what the system keeps after the first requests it keeps once.
    template <class Cycle>
    static void ExpectNothingLeft(int firstCycles, int cycles, Cycle cycle)
    {
        for (int i = 0; i < firstCycles && !HasFatalFailure(); ++i)
            cycle();
        const Usage before;
        for (int i = 0; i < cycles && !HasFatalFailure(); ++i)
            cycle();
        const Usage after = SettledUsage(before);
        EXPECT_LE(after.handles, before.handles);
        EXPECT_LE(after.threads, before.threads);
    }
};

TEST_F(Leaks, CountsAreReal)
{
    const Usage before;
    const CKernelHandle handle(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    EXPECT_EQ(before.handles + 1, Usage().handles);
    EXPECT_EQ(before.threads, Usage().threads);
    const CKernelHandle thread(::CreateThread(nullptr, 0, &WaitForEvent, handle.get(), 0, nullptr));
    EXPECT_EQ(before.threads + 1, Usage().threads);
    ::SetEvent(handle.get());
    ::WaitForSingleObject(thread.get(), 30'000);
}

TEST_F(Leaks, TwoThousandCyclesOfOneObject)
{
    const CSimulatorProcess camera;
    const CommandPointer command = CreateCommand();
    ExpectNothingLeft(20, 2000, [&] {
        ASSERT_EQ(S_OK, Open(command, camera.Port()));
        // One inquiry a cycle; it is the cycles that this is about.
        ASSERT_EQ(S_OK, command->IsImageSizeSupported(640, 480, 30));
        ASSERT_EQ(S_OK, command->CloseConnection());
    });
}

TEST_F(Leaks, HundredObjectsWithDigest)
{
    const CSimulatorProcess camera(L"--auth digest --user admin --password secret");
    ExpectNothingLeft(20, 100, [&] {
        const CommandPointer command = CreateCommand();
        ASSERT_EQ(S_OK, Open(command, camera.Port(), L"admin", L"secret"));
        ASSERT_EQ(S_OK, command->ConnectToCamera());
    });
}

TEST_F(Leaks, FiveHundredStreamsOfOneObject)
{
    // Without audio and with the smallest picture: it is the client's handles that this is about, not the encoder.
    const CSimulatorProcess camera(L"--model \"AXIS P5635-E\" --set Image.I0.Appearance.Resolution=480x270");
    const CommandPointer command = CreateCommand();
    ExpectNothingLeft(20, 500, [&] {
        ASSERT_EQ(S_OK, Open(command, camera.Port()));
        ASSERT_EQ(S_OK, command->ConnectToRtspServer(TRUE));
        const CBstr protocol = MakeBstr(L"RTP/AVP");
        TransportParameters transport = {protocol.get(), FALSE, 9, nullptr, 0, 0, 0, nullptr};
        ASSERT_EQ(S_OK, command->SetupTransport(0, &transport));
        const CBstr ssrc(transport.Ssrc);
        ASSERT_EQ(S_OK, command->StartMpeg4Video2(FALSE, 9));
        ASSERT_EQ(S_OK, command->CloseConnection());
    });
}

TEST_F(Leaks, CamerasThatMisbehave)
{
    m_registry.SetText(kTimeLimit, L"100");
    m_registry.SetDword(kUseCache, 0);
    const struct
    {
        const wchar_t* options;
        int cycles;
    } rows[] = {
        {L"--fault drop@command/camera.cgi", 20},    {L"--fault drop-in-headers@command/camera.cgi", 20},
        {L"--fault garbage@command/camera.cgi", 20}, {L"--fault truncate@command/camera.cgi", 20},
        {L"--fault silent@command/camera.cgi", 8},   {L"--fault body-delay:600@command/inquiry.cgi?inq=camera", 8},
        {L"--fault big-body@command/camera.cgi", 2},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(std::string(row.options, row.options + std::wcslen(row.options)));
        const CSimulatorProcess camera(row.options);
        ExpectNothingLeft(2, row.cycles, [&] {
            const CommandPointer command = CreateCommand();
            ASSERT_EQ(S_OK, Open(command, camera.Port()));
            CameraSettings3 settings = {};
            static_cast<void>(command->SetAudioInVolume(1));
            static_cast<void>(command->GetCameraSettings3(&settings));
            ::SysFreeString(settings.MulticastAddress);
        });
    }
}
} // namespace
