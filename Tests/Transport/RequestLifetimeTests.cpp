// How long WinInet's share of a request lasts, in whichever order its notifications come.

#include "ComHosting/WinApp.h"
#include "Tests/Support/ImportPatch.h"
#include "Tests/Transport/HttpRequestFixture.h"

#include <functional>
#include <memory>

QUORVANE_IMPORT_SLOT(s_setOptionSlot, InternetSetOptionW, 16);

namespace
{
const auto s_setOption = reinterpret_cast<decltype(&::InternetSetOptionW)>(s_setOptionSlot);

/// Lets WinInet wait for an answer for longer than the object waits for WinInet.
BOOL WINAPI KeepReceiveTimeLimit(HINTERNET handle, DWORD option, void* buffer, DWORD lengthBytes)
{
    return option == INTERNET_OPTION_RECEIVE_TIMEOUT ? TRUE : s_setOption(handle, option, buffer, lengthBytes);
}

/// Does something from inside the notification that an operation has completed.
class CReactingRequest : public CAsyncHttpRequest
{
public:
    void OnRequestComplete(RequestContext*, const INTERNET_ASYNC_RESULT*) noexcept override
    {
        ++m_completions;
        if (m_react)
            m_react();
    }

    std::function<void()> m_react;
    std::atomic<int> m_completions{0};
};

void Notify(CRequestBlock* block, DWORD status)
{
    INTERNET_ASYNC_RESULT result = {1, 0};
    const auto context = reinterpret_cast<DWORD_PTR>(static_cast<RequestContext*>(block));
    CRequestBlock::StatusCallback(nullptr, context, status, &result, sizeof(result));
}

/// A block that WinInet holds a share of. The session's record is shared by the test and the block, so its owners tell
/// whether the block still lives.
class RequestLifetime : public testing::Test
{
protected:
    RequestLifetime()
    {
        m_block->LendToWinInet();
    }
    bool BlockLives() const
    {
        return m_session.use_count() > 1;
    }
    /// Whether whoever closes the session has to wait for it.
    bool SessionIsBusy() const
    {
        return !m_session->WaitUntilNone(0);
    }

    CReactingRequest m_http;
    std::shared_ptr<CSessionRequests> m_session = std::make_shared<CSessionRequests>();
    CRequestBlock* m_block = new CRequestBlock(m_http, m_session);
};
} // namespace

TEST_F(RequestLifetime, LastsUntilTheClosingNotification)
{
    m_block->Abandon();
    m_block->Release();
    Notify(m_block, INTERNET_STATUS_REQUEST_COMPLETE);
    ASSERT_TRUE(BlockLives());
    EXPECT_TRUE(SessionIsBusy());
    EXPECT_FALSE(CWinApp::CanUnload()) << "WinInet may call back into this library";
    Notify(m_block, INTERNET_STATUS_HANDLE_CLOSING);
    EXPECT_FALSE(BlockLives());
    EXPECT_FALSE(SessionIsBusy());
    EXPECT_TRUE(CWinApp::CanUnload());
}

TEST_F(RequestLifetime, LastsAsLongAsTheOwnerHoldsIt)
{
    Notify(m_block, INTERNET_STATUS_HANDLE_CLOSING);
    ASSERT_TRUE(BlockLives());
    m_block->Release();
    EXPECT_FALSE(BlockLives());
    EXPECT_FALSE(SessionIsBusy());
}

TEST_F(RequestLifetime, OpenThatFailsBeforeAHandleIsAnnouncedEndsWinInetsShare)
{
    m_block->OpenFailed();
    ASSERT_TRUE(BlockLives()) << "the owner's share is left";
    m_block->Release();
    EXPECT_FALSE(BlockLives()) << "no notification will come";
    EXPECT_FALSE(SessionIsBusy());
}

TEST_F(RequestLifetime, OpenThatFailsAfterAHandleWasAnnouncedWaitsForItsClosing)
{
    Notify(m_block, INTERNET_STATUS_HANDLE_CREATED);
    m_block->OpenFailed();
    m_block->Release();
    ASSERT_TRUE(BlockLives());
    EXPECT_TRUE(SessionIsBusy());
    Notify(m_block, INTERNET_STATUS_HANDLE_CLOSING);
    EXPECT_FALSE(BlockLives());
    EXPECT_FALSE(SessionIsBusy());
}

TEST_F(RequestLifetime, OpenThatFailsAfterTheHandleWasClosedEndsTheShareOnce)
{
    Notify(m_block, INTERNET_STATUS_HANDLE_CREATED);
    Notify(m_block, INTERNET_STATUS_HANDLE_CLOSING);
    m_block->OpenFailed();
    ASSERT_TRUE(BlockLives()) << "the owner's share is left";
    m_block->Release();
    EXPECT_FALSE(BlockLives());
    EXPECT_FALSE(SessionIsBusy());
}

TEST_F(RequestLifetime, CloseInsideANotificationKeepsTheBlockUntilTheNotificationIsOver)
{
    bool livedOn = false;
    bool keptSessionBusy = false;
    m_http.m_react = [&] {
        // As COpenRequest::Close does, with the last notification delivered by the close itself.
        m_block->Abandon();
        Notify(m_block, INTERNET_STATUS_HANDLE_CLOSING);
        m_block->Release();
        livedOn = BlockLives();
        keptSessionBusy = SessionIsBusy();
    };
    Notify(m_block, INTERNET_STATUS_REQUEST_COMPLETE);
    EXPECT_EQ(1, m_http.m_completions);
    EXPECT_TRUE(livedOn) << "the notification goes on with it after the owner";
    EXPECT_TRUE(keptSessionBusy) << "the thread is still in this library";
    EXPECT_FALSE(BlockLives());
    EXPECT_FALSE(SessionIsBusy());
}

TEST(RequestLifetimeWithWinInet, RequestIsClosedFromInsideItsNotification)
{
    // No owner in the component closes one with its lock held; here it is shown that one could.
    if (Lifetime::kIsChecked)
        GTEST_SKIP() << "the checked build does not let it happen";
    CScriptedCamera camera({HttpAnswer(200, "ok")});
    CReactingRequest http;
    const auto session = std::make_shared<CSessionRequests>();
    const CInternetHandle internet(
        ::InternetOpenW(L"test", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr, INTERNET_FLAG_ASYNC));
    ::InternetSetStatusCallbackW(internet.get(), &CRequestBlock::StatusCallback);
    const CInternetHandle connection(
        ::InternetConnectW(internet.get(), L"127.0.0.1", camera.Port(), nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    COpenRequest request;
    ASSERT_TRUE(request.Open(http, session, connection.get(), L"GET", L"x"));
    http.m_react = [&] { request.Close(); };
    EXPECT_FALSE(::HttpSendRequestW(request.get(), nullptr, 0, nullptr, 0));
    ASSERT_EQ(static_cast<DWORD>(ERROR_IO_PENDING), ::GetLastError());
    EXPECT_TRUE(WaitUntil([&] { return http.m_completions > 0; }));
    EXPECT_TRUE(session->WaitUntilNone(kAmpleMs));
    EXPECT_TRUE(WaitUntil([&] { return session.use_count() == 1; })) << "the block is gone";
    EXPECT_EQ(1, http.m_completions);
}

class MissedLimit : public HttpRequestTest
{
};

TEST_F(MissedLimit, IsLoggedAndTheRequestIsLeftToWinInet)
{
    ScriptedReply late = HttpAnswer(200, "late");
    late.held = true;
    Open({late, HttpAnswer(200, "ok")});
    {
        const CImportPatch patient(&s_setOptionSlot, &KeepReceiveTimeLimit);
        ASSERT_EQ(kRequestTimeout, Get(L"x", kShortMs).hr);
    }
    ASSERT_TRUE(m_camera->WaitForRequests(1));
    m_log.Clear();
    const DWORD startTick = ::GetTickCount();
    m_http.Close();
    EXPECT_GE(::GetTickCount() - startTick, CAsyncHttpRequest::kCloseWaitMs);
    EXPECT_LT(::GetTickCount() - startTick, 2 * CAsyncHttpRequest::kCloseWaitMs) << "one limit for all";
    EXPECT_EQ(1u, CountLines(LogLevel::Error, L"CAsyncHttpRequest::CloseSession, requests still pending after 2000 "
                                              L"ms, left to WinInet"));
    EXPECT_FALSE(m_http.IsOpen());
    EXPECT_FALSE(CWinApp::CanUnload()) << "the request is still WinInet's";

    m_camera->ReleaseHeld();
    EXPECT_TRUE(WaitUntil(&CWinApp::CanUnload)) << "until its last notification";
    ASSERT_EQ(S_OK, m_http.OpenConnection(L"127.0.0.1", m_camera->Port(), L"", L""));
    EXPECT_EQ(L"ok", Get().body);
}
