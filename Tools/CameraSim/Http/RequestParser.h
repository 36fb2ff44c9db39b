#pragma once

#include "CameraSim/Http/HttpMessage.h"

#include <cstddef>
#include <string>
#include <string_view>

struct HttpLimits
{
    std::size_t headBytes = 16 * 1024;
    std::size_t bodyBytes = 1024 * 1024;
    std::size_t connections = 512;
    unsigned idleSeconds = 60; ///< a connection without a request for so long is closed
};

/// A request head, or the status and the text to refuse it with.
struct ParsedHead
{
    HttpRequest request; ///< when refused, what could be read of it
    unsigned refusal = 0;
    std::string why;
    std::size_t bodyBytes = 0; ///< that follow the head
};

namespace RequestParser
{

/// Length of the head including its blank line; npos while it is incomplete.
std::size_t HeadLength(std::string_view bytes) noexcept;

/// Strict about the request line, header names and Content-Length (RFC 9112): a capture application that sends
/// something crooked should learn it here and not from the one camera that minds.
ParsedHead Parse(std::string_view head, const HttpLimits& limits);

} // namespace RequestParser
