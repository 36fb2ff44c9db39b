#include "CameraSim/Http/RequestParser.h"

#include "CameraSim/Text/Ascii.h"

#include <algorithm>

namespace RequestParser
{

namespace
{

bool IsToken(std::string_view text)
{
    constexpr std::string_view kSpecial = "!#$%&'*+-.^_`|~";
    const auto isTokenCharacter = [&](char c) {
        const char lower = Ascii::ToLower(c);
        return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || kSpecial.find(c) != kSpecial.npos;
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool HasControlCharacter(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\t') || byte == 0x7F;
    });
}

/// False, so that a parser can refuse and give up in one expression.
bool Refuse(ParsedHead& parsed, unsigned status, std::string why)
{
    parsed.refusal = status;
    parsed.why = std::move(why);
    return false;
}

bool ParseRequestLine(std::string_view line, ParsedHead& parsed)
{
    const auto firstBlank = line.find(' ');
    const auto lastBlank = line.rfind(' ');
    if (firstBlank == line.npos || firstBlank == lastBlank)
        return Refuse(parsed, 400, "the request line is not \"METHOD target HTTP/1.1\"");
    HttpRequest& request = parsed.request;
    request.method = line.substr(0, firstBlank);
    request.target = line.substr(firstBlank + 1, lastBlank - firstBlank - 1);
    request.version = line.substr(lastBlank + 1);
    if (!IsToken(request.method))
        return Refuse(parsed, 400, "the method is not a token");
    if (!request.target.starts_with('/') || request.target.find(' ') != std::string::npos ||
        HasControlCharacter(request.target))
        return Refuse(parsed, 400, "the target must begin with \"/\" and hold no blank or control character");
    if (!request.version.starts_with("HTTP/"))
        return Refuse(parsed, 400, "the request line does not end in an HTTP version");
    if (request.version != "HTTP/1.1" && request.version != "HTTP/1.0")
        return Refuse(parsed, 505, "only HTTP/1.0 and HTTP/1.1 are spoken here");
    return true;
}

bool ParseHeaderLine(std::string_view line, ParsedHead& parsed)
{
    const auto colon = line.find(':');
    if (colon == line.npos || !IsToken(line.substr(0, colon)))
        return Refuse(parsed, 400, "a header line is not \"Name: value\"");
    const auto value = Ascii::Trim(line.substr(colon + 1));
    if (HasControlCharacter(value))
        return Refuse(parsed, 400, "a header value holds a control character");
    parsed.request.headers.push_back({std::string(line.substr(0, colon)), std::string(value)});
    return true;
}

bool ParseFraming(ParsedHead& parsed, const HttpLimits& limits)
{
    if (parsed.request.Header("Transfer-Encoding"))
        return Refuse(parsed, 501, "request bodies with Transfer-Encoding are not read here; send Content-Length");
    if (parsed.request.version == "HTTP/1.1" && !parsed.request.Header("Host"))
        return Refuse(parsed, 400, "an HTTP/1.1 request needs a Host header");
    for (const HttpHeader& header : parsed.request.headers)
    {
        if (!Ascii::EqualNoCase(header.name, "Content-Length"))
            continue;
        const auto length = Ascii::Number<std::size_t>(header.value);
        if (!length || (parsed.bodyBytes != 0 && parsed.bodyBytes != *length))
            return Refuse(parsed, 400, "Content-Length is not one decimal number");
        if (*length > limits.bodyBytes)
            return Refuse(parsed, 413,
                          "the request body is longer than " + std::to_string(limits.bodyBytes) + " bytes");
        parsed.bodyBytes = *length;
    }
    return true;
}

} // namespace

std::size_t HeadLength(std::string_view bytes) noexcept
{
    const auto end = bytes.find("\r\n\r\n");
    return end == bytes.npos ? end : end + 4;
}

ParsedHead Parse(std::string_view head, const HttpLimits& limits)
{
    ParsedHead parsed;
    parsed.request.head = head;
    bool isRequestLine = true;
    while (!head.starts_with("\r\n") && !head.empty())
    {
        const auto line = head.substr(0, head.find("\r\n"));
        head.remove_prefix(std::min(line.size() + 2, head.size()));
        if (isRequestLine ? !ParseRequestLine(line, parsed) : !ParseHeaderLine(line, parsed))
            return parsed;
        isRequestLine = false;
    }
    if (isRequestLine)
        Refuse(parsed, 400, "the request line is missing");
    else
        ParseFraming(parsed, limits);
    return parsed;
}

} // namespace RequestParser
