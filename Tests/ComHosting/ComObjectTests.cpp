// The object templates: lifetime, identity, the module's lock and counting from several threads.

#include "TestClass.h"

#include "ComHosting/ComModule.h"
#include "Win32/ComPointer.h"
#include "Win32/Handles.h"

#include <gtest/gtest.h>

namespace
{
class ComObject : public testing::Test
{
protected:
    ~ComObject() override
    {
        CTestClass::onDestruction = nullptr;
        EXPECT_EQ(0, CComModule::Get().LockCount());
    }
    static CComPointer<ITestNewer> Create()
    {
        CComPointer<ITestNewer> object;
        EXPECT_EQ(S_OK, (CreateComObject<CTestClass, TestInterfaces>(nullptr, __uuidof(ITestNewer), object.putVoid())));
        return object;
    }
};

TEST_F(ComObject, AnswersForItsChainAndNothingElse)
{
    const CComPointer<ITestNewer> object = Create();
    for (const IID& iid : {IID_IUnknown, __uuidof(ITestOlder), __uuidof(ITestNewer)})
    {
        CComPointer<ITestOlder> queried;
        EXPECT_EQ(S_OK, object->QueryInterface(iid, queried.putVoid()));
        EXPECT_EQ(object.get(), queried.get());
    }
    void* other = &other;
    EXPECT_EQ(E_NOINTERFACE, object->QueryInterface(IID_IClassFactory, &other));
    EXPECT_EQ(nullptr, other);
    EXPECT_EQ(2, object->Second());
}

TEST_F(ComObject, KeepsTheModuleLockedUntilItsDestructorIsDone)
{
    long lockedDuringDestruction = -1;
    CTestClass::onDestruction = [&] { lockedDuringDestruction = CComModule::Get().LockCount(); };
    CComPointer<ITestNewer> object = Create();
    EXPECT_EQ(1, CComModule::Get().LockCount());
    object.reset();
    EXPECT_EQ(1, lockedDuringDestruction);
    EXPECT_EQ(0, CComModule::Get().LockCount());
}

TEST_F(ComObject, AggregatedOneKeepsTheModuleLockedUntilItsDestructorIsDone)
{
    long lockedDuringDestruction = -1;
    CComPointer<ITestNewer> outer = Create();
    CComPointer<IUnknown> inner;
    ASSERT_EQ(S_OK, (CreateComObject<CTestClass, TestInterfaces>(outer.get(), IID_IUnknown, inner.putVoid())));
    EXPECT_EQ(2, CComModule::Get().LockCount());
    CTestClass::onDestruction = [&] { lockedDuringDestruction = CComModule::Get().LockCount(); };
    inner.reset();
    EXPECT_EQ(2, lockedDuringDestruction);
    EXPECT_EQ(1, CComModule::Get().LockCount());
}

TEST_F(ComObject, AggregatedOneMayReferToTheOuterObjectWhileItDies)
{
    CComPointer<ITestNewer> outer = Create();
    CComPointer<IUnknown> inner;
    ASSERT_EQ(S_OK, (CreateComObject<CTestClass, TestInterfaces>(outer.get(), IID_IUnknown, inner.putVoid())));
    CTestClass::onDestruction = [&] {
        outer->AddRef();
        outer->Release();
    };
    inner.reset();
    CTestClass::onDestruction = nullptr;
    EXPECT_EQ(2u, outer->AddRef());
    EXPECT_EQ(1u, outer->Release());
}

DWORD WINAPI CountUpAndDown(void* parameter)
{
    constexpr int kRounds = 50000;
    auto* const object = static_cast<IUnknown*>(parameter);
    for (int i = 0; i < kRounds; ++i)
    {
        object->AddRef();
        object->Release();
    }
    return 0;
}

TEST_F(ComObject, CountSurvivesSeveralThreads)
{
    constexpr DWORD kLimitMs = 60000;
    CComPointer<ITestNewer> object = Create();
    CKernelHandle threads[4];
    for (CKernelHandle& thread : threads)
        thread.reset(::CreateThread(nullptr, 0, &CountUpAndDown, object.get(), 0, nullptr));
    for (const CKernelHandle& thread : threads)
        ASSERT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(thread.get(), kLimitMs));
    EXPECT_EQ(2u, object->AddRef());
    EXPECT_EQ(1u, object->Release());
}
} // namespace
