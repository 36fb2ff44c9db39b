// The component through the manifest beside it, on a machine where it is not registered.

#include "Tests/Support/ComponentLibrary.h"
#include "Tests/Support/RegistrySnapshot.h"

#include <Quorvane.h>
#include <gtest/gtest.h>
#include <objbase.h>

namespace
{
using CActivationContext = CUniqueHandle<HANDLE, &::ReleaseActCtx>;

TEST(RegistrationFree, ManifestCreatesTheObject)
{
    ASSERT_FALSE(CRegistrySnapshot::KeyExists(HKEY_CLASSES_ROOT, L"CLSID\\{ACA3DFFE-7AEB-4932-BED8-EBB773D8ABC4}"));
    std::wstring manifest = ComponentPath();
    manifest.replace(manifest.size() - 4, 4, L".X.manifest");
    ACTCTXW description{};
    description.cbSize = sizeof(description);
    description.lpSource = manifest.c_str();
    const HANDLE created = ::CreateActCtxW(&description);
    ASSERT_NE(INVALID_HANDLE_VALUE, created) << ::GetLastError();
    const CActivationContext context(created);
    ULONG_PTR cookie = 0;
    ASSERT_TRUE(::ActivateActCtx(context.get(), &cookie));
    ASSERT_EQ(S_OK, ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    {
        // The system gives a ProgID of a manifest an identifier of its own making; it creates the class all the same.
        CLSID fromProgId{};
        EXPECT_EQ(S_OK, ::CLSIDFromProgID(L"Quorvane.AVCommand", &fromProgId));
        for (const CLSID& clsid : {CLSID_AVCommand, fromProgId})
        {
            CComPointer<IAVCommand5> camera;
            EXPECT_EQ(S_OK,
                      ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, camera.putVoid()));
            ASSERT_TRUE(camera);
            EXPECT_EQ(S_FALSE, camera->IsConnected());
        }
    }
    ::CoUninitialize();
    EXPECT_TRUE(::DeactivateActCtx(0, cookie));
}
} // namespace
