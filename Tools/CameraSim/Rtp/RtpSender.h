#pragma once

#include "CameraSim/Camera/MediaStreams.h"

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

/// Sends RTP to 127.0.0.1 only, multicast orders included: a program that listens on the multicast port of all
/// addresses hears it, and nothing leaves the machine. Runs on the context's thread; Streams and StopAll from any.
/// A stream ends by itself after the time limit. Send errors are ignored, as UDP's are.
class CRtpSender final : public IMediaStreams
{
public:
    static constexpr std::size_t kMaxStreams = 16;

    /// `timeLimit` ends each stream. Throws std::system_error when there is no UDP socket to be had.
    CRtpSender(asio::io_context& context, std::chrono::seconds timeLimit);
    ~CRtpSender() override;

    bool StartStream(const StreamOrder& order) override;
    std::vector<StreamStatus> Streams() const;
    void StopAll();

private:
    struct Stream;

    void SendFrame(const std::shared_ptr<Stream>& stream);
    void Schedule(const std::shared_ptr<Stream>& stream);

    asio::io_context& m_context;
    const std::chrono::seconds m_timeLimit;
    asio::ip::udp::socket m_socket;
    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<Stream>> m_streams;
};
