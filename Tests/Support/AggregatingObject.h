#pragma once

#include "Win32/ComPointer.h"

#include <windows.h>

#include <unknwn.h>

/// An interface that only the aggregating object has.
inline constexpr IID kAggregatingInterface = {
    0x7D4F0E21, 0x5C93, 0x4B8A, {0x9F, 0x10, 0x62, 0xE8, 0x3B, 0x0D, 0xA5, 0x74}};

/// An object that has another one as a part: an interface of its own, everything else from the part inside. Lives on
/// the stack.
class CAggregatingObject final : public IUnknown
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (iid != IID_IUnknown && iid != kAggregatingInterface)
            return inner->QueryInterface(iid, object);
        *object = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override
    {
        return ++references;
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        return --references;
    }

    ULONG references = 1;
    CComPointer<IUnknown> inner;
};
