#include "Windows/ComponentHost.h"

#include "Windows/CameraClient.h"
#include "Windows/Text.h"

#include <filesystem>

namespace
{
constexpr wchar_t kProgId[] = L"Quorvane.AVCommand";

/// A relative path counts from the current folder, never from the folders that the system searches for libraries.
std::wstring FullPath(const std::string& path)
{
    return std::filesystem::absolute(Text::ToWide(path)).wstring();
}
} // namespace

CComponentHost::CComponentHost(bool isRegistered, const std::string& dllPath, const CCallTrace& trace)
    : m_trace(trace), m_session(trace), m_isRegistered(isRegistered),
      m_dllPath(dllPath.empty() ? CComponentLibrary::PathBesideProgram() : FullPath(dllPath)), m_library(trace)
{
}

HResult CComponentHost::CreateCamera(std::unique_ptr<ICamera>& camera)
{
    if (FAILED(m_session.Result()))
        return m_session.Result();
    CComPointer<IAVCommand5> object;
    void** const out = object.putVoid();
    const HRESULT hr = m_isRegistered ? CreateRegistered(out) : CreateFromLibrary(out);
    if (FAILED(hr))
        return hr;
    camera = std::make_unique<CCameraClient>(std::move(object), m_trace);
    return hr;
}

HResult CComponentHost::Register()
{
    const HRESULT hr = m_library.Load(m_dllPath);
    return FAILED(hr) ? hr : m_library.Register();
}

HResult CComponentHost::Unregister()
{
    const HRESULT hr = m_library.Load(m_dllPath);
    return FAILED(hr) ? hr : m_library.Unregister();
}

std::string CComponentHost::Source() const
{
    return m_isRegistered ? Text::ToUtf8(kProgId) : LibraryPath();
}

std::string CComponentHost::LibraryPath() const
{
    return Text::ToUtf8(m_dllPath);
}

HRESULT CComponentHost::CreateRegistered(void** object) const
{
    CLSID clsid{};
    const HRESULT hr = m_trace.Run("CLSIDFromProgID", [&] { return ::CLSIDFromProgID(kProgId, &clsid); });
    if (FAILED(hr))
        return hr;
    return m_trace.Run("CoCreateInstance", [&] {
        return ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, object);
    });
}

HRESULT CComponentHost::CreateFromLibrary(void** object)
{
    const HRESULT hr = m_library.Load(m_dllPath);
    return FAILED(hr) ? hr : m_library.CreateInstance(CLSID_AVCommand, IID_IAVCommand5, object);
}
