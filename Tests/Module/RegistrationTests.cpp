// Registration and its removal, seen in the registry and through COM. Uses HKEY_CLASSES_ROOT of the private prefix.

#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/RegistryObstacle.h"
#include "Tests/Support/RegistrySnapshot.h"

#include <Quorvane.h>
#include <gmock/gmock.h>
#include <objbase.h>

#include <filesystem>
#include <string>
#include <vector>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kClassKey[] = L"CLSID\\{ACA3DFFE-7AEB-4932-BED8-EBB773D8ABC4}";
constexpr wchar_t kProgIdKey[] = L"Quorvane.AVCommand.1";
constexpr wchar_t kVersionIndependentProgIdKey[] = L"Quorvane.AVCommand";
constexpr wchar_t kTypeLibKey[] = L"TypeLib\\{FFF2981C-9D4E-4360-B19B-57118EF4C2E4}";

std::vector<std::wstring> Snapshot(const std::wstring& key)
{
    return CRegistrySnapshot::Take(HKEY_CLASSES_ROOT, key);
}

class Registration : public testing::Test
{
protected:
    Registration()
    {
        RemoveKeys();
    }
    ~Registration() override
    {
        RemoveKeys();
    }
    static void RemoveKeys()
    {
        for (const wchar_t* key : {kClassKey, kProgIdKey, kVersionIndependentProgIdKey, kTypeLibKey})
            ::RegDeleteTreeW(HKEY_CLASSES_ROOT, key);
    }
    static void ExpectNothingRegistered()
    {
        for (const wchar_t* key : {kClassKey, kProgIdKey, kVersionIndependentProgIdKey, kTypeLibKey})
            EXPECT_THAT(Snapshot(key), IsEmpty()) << std::filesystem::path(key).string();
    }

    CComponentLibrary m_library;
};

TEST_F(Registration, EntersTheScriptsKeysAndNoOthers)
{
    ASSERT_EQ(S_OK, m_library.RegisterServer());
    EXPECT_THAT(Snapshot(kProgIdKey),
                ElementsAre(L"", L"||1|AVCommand Class", L"CLSID", L"CLSID||1|{ACA3DFFE-7AEB-4932-BED8-EBB773D8ABC4}"));
    EXPECT_THAT(Snapshot(kVersionIndependentProgIdKey),
                ElementsAre(L"", L"||1|AVCommand Class", L"CLSID", L"CLSID||1|{ACA3DFFE-7AEB-4932-BED8-EBB773D8ABC4}",
                            L"CurVer", L"CurVer||1|Quorvane.AVCommand.1"));
    EXPECT_THAT(Snapshot(kClassKey),
                ElementsAre(L"", L"||1|AVCommand Class", L"InprocServer32", L"InprocServer32||1|" + ComponentPath(),
                            L"InprocServer32|ThreadingModel|1|Apartment", L"ProgID", L"ProgID||1|Quorvane.AVCommand.1",
                            L"Programmable", L"TypeLib", L"TypeLib||1|{FFF2981C-9D4E-4360-B19B-57118EF4C2E4}",
                            L"VersionIndependentProgID", L"VersionIndependentProgID||1|Quorvane.AVCommand"));
    EXPECT_FALSE(CRegistrySnapshot::KeyExists(HKEY_CLASSES_ROOT, L"Interface\\{8027FFEE-FA59-44EE-9D07-6EF5B48B91D9}"))
        << "custom interfaces are not marshalled by the type library";
}

TEST_F(Registration, EntersTheTypeLibraryOfTheModule)
{
    ASSERT_EQ(S_OK, m_library.RegisterServer());
    CComPointer<ITypeLib> loaded;
    ASSERT_EQ(S_OK, ::LoadRegTypeLib(LIBID_QUORVANELib, 1, 0, 0x409, loaded.put()));
    BSTR path = nullptr;
    ASSERT_EQ(S_OK, ::QueryPathOfRegTypeLib(LIBID_QUORVANELib, 1, 0, 0x409, &path));
    EXPECT_EQ(ComponentPath(), path);
    ::SysFreeString(path);
    const std::vector<std::wstring> lines = Snapshot(kTypeLibKey);
    EXPECT_THAT(lines, testing::Contains(L"1.0||1|Quorvane 1.0 Type Library"));
    EXPECT_THAT(lines, testing::Contains(L"1.0\\409\\win32||1|" + ComponentPath()));
}

TEST_F(Registration, RemovalLeavesOnlyTheClsidKey)
{
    ASSERT_EQ(S_OK, m_library.RegisterServer());
    EXPECT_EQ(S_OK, m_library.UnregisterServer());
    ExpectNothingRegistered();
    EXPECT_TRUE(CRegistrySnapshot::KeyExists(HKEY_CLASSES_ROOT, L"CLSID"));
}

TEST_F(Registration, TwiceIsAsGoodAsOnce)
{
    ASSERT_EQ(S_OK, m_library.RegisterServer());
    const std::vector<std::wstring> once = Snapshot(kClassKey);
    EXPECT_EQ(S_OK, m_library.RegisterServer());
    EXPECT_EQ(once, Snapshot(kClassKey));
}

TEST_F(Registration, ReplacesTheClassKeyWhole)
{
    CUniqueHandle<HKEY, &::RegCloseKey> stale;
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegCreateKeyW(HKEY_CLASSES_ROOT, (std::wstring(kClassKey) + L"\\LocalServer32").c_str(), stale.put()));
    stale.reset();
    ASSERT_EQ(S_OK, m_library.RegisterServer());
    EXPECT_FALSE(CRegistrySnapshot::KeyExists(HKEY_CLASSES_ROOT, std::wstring(kClassKey) + L"\\LocalServer32"));
}

TEST_F(Registration, FailureInTheTypeLibraryTakesTheClassBack)
{
    const CRegistryObstacle obstacle(kTypeLibKey);
    EXPECT_TRUE(FAILED(m_library.RegisterServer()));
    EXPECT_THAT(Snapshot(kClassKey), IsEmpty());
    EXPECT_THAT(Snapshot(kProgIdKey), IsEmpty());
    EXPECT_THAT(Snapshot(kVersionIndependentProgIdKey), IsEmpty());
}

TEST_F(Registration, FailureInTheMiddleOfTheScriptTakesItsBeginningBack)
{
    const CRegistryObstacle obstacle(kVersionIndependentProgIdKey);
    EXPECT_TRUE(FAILED(m_library.RegisterServer()));
    EXPECT_THAT(Snapshot(kProgIdKey), IsEmpty());
    EXPECT_THAT(Snapshot(kClassKey), IsEmpty());
    EXPECT_THAT(Snapshot(kTypeLibKey), IsEmpty());
}

TEST_F(Registration, FailureInTheScriptSparesATypeLibraryThatIsThereAlready)
{
    ASSERT_EQ(S_OK, m_library.RegisterServer());
    const std::vector<std::wstring> before = Snapshot(kTypeLibKey);
    ::RegDeleteTreeW(HKEY_CLASSES_ROOT, kVersionIndependentProgIdKey);
    const CRegistryObstacle obstacle(kVersionIndependentProgIdKey);
    EXPECT_TRUE(FAILED(m_library.RegisterServer()));
    EXPECT_THAT(Snapshot(kClassKey), IsEmpty());
    EXPECT_EQ(before, Snapshot(kTypeLibKey)) << "its step was not reached";
}

TEST_F(Registration, RemovalWithoutRegistrationChangesNothing)
{
    EXPECT_TRUE(FAILED(m_library.UnregisterServer())) << "the system cannot remove a type library that is absent";
    ExpectNothingRegistered();
}

/// A copy of the component in a folder whose name needs care in a registry script.
class OddFolder : public Registration
{
protected:
    void SetUp() override
    {
        wchar_t temporary[MAX_PATH] = {};
        ASSERT_NE(0u, ::GetTempPathW(MAX_PATH, temporary));
        m_folder = std::filesystem::path(temporary) / L"it's 100% M\u00FCller's {cam}";
        std::filesystem::create_directories(m_folder);
        std::filesystem::copy_file(ComponentPath(), Copy(), std::filesystem::copy_options::overwrite_existing);
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    std::filesystem::path Copy() const
    {
        return m_folder / L"Quorvane.dll";
    }

    std::filesystem::path m_folder;
};

TEST_F(OddFolder, PathIsEnteredToTheLetter)
{
    const CComponentLibrary copy(Copy().wstring());
    ASSERT_EQ(S_OK, copy.RegisterServer());
    EXPECT_THAT(Snapshot(kClassKey), testing::Contains(L"InprocServer32||1|" + Copy().wstring()));
    EXPECT_EQ(S_OK, copy.UnregisterServer());
    ExpectNothingRegistered();
}

/// A registered component and a thread in an apartment.
class RegisteredComponent : public Registration
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, m_library.RegisterServer());
        ASSERT_EQ(S_OK, ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    }
    void TearDown() override
    {
        ::CoUninitialize();
        EXPECT_EQ(S_OK, m_library.UnregisterServer());
    }
};

TEST_F(RegisteredComponent, IsCreatedByEitherProgIdAndByClsid)
{
    for (const wchar_t* progId : {L"Quorvane.AVCommand.1", L"Quorvane.AVCommand"})
    {
        CLSID clsid{};
        ASSERT_EQ(S_OK, ::CLSIDFromProgID(progId, &clsid));
        EXPECT_EQ(CLSID_AVCommand, clsid);
    }
    CComPointer<IAVCommand5> camera;
    ASSERT_EQ(S_OK,
              ::CoCreateInstance(CLSID_AVCommand, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, camera.putVoid()));
    EXPECT_EQ(S_FALSE, camera->IsConnected());
    BSTR progId = nullptr;
    ASSERT_EQ(S_OK, ::ProgIDFromCLSID(CLSID_AVCommand, &progId));
    EXPECT_STREQ(L"Quorvane.AVCommand.1", progId);
    ::CoTaskMemFree(progId);
}

TEST_F(RegisteredComponent, StaysLoadedWhileAnObjectLives)
{
    CComPointer<IUnknown> camera;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_AVCommand, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, camera.putVoid()));
    ::CoFreeUnusedLibraries();
    EXPECT_EQ(S_FALSE, m_library.CanUnloadNow());
    CComPointer<IAVCommand> again;
    EXPECT_EQ(S_OK, camera->QueryInterface(IID_IAVCommand, again.putVoid()));
    again.reset();
    camera.reset();
    ::CoFreeUnusedLibraries();
    EXPECT_EQ(S_OK, m_library.CanUnloadNow());
}
} // namespace
