#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

/// What one run of this program can ask of another that streams.
enum class StreamRequest
{
    kPause,
    kResume,
    kStop
};

/// A running stream's ear for requests; while it lives, others find it.
class IStreamTicket
{
public:
    virtual ~IStreamTicket() = default;
    /// The request that has come and is not done yet.
    [[nodiscard]] virtual std::optional<StreamRequest> Pending() = 0;
    /// Tells the one who asked.
    virtual void Done() = 0;
};

/// The streams that runs of this program hold, found by camera ("host:port"). The component keeps a stream in the
/// process that started it, so no other process can end it by way of the component alone.
class IRunningStreams
{
public:
    struct Answer
    {
        int asked = 0;
        int done = 0;
    };

    virtual ~IRunningStreams() = default;
    /// Null when there are too many already: the stream then runs unfound.
    [[nodiscard]] virtual std::unique_ptr<IStreamTicket> Announce(const std::string& camera) = 0;
    /// Asks every stream from that camera and waits until they have done so, at most `limit` for all of them.
    [[nodiscard]] virtual Answer Ask(const std::string& camera, StreamRequest request,
                                     std::chrono::milliseconds limit) = 0;
};
