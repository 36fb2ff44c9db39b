// The application object's way through DllMain, and background work.

#include "ComHosting/ModuleLock.h"
#include "ComHosting/WinApp.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
class CTestApp final : public CWinApp
{
public:
    bool InitInstance() noexcept override
    {
        ++starts;
        return canStart;
    }
    void ExitInstance() noexcept override
    {
        ++exits;
    }

    int starts = 0;
    int exits = 0;
    bool canStart = true;
};

const HINSTANCE kInstance = reinterpret_cast<HINSTANCE>(0x10000);

TEST(WinApp, StartsOnceWithItsInstanceAndExitsOnUnload)
{
    CTestApp app;
    EXPECT_TRUE(CWinAppEntry::OnDllMain(app, kInstance, DLL_PROCESS_ATTACH, nullptr));
    EXPECT_EQ(kInstance, app.Instance());
    EXPECT_TRUE(CWinAppEntry::OnDllMain(app, kInstance, DLL_THREAD_ATTACH, nullptr));
    EXPECT_TRUE(CWinAppEntry::OnDllMain(app, kInstance, DLL_THREAD_DETACH, nullptr));
    EXPECT_EQ(0, app.exits);
    EXPECT_TRUE(CWinAppEntry::OnDllMain(app, kInstance, DLL_PROCESS_DETACH, nullptr));
    EXPECT_EQ(1, app.starts);
    EXPECT_EQ(1, app.exits);
}

TEST(WinApp, FailedStartRefusesTheLoad)
{
    CTestApp app;
    app.canStart = false;
    EXPECT_FALSE(CWinAppEntry::OnDllMain(app, kInstance, DLL_PROCESS_ATTACH, nullptr));
}

TEST(WinApp, EndOfTheProcessIsLeftToTheSystem)
{
    CTestApp app;
    int marker = 0;
    CWinAppEntry::OnDllMain(app, kInstance, DLL_PROCESS_ATTACH, &marker);
    EXPECT_TRUE(CWinAppEntry::OnDllMain(app, kInstance, DLL_PROCESS_DETACH, &marker));
    EXPECT_EQ(0, app.exits);
}

TEST(BackgroundWork, ForbidsUnloading)
{
    EXPECT_TRUE(CWinApp::CanUnload());
    auto first = std::make_unique<CBackgroundWork>();
    {
        const CBackgroundWork second;
        first.reset();
        EXPECT_FALSE(CWinApp::CanUnload());
    }
    EXPECT_TRUE(CWinApp::CanUnload());
}
} // namespace
