#include "ComHosting/ComModule.h"

#include "ComHosting/ComponentCategories.h"
#include "ComHosting/RegistryScript.h"
#include "ComHosting/TypeLibRegistration.h"

#include <new>

constinit CComModule CComModule::s_module;

namespace
{
/// Full path of a loaded module. Throws HRESULT or std::bad_alloc.
std::wstring ModulePath(HINSTANCE instance)
{
    constexpr std::size_t kLongestPathChars = 32767;
    std::wstring path(MAX_PATH, L'\0');
    for (;;)
    {
        const DWORD countChars = ::GetModuleFileNameW(instance, path.data(), static_cast<DWORD>(path.size()));
        if (countChars == 0)
            throw static_cast<HRESULT>(HRESULT_FROM_WIN32(::GetLastError()));
        if (countChars < path.size())
        {
            path.resize(countChars);
            return path;
        }
        if (path.size() >= kLongestPathChars)
            throw static_cast<HRESULT>(HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE));
        path.resize(path.size() * 2);
    }
}

/// Runs registration code, which may throw, at the COM boundary, which may not.
template <class Function>
HRESULT ReturnFailures(Function function) noexcept
{
    try
    {
        return function();
    }
    catch (HRESULT failure)
    {
        return FAILED(failure) ? failure : E_FAIL;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
    catch (...)
    {
        return E_UNEXPECTED;
    }
}
} // namespace

void CComModule::Init(std::span<const ComObjectMapEntry> objectMap, HINSTANCE instance, const GUID* libid) noexcept
{
    m_objectMap = objectMap;
    m_instance = instance;
    m_libid = libid;
}

void CComModule::Term() noexcept
{
    m_objectMap = {};
    m_instance = nullptr;
    m_libid = nullptr;
}

HRESULT CComModule::GetClassObject(REFCLSID clsid, REFIID iid, void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    for (const ComObjectMapEntry& entry : m_objectMap)
        if (*entry.clsid == clsid)
            return entry.factory->QueryInterface(iid, object);
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CComModule::RegisterServer() noexcept
{
    return ReturnFailures([this] {
        const std::wstring modulePath = ModulePath(m_instance);
        HRESULT result = ReturnFailures([&] { return RegisterClasses(modulePath); });
        if (SUCCEEDED(result))
        {
            result = ReturnFailures([&] { return TypeLibRegistration::Register(modulePath, *m_libid); });
            if (FAILED(result))
                (void)ReturnFailures([&] { return TypeLibRegistration::Unregister(modulePath, *m_libid); });
        }
        if (FAILED(result))
            RemoveClasses(modulePath);
        return result;
    });
}

HRESULT CComModule::UnregisterServer() noexcept
{
    return ReturnFailures([this] {
        const std::wstring modulePath = ModulePath(m_instance);
        const HRESULT result = UnregisterClasses(modulePath);
        return FAILED(result) ? result : TypeLibRegistration::Unregister(modulePath, *m_libid);
    });
}

HRESULT CComModule::RegisterClasses(const std::wstring& modulePath) const
{
    for (const ComObjectMapEntry& entry : m_objectMap)
    {
        HRESULT result = RegistryScript::Register(modulePath, entry.registryScriptId);
        if (SUCCEEDED(result))
            result = ComponentCategories::Register(*entry.clsid, entry.categories);
        if (FAILED(result))
            return result;
    }
    return S_OK;
}

HRESULT CComModule::UnregisterClasses(const std::wstring& modulePath) const
{
    for (const ComObjectMapEntry& entry : m_objectMap)
    {
        HRESULT result = ComponentCategories::Unregister(*entry.clsid, entry.categories);
        if (SUCCEEDED(result))
            result = RegistryScript::Unregister(modulePath, entry.registryScriptId);
        if (FAILED(result))
            return result;
    }
    return S_OK;
}

void CComModule::RemoveClasses(const std::wstring& modulePath) const
{
    // Whatever can be removed is removed; what the caller needs to know is the failure that led here.
    for (const ComObjectMapEntry& entry : m_objectMap)
    {
        (void)ReturnFailures([&] { return ComponentCategories::Unregister(*entry.clsid, entry.categories); });
        (void)ReturnFailures([&] { return RegistryScript::Unregister(modulePath, entry.registryScriptId); });
    }
}
