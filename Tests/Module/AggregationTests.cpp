// AVCommand as a part of another object.

#include "Tests/Support/AggregatingObject.h"
#include "Tests/Support/ComponentLibrary.h"

#include <Quorvane.h>
#include <gtest/gtest.h>

namespace
{
class Aggregation : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK,
                  m_library.Factory(CLSID_AVCommand)->CreateInstance(&m_outer, IID_IUnknown, m_outer.inner.putVoid()));
    }

    CComponentLibrary m_library;
    CAggregatingObject m_outer;
};

TEST_F(Aggregation, InnerIUnknownIsTheCamerasOwn)
{
    EXPECT_EQ(1u, m_outer.references) << "the camera must not count the object that owns it";
    EXPECT_NE(static_cast<IUnknown*>(&m_outer), m_outer.inner.get());
    CComPointer<IUnknown> again;
    ASSERT_EQ(S_OK, m_outer.inner->QueryInterface(IID_IUnknown, again.putVoid()));
    EXPECT_EQ(m_outer.inner.get(), again.get());
    EXPECT_EQ(1u, m_outer.references);
    void* object = &m_outer;
    EXPECT_EQ(E_NOINTERFACE, m_outer.inner->QueryInterface(kAggregatingInterface, &object))
        << "never asks the outer object";
    EXPECT_EQ(nullptr, object);
}

TEST_F(Aggregation, InterfacesBelongToTheOuterObject)
{
    CComPointer<IAVCommand> camera;
    ASSERT_EQ(S_OK, m_outer.QueryInterface(IID_IAVCommand, camera.putVoid()));
    EXPECT_EQ(2u, m_outer.references) << "the reference counts for the outer object";
    CComPointer<IUnknown> identity;
    ASSERT_EQ(S_OK, camera->QueryInterface(IID_IUnknown, identity.putVoid()));
    EXPECT_EQ(static_cast<IUnknown*>(&m_outer), identity.get());
    CComPointer<IUnknown> own;
    ASSERT_EQ(S_OK, camera->QueryInterface(kAggregatingInterface, own.putVoid())) << "what only the outer object has";
    EXPECT_EQ(4u, m_outer.references);
    identity.reset();
    own.reset();
    EXPECT_EQ(3u, camera->AddRef());
    EXPECT_EQ(2u, camera->Release());
    camera.reset();
    EXPECT_EQ(1u, m_outer.references);
}

TEST_F(Aggregation, EveryInterfaceIsTheSamePointer)
{
    CComPointer<IAVCommand> camera;
    ASSERT_EQ(S_OK, m_outer.QueryInterface(IID_IAVCommand, camera.putVoid()));
    for (const IID* iid : {&IID_IAVCommand2, &IID_IAVCommand3, &IID_IAVCommand4, &IID_IAVCommand5})
    {
        CComPointer<IAVCommand> queried;
        ASSERT_EQ(S_OK, camera->QueryInterface(*iid, queried.putVoid()));
        EXPECT_EQ(camera.get(), queried.get());
    }
}

TEST_F(Aggregation, CameraDiesWithItsInnerReference)
{
    EXPECT_EQ(S_FALSE, m_library.CanUnloadNow());
    EXPECT_EQ(2u, m_outer.inner->AddRef());
    EXPECT_EQ(1u, m_outer.inner->Release());
    m_outer.inner.reset();
    EXPECT_EQ(S_OK, m_library.CanUnloadNow());
    EXPECT_EQ(1u, m_outer.references);
}

TEST_F(Aggregation, AnyOtherInterfaceThanIUnknownIsRefused)
{
    void* object = &m_outer;
    EXPECT_EQ(CLASS_E_NOAGGREGATION,
              m_library.Factory(CLSID_AVCommand)->CreateInstance(&m_outer, IID_IAVCommand, &object));
    EXPECT_EQ(nullptr, object);
}
} // namespace
