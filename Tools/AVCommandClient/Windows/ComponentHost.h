#pragma once

#include "Core/CallTrace.h"
#include "Core/ComponentHost.h"
#include "Windows/ComSession.h"
#include "Windows/ComponentLibrary.h"

#include <string>

/// The component as the operating system offers it: by ProgID, or straight from its DLL.
/// Owns COM on this thread; cameras must be gone before it goes.
class CComponentHost final : public IComponentHost
{
public:
    /// An empty `dllPath` is the DLL beside the program. `isRegistered` decides how cameras are created; registration
    /// itself always goes through the DLL.
    CComponentHost(bool isRegistered, const std::string& dllPath, const CCallTrace& trace);

    HResult CreateCamera(std::unique_ptr<ICamera>& camera) override;
    HResult Register() override;
    HResult Unregister() override;
    std::string Source() const override;
    std::string LibraryPath() const override;

private:
    HRESULT CreateRegistered(void** object) const;
    HRESULT CreateFromLibrary(void** object);

    CCallTrace m_trace;
    CComSession m_session;
    bool m_isRegistered;
    std::wstring m_dllPath;
    CComponentLibrary m_library;
};
