#pragma once

#include "CameraSim/Rtsp/RtspCamera.h"
#include "CameraSim/Rtsp/RtspChannel.h"
#include "CameraSim/Rtsp/RtspMedia.h"
#include "CameraSim/Rtsp/RtspSession.h"
#include "CameraSim/Rtsp/RtspSessionStatus.h"

#include <asio/io_context.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A reply, and why it is a refusal.
struct RtspReply
{
    HttpReply reply;
    std::string note;

    static RtspReply Refusal(unsigned status, std::string why)
    {
        return {HttpReply{status, {}, {}, {}}, std::move(why)};
    }
};

/// The methods of RFC 2326 and the sessions behind them. Faults, credentials and the journal are dealt with before.
/// Borrows the context, on which the streams run, and the camera. Answer runs on the context's thread; any thread may
/// call the others. One lock covers the sessions; it is taken before a stream's and before the camera's.
class CRtspService
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr std::size_t kMaxSessions = 32;

    /// `clock` ends sessions; empty: the steady clock.
    CRtspService(asio::io_context& context, IRtspCamera& camera, Clock clock);

    RtspReply Answer(const HttpRequest& request, IRtspChannel& channel);

    /// Ends the sessions whose last request came through it, unless the camera keeps them.
    void OnChannelClosed(std::uint64_t channel);
    /// Ends the sessions that were without a request for too long. False when none is left.
    bool ExpireIdle();
    /// Ends them all, as if their time were over.
    void ExpireAll();
    std::vector<RtspSessionStatus> Sessions() const;

private:
    struct Call; ///< one request on its way to its answer

    RtspReply Dispatch(Call& call);
    RtspReply Describe(Call& call);
    RtspReply Setup(Call& call);
    RtspReply Play(Call& call);
    RtspReply Pause(Call& call);
    RtspReply Teardown(Call& call);
    RtspReply Parameters(Call& call);

    RtspReply Grant(Call& call, RtspTransport transport);
    std::shared_ptr<IRtpSink> MakeSink(Call& call, RtspTransport& transport);
    std::shared_ptr<CRtpStream> MakeStream(const Call& call, std::shared_ptr<IRtpSink> sink);
    RtspSession& NewSession();
    /// Null when there is none of that id; else it has been seen now.
    RtspSession* Find(std::string_view id);
    void Remove(const RtspSession& session);

    asio::io_context& m_context;
    IRtspCamera& m_camera;
    const Clock m_clock;
    mutable std::mutex m_mutex;
    std::vector<std::unique_ptr<RtspSession>> m_sessions;
    std::optional<RtspMedia> m_described; ///< of the last description, whose version is m_version
    std::uint64_t m_version = 0;
};
