// A request that was given up keeps the library in memory until WinInet's last notification. A program of its own,
// because the library stays in the process for good after the wait for that notification was in vain.

#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/ImportPatch.h"
#include "Tests/Support/RegistryValues.h"
#include "Tests/Support/ScriptedCamera.h"
#include "Win32/ComMemory.h"

#include <Quorvane.h>
#include <gtest/gtest.h>
#include <wininet.h>

namespace
{
/// The entry of a module's import table through which it calls `function`.
void** FindImportSlot(HMODULE module, const void* function)
{
    const auto* const base = reinterpret_cast<const BYTE*>(module);
    const auto& headers =
        *reinterpret_cast<const IMAGE_NT_HEADERS32*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& table = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
    void** const slots = reinterpret_cast<void**>(const_cast<BYTE*>(base + table.VirtualAddress));
    for (DWORD i = 0; i < table.Size / sizeof(void*); ++i)
        if (slots[i] == function)
            return &slots[i];
    throw std::runtime_error("the module does not import the function");
}

/// Lets WinInet wait for an answer longer than the component's bounded wait.
BOOL WINAPI KeepReceiveTimeLimit(HINTERNET handle, DWORD option, void* buffer, DWORD lengthBytes)
{
    return option == INTERNET_OPTION_RECEIVE_TIMEOUT ? TRUE : ::InternetSetOptionW(handle, option, buffer, lengthBytes);
}

/// Leaves out the pause before the camera is asked once more.
void WINAPI SkipPause(DWORD) {}

bool BecomesUnloadable(const CComponentLibrary& library)
{
    constexpr DWORD kLimitMs = 20000;
    const DWORD startTick = ::GetTickCount();
    while (library.CanUnloadNow() != S_OK && ::GetTickCount() - startTick < kLimitMs)
        ::SwitchToThread();
    return library.CanUnloadNow() == S_OK;
}

TEST(GivenUpRequest, KeepsTheLibraryUntilItsLastNotification)
{
    CTestRegistryKey settings(L"Software\\Orbell\\Video");
    settings.SetText(L"CameraCGICommandTimeout", L"300");
    ScriptedReply reply = HttpAnswer(200, "");
    reply.held = true;
    CScriptedCamera camera({reply});
    const CComponentLibrary library;
    const CImportPatch patient(FindImportSlot(library.Module(), reinterpret_cast<const void*>(&::InternetSetOptionW)),
                               &KeepReceiveTimeLimit);
    const CImportPatch hasty(FindImportSlot(library.Module(), reinterpret_cast<const void*>(&::Sleep)), &SkipPause);

    CComPointer<IAVCommand5> command;
    ASSERT_EQ(S_OK, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IAVCommand5, command.putVoid()));
    const CBstr server = MakeBstr(L"127.0.0.1");
    const CBstr none = MakeBstr(L"");
    ASSERT_EQ(S_OK, command->OpenConnection(server.get(), camera.Port(), none.get(), none.get()));
    EXPECT_TRUE(FAILED(command->IsImageSizeSupported(1, 1, 1)));
    ASSERT_TRUE(camera.WaitForRequests(1));
    command.reset();

    EXPECT_EQ(S_FALSE, library.CanUnloadNow()) << "no object lives, but WinInet may still call";
    camera.ReleaseHeld();
    EXPECT_TRUE(BecomesUnloadable(library));
}
} // namespace
