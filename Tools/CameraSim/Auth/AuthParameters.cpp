#include "CameraSim/Auth/AuthParameters.h"

#include "CameraSim/Text/Ascii.h"

#include <algorithm>

namespace
{

/// Length of the first item of a comma-separated list, quoted commas included; npos when a quote stays open.
std::size_t ItemLength(std::string_view text)
{
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (quoted && text[i] == '\\')
            ++i;
        else if (text[i] == '"')
            quoted = !quoted;
        else if (text[i] == ',' && !quoted)
            return i;
    }
    return quoted ? std::string_view::npos : text.size();
}

std::string Unquote(std::string_view value)
{
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
        value = value.substr(1, value.size() - 2);
    return std::string(value);
}

} // namespace

bool AuthParameters::Has(std::string_view name) const
{
    return std::any_of(parameters.begin(), parameters.end(), [&](const Parameter& p) { return p.name == name; });
}

std::string AuthParameters::Get(std::string_view name) const
{
    const auto found =
        std::find_if(parameters.begin(), parameters.end(), [&](const Parameter& p) { return p.name == name; });
    return found == parameters.end() ? std::string() : found->value;
}

AuthParameters AuthParameters::Parse(std::string_view text)
{
    AuthParameters result;
    text = Ascii::Trim(text);
    const auto scheme = text.substr(0, text.find(' '));
    result.scheme = Ascii::Lower(scheme);
    text = Ascii::Trim(text.substr(scheme.size()));
    result.rest = text;
    while (!text.empty())
    {
        const std::size_t length = ItemLength(text);
        if (length == std::string_view::npos)
        {
            result.wellFormed = false;
            break;
        }
        const auto item = Ascii::Trim(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
        if (item.empty())
            continue;
        const auto equals = item.find('=');
        const auto name = Ascii::Lower(Ascii::Trim(item.substr(0, equals)));
        if (equals == item.npos || result.Has(name))
            result.wellFormed = false;
        else
            result.parameters.push_back({name, Unquote(Ascii::Trim(item.substr(equals + 1)))});
    }
    return result;
}
