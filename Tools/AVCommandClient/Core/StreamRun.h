#pragma once

#include "Core/CommandLine.h"
#include "Core/StreamSurroundings.h"
#include "Media/StreamMonitor.h"

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

/// One run of `stream`: negotiates with a connected camera, receives for as long as it is told to, shows each second
/// what arrived, and stops the camera again. Borrows everything but the ports and the file. One thread.
/// Throws CallFailure, and std::runtime_error with a text for the user.
class CStreamRun
{
public:
    CStreamRun(ICamera& camera, const ClientArguments& arguments, std::ostream& out, const StreamSurroundings& around);

    void Run();

private:
    using Time = IMediaReceiver::Time;

    void NegotiateRtsp();
    void NegotiateCgi();
    void SetUp(MediaStream stream);
    void OpenForCgi(MediaStream stream, const StreamSettings& settings);
    void Receive();
    void ReceiveFor(std::chrono::milliseconds slice);
    /// False when the stream is to end.
    bool Obey(StreamRequest request);
    bool IsToEnd();
    void Stop();
    void PrintStart() const;
    void PrintLive(Time now);
    void PrintEnd() const;

    ICamera& m_camera;
    const ClientArguments& m_arguments;
    std::ostream& m_out;
    const StreamSurroundings& m_around;
    std::unique_ptr<IMediaReceiver> m_receiver;
    std::unique_ptr<IStreamTicket> m_ticket;
    std::unique_ptr<CVideoFile> m_file;
    std::unique_ptr<CStreamMonitor> m_monitor;

    bool m_isRtsp = false;
    bool m_isH264 = true;
    bool m_hasAudio = false;
    bool m_isPaused = false;
    std::uint16_t m_videoPort = 0;
    std::uint16_t m_audioPort = 0;
    const char* m_endedBy = "time";
    Time m_begin{};
    double m_seconds = 0;

    struct Shown
    {
        Time when{};
        StreamFigures video;
        StreamFigures audio;
        std::uint64_t changes = 0;
    };
    Shown m_shown;
};
