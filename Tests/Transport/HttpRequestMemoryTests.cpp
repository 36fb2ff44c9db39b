// Connections and requests while memory is short: allocation after allocation fails, until a call gets through.

#include "ComHosting/WinApp.h"
#include "HttpRequest.h"
#include "Tests/Support/CountedAllocations.h"
#include "Tests/Support/ScriptedCamera.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr unsigned kMaxAllocations = 400;
constexpr DWORD kAmpleMs = 10000;

// Longer than what a string holds without memory of its own.
const std::wstring kUrl = L"command/inquiry.cgi?inq=camera";
const std::wstring kVerb = L"GET";
constexpr wchar_t kUser[] = L"a user name that needs memory";
constexpr wchar_t kPassword[] = L"a password that needs memory";
const std::string kChallenge = "WWW-Authenticate: Digest realm=\"a realm that needs memory\", "
                               "nonce=\"a nonce that needs memory\", qop=\"auth\"\r\n";
const std::string kBody(5000, 'b');

/// Has every message formatted, and keeps none.
class CSilentLogSink final : public ILogSink
{
public:
    void Write(const LogMessage&) noexcept override {}
};

class HttpRequestWithoutMemory : public testing::Test
{
protected:
    HttpRequestWithoutMemory()
    {
        COBLogManager::SetSink(std::make_shared<CSilentLogSink>(), COBLogManager::kAllLevels);
    }
    ~HttpRequestWithoutMemory() override
    {
        COBLogManager::SetSink(nullptr, 0);
    }

    static HRESULT Open(CAsyncHttpRequest& http, const CScriptedCamera& camera)
    {
        return http.OpenConnection(L"127.0.0.1", camera.Port(), kUser, kPassword);
    }
    static void ExpectToWork(CAsyncHttpRequest& http)
    {
        DWORD statusCode = 0;
        std::wstring body;
        EXPECT_EQ(S_OK, http.SendRequest(kUrl, statusCode, body, kVerb, kAmpleMs));
        EXPECT_EQ(200u, statusCode);
        EXPECT_EQ(kBody.size(), body.size());
    }
};

TEST_F(HttpRequestWithoutMemory, OpenConnectionFailsAsAWholeAndWorksAfterwards)
{
    unsigned allowed = 0;
    for (bool hasFailed = true; hasFailed && allowed < kMaxAllocations; ++allowed)
    {
        SCOPED_TRACE(allowed);
        // Another one each time: a camera that was connected to before is already in the table of servers.
        const CScriptedCamera camera({HttpAnswer(200, kBody)});
        CAsyncHttpRequest http;
        HRESULT hr = E_PENDING;
        {
            const CountedAllocations::CFailAfter limit(allowed);
            hr = Open(http, camera);
            hasFailed = limit.HasFailed();
        }
        // A line of the log may be all that was lost.
        EXPECT_TRUE(hr == E_OUTOFMEMORY || hr == S_OK) << hr;
        EXPECT_TRUE(hr == S_OK || hasFailed);
        EXPECT_EQ(hr == S_OK, http.IsOpen());
        ASSERT_EQ(S_OK, Open(http, camera));
        ExpectToWork(http);
    }
    EXPECT_GT(allowed, 4u) << "the calls needed memory";
    EXPECT_LT(allowed, kMaxAllocations);
}

TEST_F(HttpRequestWithoutMemory, SendRequestFailsAndWorksAfterwards)
{
    unsigned allowed = 0;
    unsigned outOfMemory = 0;
    for (bool hasFailed = true; hasFailed && allowed < kMaxAllocations; ++allowed)
    {
        SCOPED_TRACE(allowed);
        const CScriptedCamera camera({HttpAnswer(401, "", kChallenge), HttpAnswer(200, kBody)});
        CAsyncHttpRequest http;
        ASSERT_EQ(S_OK, Open(http, camera));
        HRESULT hr = E_PENDING;
        DWORD statusCode = 4711;
        std::wstring body = L"left over from another request";
        {
            const CountedAllocations::CFailAfter limit(allowed);
            hr = http.SendRequest(kUrl, statusCode, body, kVerb, kAmpleMs);
            hasFailed = limit.HasFailed();
        }
        outOfMemory += hr == E_OUTOFMEMORY ? 1 : 0;
        // E_FAIL: the credentials could not be made, and the camera does not answer without them.
        EXPECT_TRUE(hr == S_OK || (hasFailed && (hr == E_OUTOFMEMORY || hr == E_FAIL))) << hr;
        EXPECT_EQ(hr == S_OK ? kBody.size() : 0u, body.size());
        EXPECT_TRUE(http.IsOpen());
        ExpectToWork(http);
    }
    EXPECT_GT(outOfMemory, 0u);
    EXPECT_LT(allowed, kMaxAllocations);
    EXPECT_TRUE(CWinApp::CanUnload()) << "no request is left behind";
}
} // namespace
