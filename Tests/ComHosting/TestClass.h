#pragma once

#include "ComHosting/ComObject.h"

#include <functional>

/// Two interfaces in a chain, and a class behind them that the hosting templates make an object of.
MIDL_INTERFACE("5B1C0F6E-2D3A-4C77-9E15-8A40D7F2B631")
ITestOlder : public IUnknown
{
public:
    virtual HRESULT STDMETHODCALLTYPE First() = 0;
};
#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(ITestOlder, 0x5B1C0F6E, 0x2D3A, 0x4C77, 0x9E, 0x15, 0x8A, 0x40, 0xD7, 0xF2, 0xB6, 0x31)
#endif

MIDL_INTERFACE("C8E2714A-90BD-4F56-A3C8-1E67F05D9B24")
ITestNewer : public ITestOlder
{
public:
    virtual HRESULT STDMETHODCALLTYPE Second() = 0;
};
#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(ITestNewer, 0xC8E2714A, 0x90BD, 0x4F56, 0xA3, 0xC8, 0x1E, 0x67, 0xF0, 0x5D, 0x9B, 0x24)
#endif

class CTestClass : public ITestNewer
{
public:
    CTestClass()
    {
        if (onConstruction)
            onConstruction();
    }
    HRESULT STDMETHODCALLTYPE First() override
    {
        return 1;
    }
    HRESULT STDMETHODCALLTYPE Second() override
    {
        return 2;
    }

    /// What the next constructor and destructor do, set by one test and cleared by it.
    static inline std::function<void()> onConstruction;
    static inline std::function<void()> onDestruction;

protected:
    ~CTestClass()
    {
        if (onDestruction)
            onDestruction();
    }
};

using TestInterfaces = ComInterfaceChain<ITestNewer, ITestOlder>;
