#pragma once

#include "Win32/UniqueHandle.h"

namespace Win32
{
template <class Interface>
void ReleaseInterface(Interface* pointer) noexcept
{
    pointer->Release();
}
} // namespace Win32

/// One owned reference to a COM object.
template <class Interface>
class CComPointer : public CUniqueHandle<Interface*, &Win32::ReleaseInterface<Interface>>
{
public:
    using CUniqueHandle<Interface*, &Win32::ReleaseInterface<Interface>>::CUniqueHandle;

    Interface* operator->() const noexcept
    {
        return this->get();
    }
    /// For functions that return an interface as void**.
    void** putVoid() noexcept
    {
        return reinterpret_cast<void**>(this->put());
    }
};
