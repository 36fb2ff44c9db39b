#pragma once

#include "CameraSim/Auth/Authenticator.h"
#include "CameraSim/Camera/CameraState.h"
#include "CameraSim/Camera/MediaStreams.h"
#include "CameraSim/Faults/FaultTable.h"
#include "CameraSim/Http/HttpHandler.h"
#include "CameraSim/Journal/Journal.h"
#include "CameraSim/Rtsp/RtspCamera.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct CameraServiceOptions
{
    std::string model = "SNC-EP580";
    VideoStandard standard = VideoStandard::Ntsc;
    bool factorySettings = false;
    bool requireStreamSettings = true;
    AuthenticationOptions authentication;
    RtspOptions rtsp;
    CPtzHead::Clock clock;                              ///< for movement; empty: the steady clock
    CAuthenticator::NonceSource nonces;                 ///< empty: random
    std::function<void(const JournalEntry&)> onRequest; ///< called on the server's thread, once for each request
};

/// The camera behind the HTTP server: faults, authentication, the family's own answers, the journal, in this order.
/// Its RTSP server is another class, which asks it for what RTSP needs. Borrows the streams.
/// Any thread may call any method; one lock covers the camera, the journal has its own.
class CCameraService final : public IHttpHandler, public IRtspCamera
{
public:
    CCameraService(CameraServiceOptions options, IMediaStreams& streams);

    ReplyScript OnRequest(const HttpRequest& request) override;
    ReplyScript OnRefused(const HttpRequest& partial, unsigned status, const std::string& why) override;

    std::optional<RtspConfiguration> RtspMedia() const override;
    RtspOptions Rtsp() const override;
    std::vector<Fault> TakeFaults(std::string_view target, bool authenticated) override;
    AuthenticationVerdict CheckCredentials(std::string_view method, std::string_view url,
                                           const std::string* authorization) override;
    void Record(JournalEntry entry) override;

    CameraState State() const;
    /// Throws std::invalid_argument, and then nothing has changed.
    void Change(const CameraChange& change);
    /// Throws std::invalid_argument; all are added or none.
    void AddFaults(std::vector<Fault> faults);
    void ClearFaults();

    CJournal& Journal() noexcept
    {
        return m_journal;
    }

private:
    struct Answer
    {
        HttpReply reply;
        std::vector<Fault> faults;
        AuthenticationVerdict verdict;
    };

    Answer Decide(const HttpRequest& request);
    void RecordAnswer(const HttpRequest& request, const Answer& answer, bool keepAlive, std::string note);
    std::unique_ptr<ICameraFamily> MakeFamily() const;

    CameraServiceOptions m_options;
    IMediaStreams& m_streams;
    const std::chrono::steady_clock::time_point m_made = std::chrono::steady_clock::now();
    mutable std::mutex m_mutex;
    mutable CPtzHead m_head;
    std::unique_ptr<ICameraFamily> m_family;
    CAuthenticator m_authenticator;
    CFaultTable m_faults;
    CJournal m_journal;
};
