// The one message an hour about a camera that cannot be talked to.

#include "Tests/Component/LastingCamera.h"

#include <chrono>

namespace
{
using testing::Contains;
using testing::Not;
using testing::StartsWith;

class FailureReport : public LastingCameraTest
{
};

TEST_F(FailureReport, UnknownCameraFailsAtOnceAndIsReportedOnce)
{
    const CScriptedCamera& camera = MakeCamera({HttpAnswer(404, "")});
    const CommandPointer command = OpenTo(camera);
    m_log.Clear();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "no pause, no second pass";
    EXPECT_EQ(1u, CountProbes(camera)) << "one pass";
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
    EXPECT_EQ(0u, m_log.Count("will try again"));

    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_EQ(2u, CountProbes(camera)) << "nothing is kept of a failed choice";
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
}

/// A loopback port that nobody answers: taken, but not listened on.
class CClosedPort
{
public:
    CClosedPort()
    {
        WSADATA data = {};
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        int sizeBytes = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
            throw std::runtime_error("WSAStartup failed");
        m_socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        if (m_socket == INVALID_SOCKET || ::bind(m_socket, generic, sizeBytes) != 0 ||
            ::getsockname(m_socket, generic, &sizeBytes) != 0)
            throw std::runtime_error("no loopback port");
        m_port = ::ntohs(address.sin_port);
    }
    ~CClosedPort()
    {
        ::closesocket(m_socket);
        ::WSACleanup();
    }
    CClosedPort(const CClosedPort&) = delete;
    CClosedPort& operator=(const CClosedPort&) = delete;

    WORD Number() const noexcept
    {
        return m_port;
    }

private:
    SOCKET m_socket = INVALID_SOCKET;
    WORD m_port = 0;
};

TEST_F(FailureReport, RefusedOpenKeepsTheCameraOfBefore)
{
    const CScriptedCamera& camera = MakeCamera({HttpAnswer(404, "")});
    const CommandPointer command = OpenTo(camera);
    ASSERT_EQ(E_INVALIDARG, Open(command, 0));
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count(kCantTalk)) << "reported for the camera of before";
    ASSERT_EQ(S_OK, Open(command, camera.Port()));
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count(kCantTalk)) << "whose hour is not over";
}

TEST_F(FailureReport, ObjectsShareTheHourOfACamera)
{
    const CScriptedCamera& camera = MakeCamera({HttpAnswer(404, "")});
    EXPECT_EQ(E_FAIL, OpenTo(camera)->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
    EXPECT_EQ(E_FAIL, OpenTo(camera)->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
    EXPECT_EQ(2u, CountProbes(camera));
}

TEST_F(FailureReport, AnotherPortHasItsOwnHour)
{
    const CScriptedCamera& first = MakeCamera({HttpAnswer(404, "")});
    const CScriptedCamera& second = MakeCamera({HttpAnswer(404, "")});
    const CommandPointer command = OpenTo(first);
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_EQ(S_OK, Open(command, second.Port()));
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_EQ(2u, m_log.Count(kCantTalk));
}

TEST_F(FailureReport, AnotherSpellingHasItsOwnHour)
{
    const CScriptedCamera& camera = MakeCamera({HttpAnswer(404, "")});
    for (const wchar_t* name : {L"localhost", L"LOCALHOST", L"127.0.0.1"})
    {
        m_log.Clear();
        EXPECT_EQ(E_FAIL, OpenTo(camera, name)->ConnectToCamera());
        EXPECT_EQ(1u, m_log.Count(kCantTalk));
        EXPECT_EQ(E_FAIL, OpenTo(camera, name)->ConnectToCamera());
        EXPECT_EQ(1u, m_log.Count(kCantTalk));
    }
    EXPECT_EQ(6u, CountProbes(camera));
}

TEST_F(FailureReport, SuccessDoesNotEndTheHour)
{
    CScriptedCamera& camera = MakeCamera({HttpAnswer(404, "")});
    const CommandPointer command = OpenTo(camera);
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    camera.Enqueue(ProbeReply());
    EXPECT_EQ(S_OK, command->PauseStreaming());
    ASSERT_EQ(S_OK, Open(command, camera.Port()));
    camera.Enqueue(HttpAnswer(404, ""));
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
}

TEST_F(FailureReport, NobodyThereIsFoundOutByTheFirstRequest)
{
    static const CClosedPort port; // as lasting as the cameras
    const CommandPointer command = CreateCommand();
    ASSERT_EQ(S_OK, Open(command, port.Number()));
    EXPECT_EQ(S_OK, command->IsConnected()) << "an open handle, not an answer of the camera";
    m_log.Clear();
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    // ERROR_INTERNET_CANNOT_CONNECT
    EXPECT_EQ(1u, m_log.Count("8 CAsyncHttpRequest::DoSendRequest, failed, dwError = 12029"));
    EXPECT_EQ(1u, m_log.Count("1 CCgiCommandIpela::TryTalkToCamera, failed to send request: "
                              "'command/inquiry.cgi?inq=system', hr = 0x80004005"));
    EXPECT_EQ(1u, m_log.Count(kCantTalk));
    m_log.Clear();
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
    EXPECT_THAT(m_log.Lines(), Not(Contains(StartsWith("8 ")))) << "within the hour";
}
} // namespace
