// A DLL that pins itself, as the component does when it must never leave a thread that is still inside it.

#include "ComHosting/WinApp.h"

extern "C" __declspec(dllexport) void WINAPI ProbePin()
{
    CWinApp::PinLibrary();
}
