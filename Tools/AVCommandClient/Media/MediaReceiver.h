#pragma once

#include "Core/Camera.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

/// The UDP ports that a camera sends to: for each stream one for RTP and the next for RTCP (RFC 3550, section 11).
/// One thread.
class IMediaReceiver
{
public:
    using Time = std::chrono::steady_clock::time_point;
    struct Datagram
    {
        MediaStream stream = MediaStream::kVideo;
        bool isControl = false;
        std::span<const std::uint8_t> bytes;
        Time arrival;
    };
    using Handler = std::function<void(const Datagram&)>;

    virtual ~IMediaReceiver() = default;
    /// Two neighbouring ports of the system's choice, the first one even; returns that one.
    virtual std::uint16_t OpenUnicast(MediaStream stream) = 0;
    virtual void OpenMulticast(MediaStream stream, const std::string& group, std::uint16_t rtpPort) = 0;
    /// Hands over what arrives for so long.
    virtual void Receive(std::chrono::milliseconds duration, const Handler& handler) = 0;
    [[nodiscard]] virtual Time Now() const = 0;
};

/// The real one, on all addresses of this machine. Owns its sockets. Throws std::runtime_error with a text for the user
/// when a port cannot be had or a group not joined.
class CUdpMediaReceiver final : public IMediaReceiver
{
public:
    CUdpMediaReceiver();
    ~CUdpMediaReceiver() override;

    std::uint16_t OpenUnicast(MediaStream stream) override;
    void OpenMulticast(MediaStream stream, const std::string& group, std::uint16_t rtpPort) override;
    void Receive(std::chrono::milliseconds duration, const Handler& handler) override;
    Time Now() const override;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};
