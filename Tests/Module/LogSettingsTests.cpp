// When the component looks at the log settings: whenever a client's work begins.

#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/RegistryObstacle.h"
#include "Tests/Support/TemporaryFolder.h"

#include <Quorvane.h>
#include <gmock/gmock.h>

namespace
{
using testing::HasSubstr;
using testing::IsEmpty;

class ModuleLog : public testing::Test
{
protected:
    ModuleLog()
    {
        ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", m_file.c_str());
    }
    ~ModuleLog() override
    {
        ::SetEnvironmentVariableW(L"ORBELL_LOG_FILE", nullptr);
    }

    CTemporaryFolder m_folder;
    std::filesystem::path m_file = m_folder / "quorvane.log";
};

TEST_F(ModuleLog, StartsWithTheRequestForTheClassObject)
{
    {
        const CComponentLibrary library;
        EXPECT_THAT(ReadFileBytes(m_file), IsEmpty()) << "loading alone opens nothing";
        CComPointer<IUnknown> camera;
        ASSERT_EQ(S_OK, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IUnknown, camera.putVoid()));
    }
    EXPECT_THAT(ReadFileBytes(m_file), HasSubstr(" VIDEO_QUORVANE 1 "));
    EXPECT_THAT(ReadFileBytes(m_file), HasSubstr("CAVCommand, constructor"));
    EXPECT_THAT(ReadFileBytes(m_file), HasSubstr("CAVCommand, destructor"));
}

TEST_F(ModuleLog, HoldsTheFailureOfARegistration)
{
    constexpr wchar_t kTypeLibKey[] = L"TypeLib\\{FFF2981C-9D4E-4360-B19B-57118EF4C2E4}";
    const CRegistryObstacle obstacle(kTypeLibKey);
    {
        const CComponentLibrary library;
        EXPECT_TRUE(FAILED(library.RegisterServer()));
        EXPECT_TRUE(FAILED(library.UnregisterServer()));
    }
    EXPECT_THAT(ReadFileBytes(m_file), HasSubstr(" VIDEO_QUORVANE 8 "));
    EXPECT_THAT(ReadFileBytes(m_file), HasSubstr("CComModule::RegisterServer, failed, hr = 0x80"));
    EXPECT_THAT(ReadFileBytes(m_file), HasSubstr("CComModule::UnregisterServer, failed, hr = 0x80"));
}
} // namespace
