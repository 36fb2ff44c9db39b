#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// A minimal HTTP GET for the simulator's control endpoint, which sends Content-Length and closes on demand.
/// Not for cameras: those are the component's business.
namespace HttpFetch
{
struct Reply
{
    int status = 0;
    std::string body;
    /// This machine's address on the connection.
    std::string localAddress;
};

/// Throws std::runtime_error when there is no complete reply within `limit`, or one larger than 16 MiB.
Reply Get(const std::string& host, std::uint16_t port, const std::string& path, std::chrono::milliseconds limit);
} // namespace HttpFetch
