#include "CameraSim/Text/QueryString.h"

#include "CameraSim/Text/Ascii.h"

namespace QueryString
{

std::optional<std::string> Decode(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] != '%')
        {
            result += text[i];
            continue;
        }
        const auto digits = text.substr(i + 1, 2);
        const auto byte = Ascii::Number<unsigned char>(digits, 16);
        if (digits.size() != 2 || !byte)
            return std::nullopt;
        result += static_cast<char>(*byte);
        i += 2;
    }
    return result;
}

std::optional<std::vector<Parameter>> Parse(std::string_view query)
{
    std::vector<Parameter> parameters;
    while (!query.empty())
    {
        const auto item = query.substr(0, query.find('&'));
        query.remove_prefix(item.size() == query.size() ? item.size() : item.size() + 1);
        if (item.empty())
            continue;
        const auto equals = item.find('=');
        auto name = Decode(item.substr(0, equals));
        auto value = equals == std::string_view::npos ? std::string() : Decode(item.substr(equals + 1));
        if (!name || !value)
            return std::nullopt;
        parameters.push_back({std::move(*name), std::move(*value)});
    }
    return parameters;
}

} // namespace QueryString
