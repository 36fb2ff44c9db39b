// What the library's file contains: what it needs from others, what it offers, its resources.

#include "PortableExecutable.h"

#include "Tests/Support/ComponentLibrary.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{
using testing::ElementsAre;
using testing::IsSubsetOf;

PortableExecutable ReadComponent()
{
    std::ifstream file(std::filesystem::path(ComponentPath()), std::ios::binary);
    return ReadPortableExecutable(std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
}

TEST(LibraryFile, NeedsOnlyWhatEveryWindowsHas)
{
    // A component in somebody else's process cannot count on a compiler's runtime libraries lying beside it.
    EXPECT_THAT(ReadComponent().importedLibraries,
                IsSubsetOf({"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "user32.dll",
                            "wininet.dll"}));
}

TEST(LibraryFile, ExportsTheFourEntryPointsAndNothingElse)
{
    const PortableExecutable component = ReadComponent();
    EXPECT_THAT(component.exportedNames,
                ElementsAre("DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"));
    EXPECT_EQ(4u, component.exportedFunctionCount);
}

TEST(LibraryFile, CarriesScriptTypeLibraryAndVersion)
{
    const CComponentLibrary library;
    EXPECT_NE(nullptr, ::FindResourceW(library.Module(), MAKEINTRESOURCEW(101), L"REGISTRY"));
    EXPECT_NE(nullptr, ::FindResourceW(library.Module(), MAKEINTRESOURCEW(1), L"TYPELIB"));
    EXPECT_NE(nullptr, ::FindResourceW(library.Module(), MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION));
}

TEST(LibraryFile, StringHundredIsTheProgramsName)
{
    const CComponentLibrary library;
    wchar_t text[64] = {};
    EXPECT_EQ(8, ::LoadStringW(library.Module(), 100, text, 64));
    EXPECT_STREQ(L"Quorvane", text);
}
} // namespace
