// CComClassFactory and CComModule::GetClassObject with a class whose construction can fail.

#include "TestClass.h"

#include "ComHosting/ComModule.h"
#include "Win32/ComPointer.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace
{
constexpr CLSID kTestClass = {0x3E9A5D17, 0x6F84, 0x4B20, {0xB1, 0x7C, 0x05, 0xD9, 0xE2, 0x48, 0x6A, 0xF3}};
constexpr CLSID kOtherClass = {0x3E9A5D17, 0x6F84, 0x4B20, {0xB1, 0x7C, 0x05, 0xD9, 0xE2, 0x48, 0x6A, 0xF4}};

constinit CComClassFactory testFactory(&CreateComObject<CTestClass, TestInterfaces>);
constinit const ComObjectMapEntry testMap[] = {{&kTestClass, 0, {}, &testFactory}};

class ClassFactory : public testing::Test
{
protected:
    ClassFactory()
    {
        CComModule::Get().Init(testMap, ::GetModuleHandleW(nullptr), nullptr);
    }
    ~ClassFactory() override
    {
        CTestClass::onConstruction = nullptr;
        CTestClass::onDestruction = nullptr;
        CComModule::Get().Term();
        EXPECT_EQ(0, CComModule::Get().LockCount());
    }
    static CComPointer<IClassFactory> Factory()
    {
        CComPointer<IClassFactory> factory;
        EXPECT_EQ(S_OK, CComModule::Get().GetClassObject(kTestClass, IID_IClassFactory, factory.putVoid()));
        return factory;
    }
    /// CreateInstance with a constructor that does `construct`.
    template <class Function>
    static HRESULT CreateWith(Function construct, IUnknown* outer = nullptr)
    {
        CTestClass::onConstruction = construct;
        void* object = &object;
        const HRESULT result = Factory()->CreateInstance(outer, IID_IUnknown, &object);
        EXPECT_EQ(nullptr, object);
        return result;
    }
};

TEST_F(ClassFactory, ConstructorsFailureBecomesTheResult)
{
    EXPECT_EQ(E_ACCESSDENIED, CreateWith([] { throw static_cast<HRESULT>(E_ACCESSDENIED); }));
    EXPECT_EQ(E_OUTOFMEMORY, CreateWith([] { throw std::bad_alloc(); }));
    EXPECT_EQ(E_FAIL, CreateWith([] { throw static_cast<HRESULT>(S_FALSE); })) << "a thrown success is no success";
    EXPECT_EQ(E_UNEXPECTED, CreateWith([] { throw std::runtime_error("any"); }));
}

TEST_F(ClassFactory, ConstructorsFailureUnderAggregationBecomesTheResult)
{
    CComObject<CTestClass, TestInterfaces> outer; // any IUnknown will do
    EXPECT_EQ(E_ACCESSDENIED, CreateWith([] { throw static_cast<HRESULT>(E_ACCESSDENIED); }, &outer));
    EXPECT_EQ(E_OUTOFMEMORY, CreateWith([] { throw std::bad_alloc(); }, &outer));
}

TEST_F(ClassFactory, FailedConstructionReleasesTheModule)
{
    (void)CreateWith([] { throw static_cast<HRESULT>(E_ACCESSDENIED); });
    EXPECT_EQ(0, CComModule::Get().LockCount());
}

TEST_F(ClassFactory, InterfaceThatTheClassLacksDestroysTheObject)
{
    int destroyed = 0;
    CTestClass::onDestruction = [&] { ++destroyed; };
    void* object = &object;
    EXPECT_EQ(E_NOINTERFACE, Factory()->CreateInstance(nullptr, IID_IClassFactory, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(1, destroyed);
}

TEST_F(ClassFactory, OutlivesTermination)
{
    const CComPointer<IClassFactory> factory = Factory();
    CComModule::Get().Term();
    CComPointer<ITestOlder> object;
    EXPECT_EQ(S_OK, factory->CreateInstance(nullptr, __uuidof(ITestOlder), object.putVoid()));
    EXPECT_EQ(1, object->First());
}

TEST_F(ClassFactory, ModuleKnowsItsMapOnlyBetweenInitAndTerm)
{
    void* object = &object;
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, CComModule::Get().GetClassObject(kOtherClass, IID_IUnknown, &object));
    EXPECT_EQ(nullptr, object);
    CComModule::Get().Term();
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, CComModule::Get().GetClassObject(kTestClass, IID_IUnknown, &object));
    CComModule::Get().Init(testMap, ::GetModuleHandleW(nullptr), nullptr);
    CComPointer<IUnknown> factory;
    EXPECT_EQ(S_OK, CComModule::Get().GetClassObject(kTestClass, IID_IUnknown, factory.putVoid()));
}

TEST_F(ClassFactory, ReferencesAndLocksCountForTheModule)
{
    CComPointer<IClassFactory> factory = Factory();
    EXPECT_EQ(1, CComModule::Get().LockCount());
    EXPECT_EQ(2u, factory->AddRef());
    EXPECT_EQ(2, CComModule::Get().LockCount());
    EXPECT_EQ(1u, factory->Release());
    factory->LockServer(TRUE);
    factory.reset();
    EXPECT_EQ(1, CComModule::Get().LockCount());
    Factory()->LockServer(FALSE);
    EXPECT_EQ(0, CComModule::Get().LockCount());
}
} // namespace
