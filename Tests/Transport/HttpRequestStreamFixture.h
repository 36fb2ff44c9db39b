#pragma once

#include "HttpRequestStream.h"

#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/TunnelCamera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

/// Both kinds of stream and a camera that answers as the test says.
class HttpRequestStream : public ::testing::Test
{
protected:
    static constexpr DWORD kAmpleMs = 10000;
    static constexpr DWORD kShortMs = 200;
    static constexpr wchar_t kPath[] = L"/axis-media/media.amp";
    static constexpr wchar_t kCookie[] = L"x-sessioncookie:c1\r\n";
    static constexpr char kGetLine[] = "GET /axis-media/media.amp HTTP/1.1";

    static inline DWORD s_fakeTick = 1;
    static DWORD WINAPI FakeTickCount()
    {
        return s_fakeTick;
    }

    ~HttpRequestStream() override
    {
        // WinInet may be waiting for the camera inside a request that is still open.
        m_camera.Close(TunnelSide::Both);
    }

    HRESULT Open(CAsyncHttpRequestStream& stream, DWORD timeoutMs = kAmpleMs, const wchar_t* verb = L"GET")
    {
        EXPECT_EQ(S_OK, stream.OpenConnection(L"127.0.0.1", m_camera.Port(), L"user", L"pass"));
        return stream.OpenStream(kPath, kCookie, verb, timeoutMs);
    }
    void OpenGet()
    {
        ASSERT_EQ(S_OK, Open(m_get));
    }
    void OpenPost()
    {
        const std::size_t countHeads = m_camera.Heads().size();
        ASSERT_EQ(S_OK, m_post.OpenConnection(L"127.0.0.1", m_camera.Port(), L"user", L"pass"));
        ASSERT_EQ(S_OK, m_post.OpenStream(kPath, std::wstring(kCookie) + L"Content-Length: 32767"));
        ASSERT_TRUE(m_post.IsRequestSent());
        ASSERT_TRUE(m_camera.WaitForHeads(countHeads + 1));
    }
    /// Reads until `count` bytes have come or nothing more comes.
    std::string ReadAll(std::size_t count)
    {
        std::string all;
        std::string piece;
        while (all.size() < count && m_get.Read(piece, kAmpleMs) == S_OK && !piece.empty())
            all += piece;
        return all;
    }
    /// How often a message that begins so was logged at this level.
    std::size_t CountLines(LogLevel level, const std::wstring& beginning) const
    {
        const std::vector<CapturedMessage> messages = m_log.Messages();
        return static_cast<std::size_t>(std::ranges::count_if(messages, [&](const CapturedMessage& message) {
            return message.level == level && message.text.starts_with(beginning);
        }));
    }
    /// The line is logged first, and the object marked closed then.
    void WaitUntilLost()
    {
        for (int round = 0; round < 500 && m_post.IsOpen(); ++round)
            (void)m_camera.WaitForHeads(1000, 10);
    }
    void ExpectClosedPost()
    {
        EXPECT_FALSE(m_post.IsStreamOpen());
        EXPECT_FALSE(m_post.IsOpen());
        EXPECT_FALSE(m_post.IsRequestSent());
        EXPECT_EQ(E_UNEXPECTED, m_post.Write("T1BUSU9OUw=="));
        EXPECT_EQ(E_UNEXPECTED, m_post.OpenStream(kPath, kCookie));
        DWORD statusCode = 4711;
        std::wstring body;
        EXPECT_EQ(E_UNEXPECTED, m_post.SendRequest(L"x", statusCode, body, L"GET", kShortMs));
    }

    CLogCapture m_log;
    CTunnelCamera m_camera; // outlives the connections to it
    CAsyncHttpRequestStream m_get{&FakeTickCount};
    CAsyncHttpRequestStreamPost m_post{&FakeTickCount};
};
