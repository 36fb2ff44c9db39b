#pragma once

#include "Media/RtpPacket.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// A UDP port of this machine that a camera can send a stream to.
class IStreamReceiver
{
public:
    virtual ~IStreamReceiver() = default;
    [[nodiscard]] virtual std::uint16_t Port() const = 0;
    /// Waits until `count` RTP packets have come, at most `limit`; fewer when the time is over. Datagrams that are no
    /// RTP are counted in `countForeign`.
    [[nodiscard]] virtual std::vector<RtpHeader> Receive(std::size_t count, std::chrono::milliseconds limit,
                                                         std::size_t& countForeign) = 0;
};

/// The real one. Owns its socket, on a port that the system chooses.
class CUdpStreamReceiver final : public IStreamReceiver
{
public:
    /// `address` is one of this machine's own. Throws std::system_error when it has no free port.
    explicit CUdpStreamReceiver(const std::string& address);
    ~CUdpStreamReceiver() override;

    std::uint16_t Port() const override;
    std::vector<RtpHeader> Receive(std::size_t count, std::chrono::milliseconds limit,
                                   std::size_t& countForeign) override;

private:
    struct Socket;
    std::unique_ptr<Socket> m_socket;
};
