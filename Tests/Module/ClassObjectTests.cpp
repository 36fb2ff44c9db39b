// What a client gets from DllGetClassObject, and when the library may go.

#include "Tests/Support/ComponentLibrary.h"

#include <Quorvane.h>
#include <gtest/gtest.h>

namespace
{
// Any GUID that is nobody's class.
constexpr CLSID kForeignClass = {0x0F3C7A52, 0x91B4, 0x4E0D, {0x8A, 0x6E, 0x3D, 0x52, 0xC4, 0x17, 0x90, 0xEB}};

void* const kRubbish = reinterpret_cast<void*>(0x1234);

TEST(ClassObject, ForeignClassIsNotAvailable)
{
    const CComponentLibrary library;
    void* object = kRubbish;
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, library.GetClassObject(kForeignClass, IID_IClassFactory, &object));
    EXPECT_EQ(nullptr, object);
}

TEST(ClassObject, NullOutPointerIsRefused)
{
    const CComponentLibrary library;
    EXPECT_EQ(E_POINTER, library.GetClassObject(CLSID_AVCommand, IID_IClassFactory, nullptr));
    const CComPointer<IClassFactory> factory = library.Factory(CLSID_AVCommand);
    EXPECT_EQ(E_POINTER, factory->CreateInstance(nullptr, IID_IUnknown, nullptr));
    EXPECT_EQ(E_POINTER, factory->QueryInterface(IID_IUnknown, nullptr));
}

TEST(ClassObject, OffersIUnknownAndIClassFactoryOnly)
{
    const CComponentLibrary library;
    CComPointer<IUnknown> unknown;
    EXPECT_EQ(S_OK, library.GetClassObject(CLSID_AVCommand, IID_IUnknown, unknown.putVoid()));
    void* object = kRubbish;
    EXPECT_EQ(E_NOINTERFACE, library.GetClassObject(CLSID_AVCommand, IID_IAVCommand, &object));
    EXPECT_EQ(nullptr, object);
}

TEST(ClassObject, IsTheSameEveryTime)
{
    const CComponentLibrary library;
    const CComPointer<IClassFactory> first = library.Factory(CLSID_AVCommand);
    const CComPointer<IClassFactory> second = library.Factory(CLSID_AVCommand);
    EXPECT_EQ(first.get(), second.get());
}

TEST(ClassObject, InterfaceThatTheClassLacksLeavesNothingBehind)
{
    const CComponentLibrary library;
    void* object = kRubbish;
    EXPECT_EQ(E_NOINTERFACE, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IClassFactory, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(S_OK, library.CanUnloadNow());
}

TEST(AVCommandObject, EveryInterfaceIsTheSamePointer)
{
    const CComponentLibrary library;
    CComPointer<IAVCommand> camera;
    ASSERT_EQ(S_OK, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IAVCommand, camera.putVoid()));
    for (const IID* iid :
         {&IID_IUnknown, &IID_IAVCommand, &IID_IAVCommand2, &IID_IAVCommand3, &IID_IAVCommand4, &IID_IAVCommand5})
    {
        CComPointer<IUnknown> queried;
        ASSERT_EQ(S_OK, camera->QueryInterface(*iid, queried.putVoid()));
        EXPECT_EQ(static_cast<IUnknown*>(camera.get()), queried.get());
    }
    EXPECT_EQ(E_POINTER, camera->QueryInterface(IID_IAVCommand, nullptr));
    void* object = kRubbish;
    EXPECT_EQ(E_NOINTERFACE, camera->QueryInterface(IID_IDispatch, &object));
    EXPECT_EQ(nullptr, object);
}

TEST(AVCommandObject, CountsItsReferences)
{
    const CComponentLibrary library;
    CComPointer<IAVCommand5> camera;
    ASSERT_EQ(S_OK, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IAVCommand5, camera.putVoid()));
    EXPECT_EQ(2u, camera->AddRef());
    EXPECT_EQ(1u, camera->Release());
    EXPECT_EQ(0u, camera.release()->Release());
}

TEST(Unloading, WaitsForObjectClassObjectAndLock)
{
    const CComponentLibrary library;
    EXPECT_EQ(S_OK, library.CanUnloadNow()) << "nothing was asked for yet";

    CComPointer<IClassFactory> factory = library.Factory(CLSID_AVCommand);
    EXPECT_EQ(S_FALSE, library.CanUnloadNow()) << "the class object is held";

    CComPointer<IUnknown> camera;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IUnknown, camera.putVoid()));
    factory.reset();
    EXPECT_EQ(S_FALSE, library.CanUnloadNow()) << "the object lives on without its class object";
    camera.reset();
    EXPECT_EQ(S_OK, library.CanUnloadNow());

    factory = library.Factory(CLSID_AVCommand);
    EXPECT_EQ(S_OK, factory->LockServer(TRUE));
    EXPECT_EQ(S_OK, factory->LockServer(TRUE));
    factory.reset();
    EXPECT_EQ(S_FALSE, library.CanUnloadNow()) << "two locks";
    factory = library.Factory(CLSID_AVCommand);
    EXPECT_EQ(S_OK, factory->LockServer(FALSE));
    factory.reset();
    EXPECT_EQ(S_FALSE, library.CanUnloadNow()) << "one lock";
    library.Factory(CLSID_AVCommand)->LockServer(FALSE);
    EXPECT_EQ(S_OK, library.CanUnloadNow());
}
} // namespace
