#pragma once

#include "CgiCommandIpela.h"
#include "HttpRequest.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/RegistryValues.h"
#include "Tests/Support/ScriptedCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

/// An IPELA command set that talks HTTP to a scripted camera on the loopback, with the tick count, the registry key
/// (which starts empty) and the log in the test's hand.
class IpelaTest : public testing::Test
{
protected:
    IpelaTest()
    {
        s_tickMs = 1000;
    }

    /// Starts a camera of that name, which answers the probe and then plays the script, and probes it.
    void Probe(const std::string& modelName, std::vector<ScriptedReply> script = {HttpReply(200, "OK")})
    {
        script.insert(script.begin(), HttpReply(200, "ModelName=" + modelName + "&Serial=4711&SoftVersion=1.10"));
        Start(std::move(script));
        ASSERT_EQ(S_OK, m_commandSet.TryTalkToCamera());
        m_log.Clear();
        m_countSeen = 1;
    }

    void Start(std::vector<ScriptedReply> script)
    {
        m_camera.emplace(std::move(script));
        ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", m_camera->Port(), L"", L""));
        m_log.Clear();
    }

    /// What the camera was asked since the last call, without the leading slash.
    std::vector<std::string> Sent()
    {
        std::vector<std::string> result;
        const std::vector<std::string> requests = m_camera->Requests();
        for (; m_countSeen < requests.size(); ++m_countSeen)
        {
            const std::string line = RequestLine(requests[m_countSeen]);
            const std::string start = "GET /";
            const std::string end = " HTTP/1.1";
            const bool isGet = line.starts_with(start) && line.ends_with(end);
            result.push_back(isGet ? line.substr(start.size(), line.size() - start.size() - end.size()) : line);
        }
        return result;
    }

    /// The lines of this class (as "level text") since the last call; those of the HTTP layer are its own business.
    std::vector<std::wstring> Logged()
    {
        std::vector<std::wstring> lines = m_log.Lines();
        std::erase_if(lines, [](const std::wstring& line) { return line.find(L" CCgiCommand") == std::wstring::npos; });
        m_log.Clear();
        return lines;
    }

    /// The newest of those lines.
    std::wstring LastLogged()
    {
        const std::vector<std::wstring> lines = Logged();
        return lines.empty() ? std::wstring(L"(nothing logged)") : lines.back();
    }

    static DWORD WINAPI TickMs()
    {
        return s_tickMs;
    }

    static inline DWORD s_tickMs = 0;
    static constexpr wchar_t kUseCache[] = L"IPELAUseCachedCameraSettings";
    static constexpr wchar_t kSetupCommand[] = L"CameraSetupCGICommand";
    static constexpr wchar_t kSetupCommandWr600[] = L"CameraSetupCGICommand_WR600";

    std::optional<CTestRegistryKey> m_registry{L"Software\\Orbell\\Video"};
    CLogCapture m_log;
    std::optional<CScriptedCamera> m_camera; // outlives the connection to it
    CAsyncHttpRequest m_http;
    CCgiCommandIpela m_commandSet{&m_http, &TickMs};
    std::size_t m_countSeen = 0;
};

/// Replies to the camera inquiry that are right in everything.
inline const std::string kMpeg4Settings =
    "VideoStd=ntsc&ImageCodec=mpeg4&M4ImageSize=640&M4FrameRate=15&M4BitRate=2048&M4AutoRateCtrl=off"
    "&McAddress=239.192.0.100&McVideoPort=60000&McAudioPort=60002&UcVideoPort=50000&UcAudioPort=50002"
    "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=-3";
inline const std::string kH264Settings =
    "VideoStd=ntsc&ImageCodec1=h264&ImageSize1=1280,720&FrameRate1=30&BitRate1=4096&AutoRateCtrl1=off"
    "&McAddress1=239.192.0.101&McVideoPort1=61000&McAudioPort=61002&UcVideoPort1=51000&UcAudioPort=51002"
    "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=10";

/// The text with its first `part` replaced.
inline std::string Replaced(std::string text, const std::string& part, const std::string& by)
{
    const std::size_t position = text.find(part);
    EXPECT_NE(position, std::string::npos) << part;
    return position == std::string::npos ? text : text.replace(position, part.size(), by);
}

inline std::wstring Widened(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

inline const std::string kInquiry = "command/inquiry.cgi?inq=camera";
