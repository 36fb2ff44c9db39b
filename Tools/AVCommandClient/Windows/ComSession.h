#pragma once

#include "Core/CallTrace.h"

#include <windows.h>

#include <objbase.h>

/// COM on this thread, as a single-threaded apartment: what the component is registered for. Create it before, and
/// destroy it after, everything that holds an interface pointer, on the same thread.
class CComSession
{
public:
    explicit CComSession(const CCallTrace& trace)
        : m_hr(trace.Run("CoInitializeEx", [] { return ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }))
    {
    }
    ~CComSession()
    {
        if (SUCCEEDED(m_hr))
            ::CoUninitialize();
    }
    CComSession(const CComSession&) = delete;
    CComSession& operator=(const CComSession&) = delete;

    [[nodiscard]] HRESULT Result() const noexcept
    {
        return m_hr;
    }

private:
    HRESULT m_hr;
};
