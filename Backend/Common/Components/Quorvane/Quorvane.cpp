#include "AVCommand.h"
#include "ComHosting/ComModule.h"
#include "ComHosting/ComObject.h"
#include "ComHosting/WinApp.h"
#include "Logging/LogSettings.h"
#include "Protocol/Log.h"
#include "ThreadRuntime/ThreadRuntime.h"
#include "resource.h"

#include <Quorvane.h>

#include <new>

namespace
{
using AVCommandInterfaces = ComInterfaceChain<IAVCommand5, IAVCommand4, IAVCommand3, IAVCommand2, IAVCommand>;

/// Logs why there is no object, which the client only gets as a result.
HRESULT CreateAVCommand(IUnknown* outer, REFIID iid, void** object)
try
{
    return CreateComObject<CAVCommand, AVCommandInterfaces>(outer, iid, object);
}
catch (HRESULT hr)
{
    Log(LogLevel::Error, L"CAVCommand, no object could be made, hr = 0x%x", hr);
    throw;
}
catch (const std::bad_alloc&)
{
    Log(LogLevel::Error, L"CAVCommand, out of memory");
    throw;
}

constinit CComClassFactory s_avCommandFactory(&CreateAVCommand);

constinit const ComObjectMapEntry kObjectMap[] = {
    {&CLSID_AVCommand, IDR_AVCOMMAND, {}, &s_avCommandFactory},
};

class CQuorvaneApp final : public CWinApp
{
public:
    bool InitInstance() noexcept override
    {
        CComModule::Get().Init(kObjectMap, Instance(), &LIBID_QUORVANELib);
        return CWinApp::InitInstance();
    }
    void ExitInstance() noexcept override
    {
        CComModule::Get().Term();
        CWinApp::ExitInstance();
        ThreadRuntime::ReleaseThreadData();
    }
};

constinit CQuorvaneApp s_app;
} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    if (reason == DLL_THREAD_DETACH)
        ThreadRuntime::EndThread();
    return CWinAppEntry::OnDllMain(s_app, instance, reason, reserved);
}

STDAPI DllCanUnloadNow()
{
    // In this order: only a living object starts background work, so none can begin between the two questions.
    return CComModule::Get().LockCount() == 0 && CWinApp::CanUnload() ? S_OK : S_FALSE;
}

// The entry points below are where a client's work begins, and none of them runs inside DllMain: the place to look at
// the log settings.

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object)
{
    LogSettings::Apply();
    return CComModule::Get().GetClassObject(clsid, iid, object);
}

STDAPI DllRegisterServer()
{
    LogSettings::Apply();
    const HRESULT result = CComModule::Get().RegisterServer();
    if (FAILED(result))
        Log(LogLevel::Error, L"CComModule::RegisterServer, failed, hr = 0x%x", result);
    return result;
}

STDAPI DllUnregisterServer()
{
    LogSettings::Apply();
    const HRESULT result = CComModule::Get().UnregisterServer();
    if (FAILED(result))
        Log(LogLevel::Error, L"CComModule::UnregisterServer, failed, hr = 0x%x", result);
    return result;
}
