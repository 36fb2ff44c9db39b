// Cameras that keep an answer to themselves or get it wrong: how long it is waited for, and what follows.

#include "Tests/Transport/HttpRequestFixture.h"

#include <functional>
#include <string>
#include <thread>
#include <vector>

TEST_F(HttpRequest, BodyThatStallsFails)
{
    Open({StalledBody(), HttpAnswer(200, "fine")});
    const Answer answer = Get(L"x", kAnswerMs);
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(200u, answer.statusCode);
    EXPECT_EQ(1u,
              CountLines(LogLevel::Error, L"CAsyncHttpRequest::SendRequest, receiving response timeout, url = 'x'"));
    EXPECT_EQ(L"fine", Get().body);
}

TEST_F(HttpRequest, SilentCameraTimesOutWithTheTimeoutResultInBothPlaces)
{
    Open({Silent()});
    const Answer answer = Get(L"x", kShortMs);
    EXPECT_EQ(kRequestTimeout, answer.hr);
    EXPECT_EQ(static_cast<DWORD>(kRequestTimeout), answer.statusCode);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, timeout"));
    EXPECT_EQ(0u, m_log.Count(L"HResultFromHttpStatusCode")) << "a time-out is no HTTP status";
    EXPECT_EQ(0u, m_log.Count(L"failed for url"));
}

TEST_F(HttpRequest, TimeoutIsLoggedOnceAnHourUntilARequestSucceeds)
{
    const std::wstring message = L"CAsyncHttpRequest::DoSendRequest, timeout";
    Open({Silent(), Silent(), Silent(), Silent(), HttpAnswer(200, "back"), Silent()});
    g_fakeTick = 0xFFFFFFF0u; // the tick count wraps around within the hour
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message));
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message)) << "within the hour";
    g_fakeTick += kHourMs;
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(1u, CountLines(LogLevel::Error, message)) << "exactly an hour is not more than an hour";
    g_fakeTick += 1;
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(2u, CountLines(LogLevel::Error, message)) << "an hour has passed";
    EXPECT_EQ(S_OK, Get().hr);
    EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    EXPECT_EQ(3u, CountLines(LogLevel::Error, message)) << "the camera was back in between";
}

TEST_F(HttpRequest, FailedRequestOfAnyKindDoesNotEndTheHour)
{
    const struct
    {
        const char* reason;
        ScriptedReply reply;
        DWORD timeoutMs;
        HRESULT hr;
        std::size_t lines; // about the two time-outs around the reply
    } rows[] = {
        {"body that stalls", StalledBody(), kAnswerMs, E_FAIL, 1},
        {"failing status", HttpAnswer(404, "none"), kAmpleMs, E_FAIL, 1},
        {"refusal without a challenge", HttpAnswer(401, ""), kAmpleMs, E_FAIL, 1},
        {"connection closed without an answer", Raw(""), kAmpleMs, E_FAIL, 1},
        {"success", HttpAnswer(200, "ok"), kAmpleMs, S_OK, 2},
        {"inner error of the camera, whose body is wanted", HttpAnswer(500, "ok"), kAmpleMs, S_OK, 2},
        {"no content", ScriptedReply{"HTTP/1.1 204 No Content\r\n\r\n"}, kAmpleMs, S_OK, 2},
    };
    constexpr DWORD kHopelessMs = 200;
    std::vector<ScriptedReply> script;
    for (const auto& row : rows)
        script.insert(script.end(), {Silent(), row.reply, Silent()});
    Open(script);
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        m_log.Clear();
        g_fakeTick += kHourMs + 1;
        EXPECT_EQ(kRequestTimeout, Get(L"x", kHopelessMs).hr);
        EXPECT_EQ(row.hr, Get(L"x", row.timeoutMs).hr);
        EXPECT_EQ(kRequestTimeout, Get(L"x", kHopelessMs).hr);
        EXPECT_EQ(row.lines, CountLines(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, timeout"));
    }
}

TEST_F(HttpRequest, UnreachableCameraFailsAndIsLoggedOnce)
{
    Open({Silent()});
    const WORD port = m_camera->Port();
    m_camera.reset();
    ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", port, L"", L""));
    const Answer answer = Get();
    EXPECT_EQ(E_FAIL, answer.hr);
    EXPECT_EQ(static_cast<DWORD>(E_FAIL), answer.statusCode);
    (void)Get();
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::DoSendRequest, failed, dwError = 12029"));
    EXPECT_EQ(0u, m_log.Count(L"HResultFromHttpStatusCode"));
}

TEST_F(HttpRequest, MisbehavingCameraFailsAndTheObjectWorksAgain)
{
    struct
    {
        const char* reason;
        ScriptedReply reply;
    } const rows[] = {
        {"closed without an answer", Raw("")},
        {"closed inside the status line", Raw("HTTP/1.")},
        {"closed inside the headers", Raw("HTTP/1.1 200 OK\r\nContent-Le")},
        {"no HTTP at all", Raw("SSH-2.0-dropbear\r\n")},
        {"binary garbage", Raw(std::string("\x00\xFF\x7F\x80\r\n\r\n\x00", 9))},
        {"a status that is no number", Raw("HTTP/1.1 abc Strange\r\n\r\n")},
        {"reset inside the body",
         [] {
             ScriptedReply reply = Raw("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\nshort");
             reply.reset = true;
             return reply;
         }()},
        {"body cut short", Raw("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nshort")},
        {"length that is no number", Raw("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nbody")},
        {"negative length", Raw("HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nbody")},
        {"chunk size that is no number", Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nbody")},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Open({row.reply});
        const DWORD startTick = ::GetTickCount();
        const Answer answer = Get(L"x", 2000);
        EXPECT_LT(::GetTickCount() - startTick, 6000u);
        EXPECT_TRUE(answer.hr == S_OK || answer.hr == E_FAIL || answer.hr == kRequestTimeout) << answer.hr;
        m_camera->Enqueue(HttpAnswer(200, "recovered"));
        EXPECT_EQ(L"recovered", Get().body);
    }
}

TEST_F(HttpRequest, LateAnswerToAGivenUpRequestDoesNotDisturbTheNextOne)
{
    ScriptedReply late = HttpAnswer(200, "late");
    late.held = true;
    ScriptedReply next = HttpAnswer(200, "next");
    next.held = true;
    Open({late, next});
    ASSERT_EQ(kRequestTimeout, Get(L"first", kShortMs).hr);
    // Both answers become due together: the notifications of the first must not complete the second.
    std::thread release([this] {
        (void)m_camera->WaitForRequests(2);
        m_camera->ReleaseHeld();
    });
    const Answer answer = Get(L"second");
    release.join();
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_EQ(L"next", answer.body);
}

TEST_F(HttpRequest, ObjectMayDieWhileWinInetStillOwesNotifications)
{
    for (int round = 0; round < 20; ++round)
    {
        ScriptedReply late = HttpAnswer(200, "late");
        late.held = true;
        CScriptedCamera camera({late});
        {
            CAsyncHttpRequest http;
            ASSERT_EQ(S_OK, http.OpenConnection(L"127.0.0.1", camera.Port(), L"", L""));
            DWORD statusCode = 0;
            std::wstring body;
            ASSERT_EQ(kRequestTimeout, http.SendRequest(L"x", statusCode, body, L"GET", 20));
            camera.ReleaseHeld();
        }
    }
    EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
}

TEST_F(HttpRequest, CloseWaitsForGivenUpRequestsWithinItsLimit)
{
    struct
    {
        const char* reason;
        std::vector<ScriptedReply> script;
        int answered;
    } const rows[] = {
        {"given up on a new connection", {Silent()}, 0},
        {"given up on a connection that was used before", {HttpAnswer(200, "ok"), Silent()}, 1},
        {"two given up", {Silent(), Silent()}, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Open(row.script);
        for (int request = 0; request < row.answered; ++request)
            ASSERT_EQ(S_OK, Get().hr);
        for (std::size_t request = static_cast<std::size_t>(row.answered); request < row.script.size(); ++request)
            ASSERT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
        const DWORD startTick = ::GetTickCount();
        m_http.Close();
        EXPECT_LT(::GetTickCount() - startTick, CAsyncHttpRequest::kCloseWaitMs);
        EXPECT_EQ(0u, m_log.Count(L"left to WinInet"));
    }
}

TEST_F(HttpRequest, RegistryTimeLimitReplacesTheCallers)
{
    CRegistryValueGuard guard(HKEY_LOCAL_MACHINE, kSettingsKey, kTimeoutValue);
    guard.SetText(L"100");
    Open({Silent()});
    const DWORD startTick = ::GetTickCount();
    EXPECT_EQ(kRequestTimeout, Get(L"x", kAmpleMs).hr);
    EXPECT_LT(::GetTickCount() - startTick, kAmpleMs / 2);

    // Read anew for every request: now an answer that comes after the caller's limit is waited for.
    guard.SetText(L"15000", REG_EXPAND_SZ);
    ScriptedReply late = HttpAnswer(200, "late");
    late.held = true;
    m_camera->Enqueue(late);
    std::thread release([this] {
        (void)m_camera->WaitForRequests(2);
        (void)m_camera->WaitForRequests(3, 3 * kShortMs);
        m_camera->ReleaseHeld();
    });
    const Answer answer = Get(L"x", kShortMs);
    release.join();
    EXPECT_EQ(S_OK, answer.hr);
    EXPECT_EQ(L"late", answer.body);
}

TEST_F(HttpRequest, UnusableRegistryTimeLimitLeavesTheCallersInForce)
{
    const auto text = [](const wchar_t* value) {
        return [value](CRegistryValueGuard& guard) { guard.SetText(value); };
    };
    struct
    {
        const char* reason;
        std::function<void(CRegistryValueGuard&)> set;
    } const rows[] = {
        {"zero is no limit", text(L"0")},
        {"negative", text(L"-5000")},
        {"not a number", text(L"soon")},
        {"empty", text(L"")},
        {"a number, but not as text", [](CRegistryValueGuard& guard) { guard.SetDword(8000); }},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        CRegistryValueGuard guard(HKEY_LOCAL_MACHINE, kSettingsKey, kTimeoutValue);
        row.set(guard);
        Open({Silent()});
        const DWORD startTick = ::GetTickCount();
        EXPECT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
        EXPECT_LT(::GetTickCount() - startTick, 4000u);
    }
}
