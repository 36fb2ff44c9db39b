// Loading, using and unloading the library again and again.

#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/HandleCount.h"
#include "Tests/Support/TlsIndex.h"
#include "Win32/ComMemory.h"

#include <Quorvane.h>
#include <gtest/gtest.h>

namespace
{
void UseOnce()
{
    const CComponentLibrary library;
    CComPointer<IAVCommand5> camera;
    ASSERT_EQ(S_OK, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IAVCommand5, camera.putVoid()));
    ASSERT_EQ(S_FALSE, camera->IsConnected());
    ASSERT_EQ(S_OK, camera->CloseConnection());
    camera.reset();
    ASSERT_EQ(S_OK, library.CanUnloadNow());
}

TEST(LoadCycles, TwoHundredLeaveNoHandleBehind)
{
    constexpr int kCycles = 200;
    {
        // The figure that the test rests on must be a real one.
        const unsigned before = CountOwnHandles();
        const CKernelHandle handle(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
        ASSERT_EQ(before + 1, CountOwnHandles());
    }
    UseOnce(); // what the system keeps after the first use of a library it keeps once
    const unsigned before = CountOwnHandles();
    for (int i = 0; i < kCycles && !HasFatalFailure(); ++i)
        UseOnce();
    EXPECT_EQ(before, CountOwnHandles());
}

TEST(LoadCycles, LeaveNoTlsIndexBehind)
{
    constexpr int kCycles = 20;
    UseOnce();
    const DWORD before = NextTlsIndex();
    for (int i = 0; i < kCycles && !HasFatalFailure(); ++i)
        UseOnce();
    EXPECT_EQ(before, NextTlsIndex());
}

TEST(LoadCycles, WithAnOpenConnectionLeaveNothingBehind)
{
    constexpr int kCycles = 20;
    // WinInet stays, as in a host that uses it: what it keeps for itself does not count here.
    const CLibraryHandle winInet(::LoadLibraryW(L"wininet.dll"));
    const CBstr server = MakeBstr(L"127.0.0.1");
    const CBstr none = MakeBstr(L"");
    const auto openAndClose = [&] {
        const CComponentLibrary library;
        CComPointer<IAVCommand5> camera;
        ASSERT_EQ(S_OK, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IAVCommand5, camera.putVoid()));
        ASSERT_EQ(S_OK, camera->OpenConnection(server.get(), 80, none.get(), none.get()));
        camera.reset();
        ASSERT_EQ(S_OK, library.CanUnloadNow());
    };
    openAndClose();
    const unsigned handles = CountOwnHandles();
    const DWORD tlsIndex = NextTlsIndex();
    for (int i = 0; i < kCycles && !HasFatalFailure(); ++i)
        openAndClose();
    EXPECT_EQ(handles, CountOwnHandles());
    EXPECT_EQ(tlsIndex, NextTlsIndex());
}

TEST(LoadCycles, LibraryReallyLeavesTheProcess)
{
    UseOnce();
    EXPECT_EQ(nullptr, ::GetModuleHandleW(L"Quorvane.dll"));
}
} // namespace
