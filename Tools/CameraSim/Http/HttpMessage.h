#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct HttpHeader
{
    std::string name;
    std::string value;

    bool operator==(const HttpHeader&) const = default;
};

/// One request as it arrived.
struct HttpRequest
{
    std::string head; ///< the exact bytes, up to and including the blank line
    std::string method;
    std::string target; ///< as in the request line, path and query
    std::string version;
    std::vector<HttpHeader> headers;
    std::string body;
    std::uint64_t connection = 0; ///< counts from 1 for each listening port
    std::string peerAddress;
    bool fromThisMachine = false; ///< the peer has a loopback address

    /// The first header of that name, any case; null when there is none.
    const std::string* Header(std::string_view name) const;
    /// The target before "?", without the leading slash.
    std::string_view Path() const;
    /// The target behind "?"; empty when there is none.
    std::string_view Query() const;
    /// HTTP/1.1 unless the client asked to close, HTTP/1.0 only when it asked to keep it.
    bool WantsKeepAlive() const;
};

/// One reply before it is put on the wire. Content-Length is added there.
struct HttpReply
{
    unsigned status = 200;
    std::string reason; ///< empty: the usual phrase of the status
    std::vector<HttpHeader> headers;
    std::string body;

    static HttpReply Text(unsigned status, std::string body);
};

namespace HttpText
{

std::string_view ReasonPhrase(unsigned status) noexcept;

/// Status line, the reply's headers, and Content-Length and Connection unless the reply brings its own.
std::string FormatHead(const HttpReply& reply, std::size_t contentLengthBytes, bool keepAlive);

} // namespace HttpText
