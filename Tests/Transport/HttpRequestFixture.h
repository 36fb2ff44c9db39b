#pragma once

#include "HttpRequest.h"
#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/RegistryValueGuard.h"
#include "Tests/Support/ScriptedCamera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

inline constexpr wchar_t kSettingsKey[] = L"Software\\Orbell\\Video";
inline constexpr wchar_t kTimeoutValue[] = L"CameraCGICommandTimeout";

inline constexpr DWORD kAmpleMs = 10000;
inline constexpr DWORD kShortMs = 200;
/// Enough for a camera on this machine to answer, also when the machine is busy.
inline constexpr DWORD kAnswerMs = 600;

/// False when it does not hold within kAmpleMs.
inline bool WaitUntil(const std::function<bool()>& condition)
{
    const DWORD startTick = ::GetTickCount();
    while (!condition() && ::GetTickCount() - startTick < kAmpleMs)
        ::SwitchToThread();
    return condition();
}

/// How long nothing more is logged about a camera that fails.
inline constexpr DWORD kHourMs = 3'600'000;
inline DWORD g_fakeTick = 0;
inline DWORD WINAPI FakeTickCount()
{
    return g_fakeTick;
}

/// Takes the request and never answers.
inline ScriptedReply Silent()
{
    ScriptedReply reply;
    reply.silentAfter = true;
    return reply;
}

/// These bytes, then the end of the connection.
inline ScriptedReply Raw(std::string bytes)
{
    ScriptedReply reply;
    reply.bytes = std::move(bytes);
    reply.closeAfter = true;
    return reply;
}

/// The beginning of a body, and no more.
inline ScriptedReply StalledBody()
{
    ScriptedReply reply{"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this"};
    reply.silentAfter = true;
    return reply;
}

struct Answer
{
    HRESULT hr = E_PENDING;
    DWORD statusCode = 4711;
    std::wstring body = L"left over";
};

/// An HTTP request object, the camera that it is to talk to, and the log.
class HttpRequestTest : public ::testing::Test
{
protected:
    HttpRequestTest()
    {
        m_timeLimit.Remove(); // what an interrupted run has left would replace the tests' limits
    }
    void Open(std::vector<ScriptedReply> script, const wchar_t* user = L"", const wchar_t* password = L"")
    {
        m_camera.emplace(std::move(script));
        // The system may give this camera the port of an earlier one, whose hour of silence must be over then.
        g_fakeTick += kHourMs + 1;
        ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", m_camera->Port(), user, password));
    }
    Answer Send(const std::wstring& verb, const std::wstring& url, DWORD timeoutMs = kAmpleMs)
    {
        Answer answer;
        answer.hr = m_http.SendRequest(url, answer.statusCode, answer.body, verb, timeoutMs);
        return answer;
    }
    Answer Get(const std::wstring& url = L"command/inquiry.cgi?inq=system", DWORD timeoutMs = kAmpleMs)
    {
        return Send(L"GET", url, timeoutMs);
    }

    /// How often exactly this message was logged at this level.
    std::size_t CountLines(LogLevel level, const std::wstring& text) const
    {
        const std::vector<CapturedMessage> messages = m_log.Messages();
        return static_cast<std::size_t>(std::ranges::count_if(
            messages, [&](const CapturedMessage& message) { return message.level == level && message.text == text; }));
    }
    /// Everything that was logged, as "level text", but for the traces of notifications: how many of these come is
    /// WinInet's affair.
    std::vector<std::wstring> LinesWithoutTrace() const
    {
        std::vector<std::wstring> lines = m_log.Lines();
        std::erase_if(lines, [](const std::wstring& line) { return line.starts_with(L"32 "); });
        return lines;
    }

    CRegistryValueGuard m_timeLimit{HKEY_LOCAL_MACHINE, kSettingsKey, kTimeoutValue};
    CLogCapture m_log;
    std::optional<CScriptedCamera> m_camera; // outlives the connection to it
    CAsyncHttpRequest m_http{&FakeTickCount};
};

/// The suite of which each of several files has a topic.
class HttpRequest : public HttpRequestTest
{
};
