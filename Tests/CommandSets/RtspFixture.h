#pragma once

#include "CgiCommandRtsp.h"

#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/TunnelCamera.h"
#include "Win32/ComMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// A family as small as one can be, whose every decision a test can set.
class CTestCommandSet : public CCgiCommandRtsp
{
public:
    CTestCommandSet() : CCgiCommandRtsp(nullptr)
    {
        m_videoEncoding = VC_H264;
        m_frameRate = 25;
    }
    std::wstring RtspPath() const override
    {
        return L"/media.amp?videocodec=h264";
    }
    HRESULT CheckPrerequisites() override
    {
        return prerequisites;
    }
    HRESULT GetCameraImageSize(ImageSize2* imageSize) override
    {
        if (!configured)
            return CCgiCommandRtsp::GetCameraImageSize(imageSize);
        if (*configured == PictureSize{})
            return E_ACCESSDENIED;
        *imageSize = {configured->width, configured->height, 25, VC_H264};
        return S_OK;
    }

    HRESULT prerequisites = S_OK;
    /// What the camera's configuration says, when it says something of its own; 0x0 fails.
    std::optional<PictureSize> configured;
};

/// A command set and a camera that grants what it is asked for.
class RtspCommand : public testing::Test
{
protected:
    static constexpr const char* kSps1280x720 = "Z0LAH4yNQCgC3QDwiEag";
    static constexpr const char* kSps640x480 = "Z2QAHqzZQKA9sBEAAAMAAQAAAwAyDxYtlg==";

    /// H.264 video and PCMU audio with these controls; an empty control leaves the line out.
    static std::string Sdp(const std::string& sessionControl, const std::string& videoControl,
                           const std::string& audioControl, const std::string& sps = kSps1280x720)
    {
        const auto control = [](const std::string& value) {
            return value.empty() ? std::string() : "a=control:" + value + "\r\n";
        };
        return "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=stream\r\n" + control(sessionControl) +
               "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\n"
               "a=fmtp:96 packetization-mode=1;profile-level-id=42c01f;sprop-parameter-sets=" +
               sps + ",aM48gA==\r\n" + control(videoControl) + "m=audio 0 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n" +
               control(audioControl);
    }

    HRESULT Connect(CCgiCommandRtsp& set, bool join = true)
    {
        return set.ConnectToRtspServer(L"127.0.0.1", m_camera.Port(), L"", L"", join);
    }
    HRESULT Connect()
    {
        return Connect(m_set);
    }

    /// What the camera says to the next requests of a method.
    void Answer(const std::string& method, int statusCode, const std::string& headers = {},
                const std::string& body = {})
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_answers[method] = {statusCode, headers, body};
    }
    void Describe(const std::string& sdp, const std::string& base = "rtsp://127.0.0.1/media.amp/")
    {
        Answer("DESCRIBE", 200,
               "Content-Type: application/sdp\r\n" + (base.empty() ? "" : "Content-Base: " + base + "\r\n"), sdp);
    }

    /// Method and URL of what the camera has received, in order.
    std::vector<std::string> Requests() const
    {
        std::vector<std::string> lines;
        for (const std::string& request : m_camera.RtspRequests())
            lines.push_back(request.substr(0, request.find(" RTSP/1.0")));
        return lines;
    }

    /// The lines of the command set's own class.
    std::vector<std::wstring> OwnLines() const
    {
        std::vector<std::wstring> lines;
        for (const std::wstring& line : m_log.Lines())
            if (line.find(L"CCgiCommandRtsp::") != std::wstring::npos)
                lines.push_back(line);
        return lines;
    }

    /// Empty when there is none.
    std::wstring LastOwnLine() const
    {
        const std::vector<std::wstring> lines = OwnLines();
        return lines.empty() ? std::wstring() : lines.back();
    }

    CLogCapture m_log;

private:
    struct AnswerOfACamera
    {
        int statusCode;
        std::string headers;
        std::string body;
    };
    TunnelReply Serve(const std::string& request)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        const AnswerOfACamera& answer = m_answers[request.substr(0, request.find(' '))];
        return {RtspReply(request, answer.statusCode, answer.headers, answer.body)};
    }

    std::mutex m_mutex;
    std::map<std::string, AnswerOfACamera> m_answers = {
        {"DESCRIBE",
         {200, "Content-Base: rtsp://127.0.0.1/media.amp/\r\n", Sdp("rtsp://127.0.0.1/all", "trackID=1", "trackID=2")}},
        {"SETUP",
         {200,
          "Session: 12345678\r\nTransport: "
          "RTP/AVP;unicast;client_port=5000-5001;server_port=6970-6971;ssrc=1A2B3C4D\r\n",
          ""}},
        {"PLAY", {200, "", ""}},
        {"TEARDOWN", {200, "", ""}}};

protected:
    // Destroyed before what they use; the set first, so that it leaves a session whose camera is there.
    CTunnelCamera m_camera{[this](const std::string& request) { return Serve(request); }};
    CTestCommandSet m_set;
};
