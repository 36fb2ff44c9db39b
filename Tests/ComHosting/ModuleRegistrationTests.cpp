// Registration of a module with several classes, some of which cannot be registered. What works as a whole is tested
// with the real component.

#include "TestClass.h"

#include "ComHosting/ComModule.h"
#include "ComHosting/ComponentCategories.h"
#include "ComHosting/RegistryScript.h"
#include "Tests/Support/RegistrySnapshot.h"

#include <gtest/gtest.h>
#include <objbase.h>

#include <vector>

namespace
{
constexpr CLSID kClassOne = {0x6C0B9E5F, 0x1A37, 0x4D82, {0x8F, 0x4E, 0x93, 0xA6, 0x1D, 0x0C, 0x7B, 0x11}};
constexpr CLSID kClassThree = {0x6C0B9E5F, 0x1A37, 0x4D82, {0x8F, 0x4E, 0x93, 0xA6, 0x1D, 0x0C, 0x7B, 0x33}};
constexpr CATID kCategories[] = {{0xF47A1B60, 0x38C9, 0x4E5D, {0xA2, 0x90, 0x6B, 0x1D, 0xC3, 0x75, 0x08, 0xE4}}};
constexpr wchar_t kCategoryKey[] = L"CLSID\\{6C0B9E5F-1A37-4D82-8F4E-93A61D0C7B11}\\Implemented Categories\\"
                                   L"{F47A1B60-38C9-4E5D-A290-6B1DC37508E4}";
constexpr UINT kScriptOne = 1;
constexpr UINT kMissingScript = 2;
constexpr UINT kScriptThree = 3;

constinit CComClassFactory factory(&CreateComObject<CTestClass, TestInterfaces>);

bool IsRegistered(const wchar_t* key)
{
    return CRegistrySnapshot::KeyExists(HKEY_CLASSES_ROOT, key);
}

std::wstring OwnPath()
{
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

class ModuleRegistration : public testing::Test
{
protected:
    ModuleRegistration()
    {
        Clean();
        EXPECT_EQ(S_OK, ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)); // for the categories
    }
    ~ModuleRegistration() override
    {
        ::CoUninitialize();
        CComModule::Get().Term();
        Clean();
    }
    static void Clean()
    {
        for (const wchar_t* key :
             {L"Quorvane.TestOne", L"Quorvane.TestThree", L"CLSID\\{6C0B9E5F-1A37-4D82-8F4E-93A61D0C7B11}",
              L"CLSID\\{6C0B9E5F-1A37-4D82-8F4E-93A61D0C7B33}"})
            ::RegDeleteTreeW(HKEY_CLASSES_ROOT, key);
    }
    void Use(std::vector<ComObjectMapEntry> map)
    {
        m_map = std::move(map);
        // No type library of this identity: the test program carries none at all.
        CComModule::Get().Init(m_map, ::GetModuleHandleW(nullptr), &kClassOne);
    }

    std::vector<ComObjectMapEntry> m_map;
};

TEST_F(ModuleRegistration, SecondClassThatFailsTakesTheFirstBack)
{
    Use({{&kClassOne, kScriptOne, kCategories, &factory}, {&kClassThree, kMissingScript, {}, &factory}});
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND), CComModule::Get().RegisterServer());
    EXPECT_FALSE(IsRegistered(L"Quorvane.TestOne"));
    EXPECT_FALSE(IsRegistered(L"CLSID\\{6C0B9E5F-1A37-4D82-8F4E-93A61D0C7B11}"));
    EXPECT_TRUE(IsRegistered(L"CLSID"));
}

TEST_F(ModuleRegistration, MissingTypeLibraryTakesEveryClassBack)
{
    Use({{&kClassOne, kScriptOne, kCategories, &factory}, {&kClassThree, kScriptThree, {}, &factory}});
    EXPECT_TRUE(FAILED(CComModule::Get().RegisterServer()));
    EXPECT_FALSE(IsRegistered(L"Quorvane.TestOne"));
    EXPECT_FALSE(IsRegistered(L"Quorvane.TestThree"));
}

TEST_F(ModuleRegistration, RemovalStopsAtTheFirstFailure)
{
    ASSERT_EQ(S_OK, RegistryScript::Register(OwnPath(), kScriptOne));
    ASSERT_EQ(S_OK, RegistryScript::Register(OwnPath(), kScriptThree));
    Use({{&kClassOne, kScriptOne, {}, &factory},
         {&kClassOne, kMissingScript, {}, &factory},
         {&kClassThree, kScriptThree, {}, &factory}});
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND), CComModule::Get().UnregisterServer());
    EXPECT_FALSE(IsRegistered(L"Quorvane.TestOne"));
    EXPECT_TRUE(IsRegistered(L"Quorvane.TestThree"));
}

TEST_F(ModuleRegistration, CategoriesOfAClassComeAndGo)
{
    EXPECT_EQ(S_OK, ComponentCategories::Register(kClassOne, kCategories));
    EXPECT_TRUE(IsRegistered(kCategoryKey));
    EXPECT_EQ(S_OK, ComponentCategories::Unregister(kClassOne, kCategories));
    EXPECT_FALSE(IsRegistered(kCategoryKey));
}

TEST_F(ModuleRegistration, RemovalTakesTheCategoriesBeforeTheScript)
{
    ASSERT_EQ(S_OK, RegistryScript::Register(OwnPath(), kScriptOne));
    ASSERT_EQ(S_OK, ComponentCategories::Register(kClassOne, kCategories));
    // The script fails, so what is gone afterwards went before it.
    Use({{&kClassOne, kMissingScript, kCategories, &factory}});
    EXPECT_TRUE(FAILED(CComModule::Get().UnregisterServer()));
    EXPECT_FALSE(IsRegistered(kCategoryKey));
    EXPECT_TRUE(IsRegistered(L"CLSID\\{6C0B9E5F-1A37-4D82-8F4E-93A61D0C7B11}"));
}

TEST_F(ModuleRegistration, FailureOfCategoriesTakesTheScriptBack)
{
    ::CoUninitialize(); // categories need COM on the thread
    Use({{&kClassOne, kScriptOne, kCategories, &factory}});
    EXPECT_EQ(CO_E_NOTINITIALIZED, CComModule::Get().RegisterServer());
    EXPECT_FALSE(IsRegistered(L"Quorvane.TestOne"));
    EXPECT_EQ(S_OK, ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
}
} // namespace
