#include "Logging/LogSettings.h"

#include "Logging/LogFileSink.h"
#include "Threading/LeafLock.h"
#include "Win32/RegistryKey.h"

#include <cstdlib>
#include <cwchar>
#include <memory>
#include <optional>
#include <string>

namespace
{
struct Settings
{
    std::wstring path; ///< empty: no logging
    DWORD levels = COBLogManager::kAllLevels;
};

/// What the last Apply put in place. Guarded by s_lock.
struct AppliedSettings
{
    Settings settings;
    std::shared_ptr<CLogFileSink> sink;
};

constinit CLeafLock s_lock(Lifetime::LockRank::LogSettings); // the sink is replaced inside
constinit AppliedSettings s_applied;

/// A variable that is empty counts as absent.
std::optional<std::wstring> ReadEnvironment(const wchar_t* name)
{
    std::wstring text(CRegistryKey::kPathBufferChars, L'\0');
    const DWORD countChars = ::GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size()));
    if (countChars == 0 || countChars >= text.size())
        return std::nullopt;
    text.resize(countChars);
    return text;
}

/// A mask in decimal or, with 0x, hexadecimal digits; anything else, and what exceeds 32 bits, is none.
std::optional<DWORD> ParseLevels(const std::wstring& text)
{
    const bool isHex = text.starts_with(L"0x") || text.starts_with(L"0X");
    const std::wstring digits = isHex ? text.substr(2) : text;
    const wchar_t* const allowed = isHex ? L"0123456789abcdefABCDEF" : L"0123456789";
    if (digits.empty() || digits.find_first_not_of(allowed) != std::wstring::npos)
        return std::nullopt;
    const unsigned long long value = std::wcstoull(digits.c_str(), nullptr, isHex ? 16 : 10);
    if (value > COBLogManager::kAllLevels)
        return std::nullopt;
    return static_cast<DWORD>(value);
}

Settings ReadSettings()
{
    const CRegistryKey key = CRegistryKey::OpenMachine(L"Software\\Orbell\\Logging");
    Settings result;
    result.path = key.ReadPath(L"LogFile").value_or(L"");
    result.levels = key.ReadDword(L"Levels").value_or(COBLogManager::kAllLevels);
    if (const std::optional<std::wstring> path = ReadEnvironment(L"ORBELL_LOG_FILE"))
        result.path = *path;
    if (const std::optional<std::wstring> text = ReadEnvironment(L"ORBELL_LOG_LEVELS"))
        result.levels = ParseLevels(*text).value_or(result.levels);
    return result;
}

/// A sink that somebody else has set, as tests do, stays while the settings say nothing new.
void ApplySettings(Settings settings)
{
    const CLeafLock::Holder holder(s_lock);
    const bool wantsFile = !settings.path.empty();
    const bool samePath = settings.path == s_applied.settings.path;
    if (samePath && settings.levels == s_applied.settings.levels && wantsFile == (s_applied.sink != nullptr))
        return;
    std::shared_ptr<CLogFileSink> sink = samePath ? s_applied.sink : nullptr;
    if (wantsFile && sink == nullptr)
    {
        sink = std::make_shared<CLogFileSink>(settings.path.c_str());
        if (!sink->IsOpen())
            sink = nullptr;
    }
    COBLogManager::SetSink(sink, settings.levels);
    s_applied = {std::move(settings), std::move(sink)};
}
} // namespace

void LogSettings::Apply() noexcept
{
    try
    {
        ApplySettings(ReadSettings());
    }
    catch (...)
    {
        // Out of memory: the log stays as it is.
    }
}
