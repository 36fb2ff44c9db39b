#include "Protocol/IpelaReply.h"

#include "Protocol/TextUtil.h"

namespace
{
std::wstring_view ValueBehind(std::wstring_view content, std::size_t equalsSign) noexcept
{
    const std::wstring_view rest = TextUtil::TrimLeft(content.substr(equalsSign + 1));
    const std::size_t end = rest.find(L'&');
    return end == 0 ? rest : rest.substr(0, end);
}
} // namespace

std::wstring_view IpelaReply::GetValue(std::wstring_view content, std::wstring_view key) noexcept
{
    const std::size_t position = content.find(key);
    if (position == std::wstring_view::npos)
        return {};
    const std::size_t equalsSign = content.find(L'=', position + key.size());
    if (equalsSign == std::wstring_view::npos)
        return {};
    return ValueBehind(content, equalsSign);
}

std::wstring_view IpelaReply::GetExactValue(std::wstring_view content, std::wstring_view key) noexcept
{
    std::size_t position = content.find(key);
    while (position != std::wstring_view::npos)
    {
        // Only the next character is looked at: a search for the next "=" from every place of the key would take
        // quadratic time in a reply that repeats the key.
        const std::size_t end = position + key.size();
        if (end < content.size() && content[end] == L'=')
            return ValueBehind(content, end);
        position = content.find(key, end);
    }
    return {};
}

std::wstring_view IpelaReply::Read(std::wstring_view content, const Key& key) noexcept
{
    return key.lookup == Lookup::Exact ? GetExactValue(content, key.name) : GetValue(content, key.name);
}

std::int32_t IpelaReply::ToNumber(std::wstring_view text) noexcept
{
    return TextUtil::ToNumber(text);
}

std::int32_t IpelaReply::ReadNumber(std::wstring_view content, const Key& key) noexcept
{
    return ToNumber(Read(content, key));
}
