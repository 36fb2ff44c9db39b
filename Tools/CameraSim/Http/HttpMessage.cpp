#include "CameraSim/Http/HttpMessage.h"

#include "CameraSim/Text/Ascii.h"

#include <algorithm>

const std::string* HttpRequest::Header(std::string_view name) const
{
    const auto found = std::find_if(headers.begin(), headers.end(),
                                    [&](const HttpHeader& header) { return Ascii::EqualNoCase(header.name, name); });
    return found == headers.end() ? nullptr : &found->value;
}

std::string_view HttpRequest::Path() const
{
    std::string_view path = std::string_view(target).substr(0, target.find('?'));
    if (path.starts_with('/'))
        path.remove_prefix(1);
    return path;
}

std::string_view HttpRequest::Query() const
{
    const auto mark = target.find('?');
    return mark == std::string::npos ? std::string_view() : std::string_view(target).substr(mark + 1);
}

bool HttpRequest::WantsKeepAlive() const
{
    const std::string* wish = Header("Connection");
    if (version == "HTTP/1.0")
        return wish && Ascii::EqualNoCase(*wish, "keep-alive");
    return !wish || !Ascii::EqualNoCase(*wish, "close");
}

HttpReply HttpReply::Text(unsigned status, std::string body)
{
    return {status, {}, {{"Content-Type", "text/plain"}}, std::move(body)};
}

namespace HttpText
{

std::string_view ReasonPhrase(unsigned status) noexcept
{
    switch (status)
    {
    case 200:
        return "OK";
    case 202:
        return "Accepted";
    case 204:
        return "No Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 408:
        return "Request Timeout";
    case 413:
        return "Content Too Large";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 503:
        return "Service Unavailable";
    case 505:
        return "HTTP Version Not Supported";
    default:
        return "Status";
    }
}

std::string FormatHead(const HttpReply& reply, std::size_t contentLengthBytes, bool keepAlive)
{
    const auto brings = [&](std::string_view name) {
        return std::any_of(reply.headers.begin(), reply.headers.end(),
                           [&](const HttpHeader& header) { return Ascii::EqualNoCase(header.name, name); });
    };
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " ";
    head += reply.reason.empty() ? std::string(ReasonPhrase(reply.status)) : reply.reason;
    head += "\r\n";
    for (const HttpHeader& header : reply.headers)
        head += header.name + ": " + header.value + "\r\n";
    // RFC 9110, 8.6: a 1xx or 204 reply has no Content-Length.
    const bool hasLength = reply.status >= 200 && reply.status != 204;
    if (hasLength && !brings("Content-Length") && !brings("Transfer-Encoding"))
        head += "Content-Length: " + std::to_string(contentLengthBytes) + "\r\n";
    if (!brings("Connection"))
        head += keepAlive ? "Connection: Keep-Alive\r\n" : "Connection: close\r\n";
    return head + "\r\n";
}

} // namespace HttpText
