#include <windows.h>

#include <cstring>

// Keeps this library's exceptions apart from those of a host that was built with the same compiler.
//
// When a library is loaded, GCC's start-up code registers its unwind tables: with "libgcc_s_dw2-1.dll" when the process
// has that loaded (which it asks GetModuleHandleA), else with the unwinder that is linked into the library. Ours is
// always the one linked in, so that in such a host it would know no table, and the first throw would end the process.
//
// The start-up code calls through the import slot of GetModuleHandleA. Defined here, the slot is found before the
// import library is searched, and whoever asks for that one name is told that it is not loaded.

namespace
{
constexpr char kSharedUnwinder[] = "libgcc_s_dw2-1.dll";

HMODULE WINAPI FindModule(LPCSTR name) noexcept
{
    if (name == nullptr)
        return ::GetModuleHandleW(nullptr);
    if (std::strcmp(name, kSharedUnwinder) == 0)
        return nullptr;
    wchar_t wideName[MAX_PATH];
    // Sets the last error when the name is too long.
    if (::MultiByteToWideChar(CP_ACP, 0, name, -1, wideName, MAX_PATH) == 0)
        return nullptr;
    return ::GetModuleHandleW(wideName);
}
} // namespace

extern "C"
{
    extern void* const kGetModuleHandleImport asm("__imp__GetModuleHandleA@4");
    void* const kGetModuleHandleImport = reinterpret_cast<void*>(&FindModule);
}
