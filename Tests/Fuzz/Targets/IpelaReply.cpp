#include "Protocol/IpelaReply.h"
#include "Fuzz/FuzzTarget.h"

using Fuzz::Require;

namespace
{
constexpr std::wstring_view kKeys[] = {L"AudioIn", L"ImageSize", L"ImageSize1", L"McAddress1", L"McVideoPort"};

/// GetExactValue, one step at a time and without regard to speed.
std::wstring_view SlowExactValue(std::wstring_view content, std::wstring_view key)
{
    const std::size_t position = content.find(std::wstring(key) + L"=");
    if (position == std::wstring_view::npos)
        return {};
    std::wstring_view value = content.substr(position + key.size() + 1);
    value.remove_prefix(std::min(value.find_first_not_of(L" \t\n\v\f\r"), value.size()));
    return value.starts_with(L'&') ? value : value.substr(0, value.find(L'&'));
}

/// The reply to an inquiry.
void FeedIpelaReply(std::string_view input)
{
    const std::wstring content = Fuzz::Wide(input);
    for (const std::wstring_view key : kKeys)
    {
        const std::wstring_view value = IpelaReply::GetValue(content, key);
        const std::wstring_view exact = IpelaReply::GetExactValue(content, key);
        Require(Fuzz::IsInside<std::wstring_view>(value, content), "a value is a view of the reply");
        Require(Fuzz::IsInside<std::wstring_view>(exact, content), "an exact value is a view of the reply");
        Require(exact == SlowExactValue(content, key), "an exact value stands behind its key");
        const std::int32_t number = IpelaReply::ReadNumber(content, {key});
        Require(IpelaReply::ToNumber(std::to_wstring(number)) == number, "a number reads the same when written down");
    }
}

const CFuzzTarget kIpelaReply("IpelaReply", FeedIpelaReply);
} // namespace
