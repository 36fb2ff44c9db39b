#include "Tests/Support/RegistryValues.h"
#include "Win32/RegistryKey.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace
{
constexpr wchar_t kPath[] = L"Software\\Orbell\\RegistryKeyTests";

TEST(RegistryKey, IsEmptyWhenTheKeyIsAbsent)
{
    const CRegistryKey key = CRegistryKey::OpenMachine(L"Software\\Orbell\\NoSuchKey");
    EXPECT_FALSE(key);
    EXPECT_EQ(key.ReadDword(L"Value"), std::nullopt);
    EXPECT_EQ(key.ReadText(L"Value"), std::nullopt);
    EXPECT_EQ(key.ReadPath(L"Value"), std::nullopt);
}

TEST(RegistryKey, OpeningCreatesNothing)
{
    (void)CRegistryKey::OpenMachine(L"Software\\Orbell\\NoSuchKey");
    EXPECT_FALSE(CRegistryKey::OpenMachine(L"Software\\Orbell\\NoSuchKey"));
}

struct ValueCase
{
    const char* reason;
    DWORD type;
    std::string bytes;
    std::optional<DWORD> dword;
    std::optional<std::wstring> text;
};

/// The bytes of a UTF-16 text, without a terminator unless the text holds one.
std::string Utf16Bytes(const std::wstring& text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

TEST(RegistryKey, ReadsOnlyWellFormedValuesOfTheAskedForType)
{
    using namespace std::string_literals;
    const std::vector<ValueCase> cases = {
        {"four bytes", REG_DWORD, "\x78\x56\x34\x12"s, 0x12345678, std::nullopt},
        {"REG_DWORD of three bytes", REG_DWORD, "\x78\x56\x34"s, std::nullopt, std::nullopt},
        {"REG_DWORD of five bytes", REG_DWORD, "\x78\x56\x34\x12\x00"s, std::nullopt, std::nullopt},
        {"REG_DWORD of no bytes", REG_DWORD, "", std::nullopt, std::nullopt},
        {"four bytes that are no REG_DWORD", REG_BINARY, "\x78\x56\x34\x12"s, std::nullopt, std::nullopt},
        {"text", REG_SZ, Utf16Bytes(L"15000\0"s), std::nullopt, L"15000"},
        {"text to be expanded is given as it is", REG_EXPAND_SZ, Utf16Bytes(L"%PATH%\0"s), std::nullopt, L"%PATH%"},
        {"several texts are no text", REG_MULTI_SZ, Utf16Bytes(L"15000\0\0"s), std::nullopt, std::nullopt},
        {"bytes are no text", REG_BINARY, Utf16Bytes(L"15000\0"s), std::nullopt, std::nullopt},
        {"text without terminator", REG_SZ, Utf16Bytes(L"15000"), std::nullopt, std::nullopt},
        {"odd byte count", REG_SZ, Utf16Bytes(L"15000\0"s) + '\0', std::nullopt, std::nullopt},
        {"empty text", REG_SZ, Utf16Bytes(L"\0"s), std::nullopt, std::nullopt},
        {"no bytes at all", REG_SZ, "", std::nullopt, std::nullopt},
        {"text ends at its first terminator", REG_SZ, Utf16Bytes(L"1\0002\0"s), std::nullopt, L"1"},
        {"longest text that fits", REG_SZ, Utf16Bytes(std::wstring(254, L'7') + L"\0"s), std::nullopt,
         std::wstring(254, L'7')},
        {"one character too many", REG_SZ, Utf16Bytes(std::wstring(255, L'7') + L"\0"s), std::nullopt, std::nullopt},
    };
    CTestRegistryKey values(kPath);
    const CRegistryKey key = CRegistryKey::OpenMachine(kPath);
    ASSERT_TRUE(key);
    for (const ValueCase& each : cases)
    {
        values.SetBytes(L"Value", each.type, each.bytes.data(), each.bytes.size());
        EXPECT_EQ(key.ReadDword(L"Value"), each.dword) << each.reason;
        EXPECT_EQ(key.ReadText(L"Value"), each.text) << each.reason;
    }
    EXPECT_EQ(key.ReadText(L"Absent"), std::nullopt);
    EXPECT_EQ(key.ReadDword(L"Absent"), std::nullopt);
}

TEST(RegistryKey, PathsMayBeLongAndAreExpandedWhenTheirTypeSaysSo)
{
    CTestRegistryKey values(kPath);
    ASSERT_TRUE(::SetEnvironmentVariableW(L"ORBELL_TEST_FOLDER", L"C:\\logs"));
    values.SetText(L"Plain", L"%ORBELL_TEST_FOLDER%\\a.log");
    values.SetText(L"Expanded", L"%ORBELL_TEST_FOLDER%\\a.log", REG_EXPAND_SZ);
    values.SetText(L"Unknown", L"%ORBELL_NO_SUCH_FOLDER%\\a.log", REG_EXPAND_SZ);
    values.SetText(L"Long", std::wstring(1000, L'x'));
    values.SetDword(L"Number", 1);
    const CRegistryKey key = CRegistryKey::OpenMachine(kPath);
    EXPECT_EQ(key.ReadPath(L"Plain"), L"%ORBELL_TEST_FOLDER%\\a.log");
    EXPECT_EQ(key.ReadPath(L"Expanded"), L"C:\\logs\\a.log");
    EXPECT_EQ(key.ReadPath(L"Unknown"), L"%ORBELL_NO_SUCH_FOLDER%\\a.log");
    EXPECT_EQ(key.ReadPath(L"Long"), std::wstring(1000, L'x'));
    EXPECT_EQ(key.ReadPath(L"Number"), std::nullopt);
}
} // namespace
