#pragma once

#include "CgiCommandBase.h"
#include "Protocol/H264FormatParameters.h"
#include "Protocol/H264PictureSize.h"

#include <cstdint>
#include <string>
#include <string_view>

class CRtspSession;
class CSessionDescription;
struct LogFormatAt;
struct RtspTransport;

/// Command set of cameras that stream over RTSP. It joins the session that the whole process shares towards a camera,
/// and answers questions about the picture from the stream's own parameter sets rather than from the camera's
/// configuration. A family derives from it and adds its path and its CGI control.
/// Owned by the command object. The session belongs to the session manager; this object holds one participation in it,
/// which it gives up when it connects anew and when it is destroyed.
/// One caller at a time; what is read of the session is read under the session's lock.
/// Failures as for the base: E_UNEXPECTED without a session, E_FAIL for every failure of the RTSP layer.
class CCgiCommandRtsp : public CCgiCommandBase
{
public:
    explicit CCgiCommandRtsp(CAsyncHttpRequest* httpRequest) noexcept;
    ~CCgiCommandRtsp() override;

    /// Exactly CheckPrerequisites.
    HRESULT ConnectToCamera() override;
    /// `joinRtspSession`: this object's stream must be set up before any participant plays.
    HRESULT ConnectToRtspServer(const wchar_t* serverName, WORD port, const wchar_t* userName, const wchar_t* password,
                                bool joinRtspSession) override;
    HRESULT SetupTransport(LONG streamId, TransportParameters* parameters) override;
    /// Both start the whole session; the arguments change nothing.
    HRESULT StartVideo(bool isMulticast, WORD udpPort) override;
    HRESULT StartAudio(bool isMulticast, WORD udpPort) override;
    HRESULT PauseStreaming() override;
    HRESULT StopStreaming() override;
    /// One size: the format that is streamed now.
    HRESULT GetSupportedImageSizes(ImageSize2** sizes, LONG* count) override;
    HRESULT IsImageSizeSupported(LONG width, LONG height, LONG frameRate, VideoCodec videoEncoding) override;
    HRESULT GetCameraSettings(CameraSettings3* settings) override;
    HRESULT GetCameraImageSize(ImageSize2* imageSize) override;
    HRESULT GetH264Parameters(H264Parameters* parameters) override;
    /// Sends nothing.
    HRESULT TryTalkToCamera() override;

    // Slots of this class, behind those of the base.

    /// The path of the camera's media URL, with its query.
    [[nodiscard]] virtual std::wstring RtspPath() const;
    /// Whatever the family needs before it can stream.
    [[nodiscard]] virtual HRESULT CheckPrerequisites();

protected:
    // What is streamed now. A family sets them when it configures its camera; this class only reports them.
    VideoCodec m_videoEncoding = VC_None;
    LONG m_frameRate = 0;

private:
    void LeaveRtspSession() noexcept;
    [[nodiscard]] HRESULT StartStreaming();

    /// Empty when the camera has not described its streams; the session then uses its default URL.
    std::wstring GetAggregateControlUrl() const;
    /// Stream 0 is video, 1 audio. Empty for any other, and when the camera has no such stream.
    std::wstring GetMediaStreamUrl(LONG streamId) const;
    /// `control` itself when it is absolute, else combined with the description's base URL, which is logged.
    static std::string MakeAbsolute(std::string_view control, const CSessionDescription& description,
                                    LogFormatAt combined);
    /// Empty when they cannot be combined.
    static std::string CombineUrl(const std::string& base, const std::string& relative);
    /// Hands the granted transport to the caller.
    static void WriteBack(const RtspTransport& granted, const std::string& requestedProtocol,
                          TransportParameters& parameters);

    /// Reads the description anew when `forceRefresh` is set. False leaves the parameters empty.
    [[nodiscard]] bool GetH264FormatParameters(H264FormatParameters& formatParameters, bool forceRefresh) const;
    [[nodiscard]] bool GetPictureSize(PictureSize& size) const;
    /// Whether the camera's configuration contradicts the parameters, as it does when it was changed behind the
    /// description's back.
    [[nodiscard]] bool IsOutdated(const H264FormatParameters& formatParameters);

    CRtspSession* m_session = nullptr;
    std::uint32_t m_participant = 0; ///< cookie of the participation
};
