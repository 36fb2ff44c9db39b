#pragma once

#include "HttpRequest.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/RegistryValues.h"
#include "Tests/Support/ScriptedCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

/// HTTP to a scripted camera on the loopback, with the registry key (which starts empty) and the log in the test's
/// hand. The command set comes with the family.
class CommandSetTest : public testing::Test
{
protected:
    void Start(std::vector<ScriptedReply> script)
    {
        m_camera.emplace(std::move(script));
        m_countSeen = 0;
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

    /// The lines of the command sets (as "level text") since the last call; those of the HTTP layer are its own
    /// business.
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

    std::optional<CTestRegistryKey> m_registry{L"Software\\Orbell\\Video"};
    CLogCapture m_log;
    std::optional<CScriptedCamera> m_camera; // outlives the connection to it
    CAsyncHttpRequest m_http;
    std::size_t m_countSeen = 0;
};

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
