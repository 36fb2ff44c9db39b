// How a client gets an object, and what the object is in COM's terms.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <oaidl.h>

namespace
{
using testing::ElementsAre;

constexpr const IID* kInterfaces[] = {&IID_IAVCommand, &IID_IAVCommand2, &IID_IAVCommand3, &IID_IAVCommand4,
                                      &IID_IAVCommand5};

class Creation : public ComponentTest
{
};

HRESULT Create(IUnknown* outer, const IID& iid, void** object)
{
    return ::CoCreateInstance(CLSID_AVCommand, outer, CLSCTX_INPROC_SERVER, iid, object);
}

TEST_F(Creation, EitherProgIdNamesTheClass)
{
    for (const wchar_t* progId : {L"Quorvane.AVCommand.1", L"Quorvane.AVCommand"})
    {
        CLSID clsid = {};
        ASSERT_EQ(S_OK, ::CLSIDFromProgID(progId, &clsid));
        CommandPointer command;
        ASSERT_EQ(S_OK, ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, command.putVoid()));
        EXPECT_EQ(S_FALSE, command->IsConnected());
    }
}

TEST_F(Creation, AnyOfTheInterfacesCanBeAskedForFirst)
{
    for (const IID* iid : kInterfaces)
    {
        CComPointer<IAVCommand> command;
        ASSERT_EQ(S_OK, Create(nullptr, *iid, command.putVoid()));
        EXPECT_EQ(S_FALSE, command->IsConnected());
    }
}

TEST_F(Creation, AllInterfacesAreOnePointer)
{
    const CommandPointer command = CreateCommand();
    for (const IID* iid : kInterfaces)
    {
        CComPointer<IAVCommand> queried;
        ASSERT_EQ(S_OK, command->QueryInterface(*iid, queried.putVoid()));
        EXPECT_EQ(static_cast<void*>(command.get()), queried.get());
    }
}

TEST_F(Creation, IdentityIsTheSameFromEveryInterface)
{
    const CommandPointer command = CreateCommand();
    CComPointer<IUnknown> identity;
    ASSERT_EQ(S_OK, command->QueryInterface(IID_IUnknown, identity.putVoid()));
    for (const IID* iid : kInterfaces)
    {
        CComPointer<IUnknown> queried;
        ASSERT_EQ(S_OK, identity->QueryInterface(*iid, queried.putVoid()));
        CComPointer<IUnknown> again;
        ASSERT_EQ(S_OK, queried->QueryInterface(IID_IUnknown, again.putVoid()));
        EXPECT_EQ(identity.get(), again.get());
    }
}

TEST_F(Creation, ObjectIsNeitherAutomationNorErrorObjectAware)
{
    const CommandPointer command = CreateCommand();
    for (const IID* iid : {&IID_IDispatch, &IID_ISupportErrorInfo})
    {
        void* object = &object;
        EXPECT_EQ(E_NOINTERFACE, command->QueryInterface(*iid, &object));
        EXPECT_EQ(nullptr, object);
    }
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    CComPointer<IErrorInfo> error;
    EXPECT_EQ(S_FALSE, ::GetErrorInfo(0, error.put()));
}

TEST_F(Creation, BirthAndDeathAreLogged)
{
    CommandPointer command = CreateCommand();
    EXPECT_THAT(m_log.Lines(), ElementsAre("1 CAVCommand, constructor"));
    EXPECT_EQ(2u, command->AddRef());
    EXPECT_EQ(1u, command->Release());
    m_log.Clear();
    command.reset();
    EXPECT_THAT(m_log.Lines(), ElementsAre("1 CAVCommand, destructor"));
}

/// An object that has the camera as a part. Lives on the stack.
class COuter final : public IUnknown
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (iid != IID_IUnknown)
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

class AggregatedCreation : public SimulatedCameraTest
{
};

TEST_F(AggregatedCreation, PartOfAnotherObjectTalksToACamera)
{
    m_camera.emplace(CameraSimulatorOptions{.model = "SNC-RX550"});
    const WORD port = m_camera->Start();
    COuter outer;
    ASSERT_EQ(S_OK, Create(&outer, IID_IUnknown, outer.inner.putVoid()));
    ASSERT_EQ(S_OK, outer.QueryInterface(IID_IAVCommand5, m_command.putVoid()));
    EXPECT_EQ(2u, outer.references);
    CComPointer<IUnknown> identity;
    ASSERT_EQ(S_OK, m_command->QueryInterface(IID_IUnknown, identity.putVoid()));
    EXPECT_EQ(static_cast<IUnknown*>(&outer), identity.get());

    ASSERT_EQ(S_OK, Open(m_command, port));
    EXPECT_EQ(S_OK, m_command->SetBitRate(64));
    EXPECT_EQ("64", m_camera->Setting("M4BitRate"));

    identity.reset();
    m_command.reset();
    EXPECT_EQ(1u, outer.references);
    m_log.Clear();
    outer.inner.reset();
    EXPECT_THAT(m_log.Lines(), ElementsAre("1 CAVCommand, destructor"));
}

TEST_F(AggregatedCreation, OnlyIUnknownCanBeAskedForFirst)
{
    COuter outer;
    void* object = &outer;
    EXPECT_EQ(CLASS_E_NOAGGREGATION, Create(&outer, IID_IAVCommand5, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(1u, outer.references);
}
} // namespace
