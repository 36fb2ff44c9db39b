#pragma once

#include "RtspClient.h"

#include "Tests/Rtsp/ThreadpoolTimerSpy.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/TunnelCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// A camera that answers the n-th request with the n-th answer, and with 200 when none is left.
class CAnsweringCamera
{
public:
    using Answer = std::function<TunnelReply(const std::string& request)>;

    void Enqueue(Answer answer)
    {
        const std::lock_guard lock(m_mutex);
        m_answers.push_back(std::move(answer));
    }
    /// What requests get when no answer is left.
    void SetLastAnswer(Answer answer)
    {
        const std::lock_guard lock(m_mutex);
        m_lastAnswer = std::move(answer);
    }
    void ForgetAnswers()
    {
        const std::lock_guard lock(m_mutex);
        m_answers.clear();
    }
    WORD Port() const noexcept
    {
        return m_camera.Port();
    }
    CTunnelCamera& Tunnel() noexcept
    {
        return m_camera;
    }
    std::vector<std::string> Requests() const
    {
        return m_camera.RtspRequests();
    }
    /// The methods that came, in order, with a blank between two.
    std::string Methods() const
    {
        std::string methods;
        for (const std::string& request : Requests())
            methods += (methods.empty() ? "" : " ") + request.substr(0, request.find(' '));
        return methods;
    }

private:
    TunnelReply Next(const std::string& request)
    {
        Answer answer;
        {
            const std::lock_guard lock(m_mutex);
            answer = m_answers.empty() ? m_lastAnswer : m_answers.front();
            if (!m_answers.empty())
                m_answers.pop_front();
        }
        return answer(request);
    }

    std::mutex m_mutex;
    std::deque<Answer> m_answers;
    Answer m_lastAnswer = [](const std::string& request) { return TunnelReply{RtspReply(request, 200)}; };
    CTunnelCamera m_camera{[this](const std::string& request) { return Next(request); }};
};

/// An answer with the request's CSeq.
inline CAnsweringCamera::Answer Reply(int statusCode, std::string headers = {}, std::string body = {})
{
    return [statusCode, headers = std::move(headers), body = std::move(body)](const std::string& request) {
        return TunnelReply{RtspReply(request, statusCode, headers, body)};
    };
}
/// These bytes, whatever was asked; none for no answer.
inline CAnsweringCamera::Answer Bytes(std::string bytes)
{
    return [bytes = std::move(bytes)](const std::string&) { return TunnelReply{bytes}; };
}

/// The log lines that begin as given, as "level text".
inline std::vector<std::wstring> LinesOf(const CLogCapture& log, std::wstring_view beginning)
{
    std::vector<std::wstring> lines;
    for (const CapturedMessage& message : log.Messages())
        if (message.text.starts_with(beginning))
            lines.push_back(std::to_wstring(static_cast<unsigned>(message.level)) + L" " + message.text);
    return lines;
}

constexpr wchar_t kServer[] = L"127.0.0.1";
constexpr wchar_t kPath[] = L"/media.amp";
/// A description with one stream.
constexpr char kSdp[] = "v=0\r\no=- 1 1 IN IP4 0.0.0.0\r\ns=Session\r\nm=video 0 RTP/AVP 96\r\n"
                        "a=rtpmap:96 H264/90000\r\n";
constexpr wchar_t kTrackUrl[] = L"rtsp://127.0.0.1/media.amp/trackID=1";

/// What the client says of OPTIONS when no tunnel can be opened for it.
inline const std::vector<std::wstring> kFailedReconnect = {
    L"1 CRtspClient::DoSendRtspRequest, connection to server was closed, will re-connect",
    L"1 CRtspClient::DoSendRtspRequest, re-connect to server failed",
    L"1 CRtspClient::SendRtspRequest, failed to send rtsp command: 'OPTIONS'",
    L"1 CRtspClient::GetOptions, failed to send request"};

/// A client with a camera and timers in the test's hand.
class RtspClientTest : public ::testing::Test
{
protected:
    static constexpr DWORD kShortMs = 300;

    void TearDown() override
    {
        // A read that was given up holds up the closing of its tunnel until the camera closes it.
        m_camera.Tunnel().Close(TunnelSide::Both);
        m_client.reset();
    }

    /// With a session that `user` opened; the log and the timers of the opening are forgotten.
    void Open(DWORD replyLimitMs = RtspLimits().replyMs, const wchar_t* user = L"user",
              const wchar_t* password = L"pass")
    {
        Open(RtspLimits{.replyMs = replyLimitMs}, user, password);
    }
    void Open(const RtspLimits& limits, const wchar_t* user = L"user", const wchar_t* password = L"pass")
    {
        m_client = std::make_shared<CRtspClient>(limits);
        ASSERT_TRUE(m_client->OpenSession(kServer, m_camera.Port(), kPath, user, password));
        m_log.Clear();
    }
    /// With the session "12345678" set up.
    void SetUpStream(const std::string& sessionHeader = "Session: 12345678\r\n")
    {
        m_camera.Enqueue(Reply(200, sessionHeader));
        RtspTransport transport = Wanted();
        ASSERT_TRUE(m_client->SetupTransport(kTrackUrl, transport));
        m_log.Clear();
    }

    static RtspTransport Wanted()
    {
        RtspTransport transport;
        transport.protocol = "RTP/AVP";
        transport.clientPort = 5000;
        return transport;
    }
    std::vector<std::wstring> ClientLines() const
    {
        return LinesOf(m_log, L"CRtspClient::");
    }

    CLogCapture m_log;
    CThreadpoolTimerSpy m_timers;
    CAnsweringCamera m_camera;
    std::shared_ptr<CRtspClient> m_client;
};
