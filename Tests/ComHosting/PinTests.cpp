// CWinApp::PinLibrary, in the only place where it has an effect: a DLL.

#include "Win32/Handles.h"

#include <gtest/gtest.h>

namespace
{
constexpr wchar_t kProbe[] = L"hosting_probe.dll";

TEST(WinApp, PinnedLibraryStaysWhateverItsClientsDo)
{
    CLibraryHandle library(::LoadLibraryW(kProbe));
    ASSERT_TRUE(library);
    library.reset();
    ASSERT_EQ(nullptr, ::GetModuleHandleW(kProbe)) << "an ordinary library leaves";

    library.reset(::LoadLibraryW(kProbe));
    const auto pin =
        reinterpret_cast<void(WINAPI*)()>(reinterpret_cast<void*>(::GetProcAddress(library.get(), "ProbePin@0")));
    ASSERT_NE(nullptr, pin);
    pin();
    library.reset();
    EXPECT_NE(nullptr, ::GetModuleHandleW(kProbe));
    ::FreeLibrary(::GetModuleHandleW(kProbe));
    EXPECT_NE(nullptr, ::GetModuleHandleW(kProbe)) << "not even a client that frees too often removes it";
}
} // namespace
