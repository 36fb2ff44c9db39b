#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

/// Makes one object, stand-alone (`outer` null) or aggregated, and asks it for `iid`. May throw what the class's
/// constructor throws: an HRESULT or std::bad_alloc.
using ComObjectCreator = HRESULT (*)(IUnknown* outer, REFIID iid, void** object);

/// The class object of one class. Static, never destroyed: what is counted is the module, which cannot be unloaded
/// while a client holds a reference or a lock.
/// Any thread may call it. Failures of construction come back as HRESULTs; `*object` is then null.
class CComClassFactory final : public IClassFactory
{
public:
    explicit constexpr CComClassFactory(ComObjectCreator create) noexcept : m_create(create) {}
    CComClassFactory(const CComClassFactory&) = delete;
    CComClassFactory& operator=(const CComClassFactory&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override;

private:
    const ComObjectCreator m_create;
    std::atomic<ULONG> m_references{0};
};
