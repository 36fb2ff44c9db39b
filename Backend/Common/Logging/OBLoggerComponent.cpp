#include "Logging/OBLoggerComponent.h"

#include "Logging/OBLogManager.h"

#include <algorithm>

std::wstring_view COBLoggerComponent::Name() const noexcept
{
    return {m_name, m_nameChars};
}

bool COBLoggerComponent::IsLogging(LogLevel level) const noexcept
{
    return COBLogManager::IsLogging(level);
}

void COBLoggerComponent::Write(LogLevel level, const char* file, unsigned line, const std::wstring& text) const noexcept
{
    std::string_view fileName = file != nullptr ? file : "";
    if (const std::size_t separator = fileName.find_last_of("/\\"); separator != std::string_view::npos)
        fileName.remove_prefix(separator + 1);
    COBLogManager::Deliver({Name(), level, fileName, line, text});
}

void COBLoggerComponent::SetName(std::wstring_view name) noexcept
{
    m_nameChars = std::min(name.size(), kMaxNameChars);
    std::copy_n(name.begin(), m_nameChars, m_name);
}
