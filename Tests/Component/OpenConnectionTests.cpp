// Opening and closing the connection, and what the object remembers.

#include "Tests/Component/ScriptedCameraFixture.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

class OpenConnection : public ScriptedCameraTest
{
};

TEST_F(OpenConnection, NewObjectIsNotConnected)
{
    const CommandPointer command = CreateCommand();
    EXPECT_EQ(S_FALSE, command->IsConnected());
    EXPECT_EQ(S_OK, command->CloseConnection());
    EXPECT_EQ(S_FALSE, command->IsConnected());
    EXPECT_EQ(E_FAIL, command->ConnectToCamera());
}

TEST_F(OpenConnection, SendsNothingByItself)
{
    Start({ProbeReply()});
    EXPECT_EQ(S_OK, m_command->IsConnected());
    EXPECT_EQ(S_OK, m_command->CloseConnection());
    EXPECT_EQ(S_FALSE, m_command->IsConnected());
    EXPECT_EQ(0u, m_camera->ConnectionCount());
}

TEST_F(OpenConnection, LogsWhereTo)
{
    m_camera.emplace(std::vector<ScriptedReply>{ProbeReply()});
    m_command = CreateCommand();
    m_log.Clear();
    ASSERT_EQ(S_OK, Open(m_command, m_camera->Port(), L"admin", L"secret"));
    EXPECT_THAT(m_log.Lines(), ElementsAre("1 CAsyncHttpRequest::OpenConnection, lpszServer = '127.0.0.1', nPort = " +
                                           std::to_string(m_camera->Port())));
}

TEST_F(OpenConnection, RefusesToOpenNowhere)
{
    const CBstr name = MakeBstr(L"127.0.0.1");
    const CBstr empty = MakeBstr(L"");
    const struct
    {
        const char* reason;
        BSTR serverName;
        WORD port;
    } rows[] = {{"no name", nullptr, 80}, {"an empty name", empty.get(), 80}, {"port 0", name.get(), 0}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CommandPointer command = CreateCommand();
        m_log.Clear();
        EXPECT_EQ(E_INVALIDARG, command->OpenConnection(row.serverName, row.port, nullptr, nullptr));
        EXPECT_THAT(m_log.Lines(),
                    ElementsAre("8 CAVCommand::OpenConnection, failed to OpenConnection, hr = 0x80070057"));
        EXPECT_EQ(S_FALSE, command->IsConnected());
    }
}

TEST_F(OpenConnection, NullUserAndPasswordAreNone)
{
    m_camera.emplace(std::vector<ScriptedReply>{ProbeReply()});
    m_command = CreateCommand();
    ASSERT_EQ(S_OK, m_command->OpenConnection(MakeBstr(L"127.0.0.1").get(), m_camera->Port(), nullptr, nullptr));
    EXPECT_EQ(S_OK, m_command->IsConnected());
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported(1, 1, 1));
    EXPECT_THAT(Sent(), ElementsAre(kProbe));
}

TEST_F(OpenConnection, RefusalClosesTheConnectionOfBefore)
{
    StartProbed({HttpAnswer(200, "")});
    EXPECT_EQ(E_INVALIDARG, Open(m_command, 0));
    EXPECT_EQ(S_FALSE, m_command->IsConnected());
    EXPECT_EQ(E_FAIL, m_command->SetBitRate(64));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(OpenConnection, SecondOneStartsFromNothing)
{
    const std::string challenge = "WWW-Authenticate: Basic realm=\"cam\"\r\n";
    Start({HttpAnswer(401, "", challenge), ProbeReply("SNC-EP580"), HttpAnswer(200, "")}, L"user", L"pass");
    ASSERT_EQ(S_OK, m_command->SetBitRate(64));
    EXPECT_THAT(Sent(), ElementsAre(kProbe, kProbe, "command/camera.cgi?BitRate1=64"));

    CScriptedCamera other({ProbeReply("SNC-RX550"), HttpAnswer(200, "")});
    ASSERT_EQ(S_OK, Open(m_command, other.Port()));
    ASSERT_EQ(S_OK, m_command->SetBitRate(64));
    EXPECT_THAT(Sent(), IsEmpty());
    ASSERT_EQ(2u, other.Requests().size());
    EXPECT_EQ(kProbe, RequestOf(other.Requests()[0]));
    EXPECT_EQ("", HeaderValue(other.Requests()[0], "Authorization"));
    EXPECT_EQ("command/camera.cgi?M4BitRate=64", RequestOf(other.Requests()[1]));
}

TEST_F(OpenConnection, ReopeningTheSameCameraProbesAgainWithoutCredentials)
{
    const std::string challenge = "WWW-Authenticate: Basic realm=\"cam\"\r\n";
    Start({HttpAnswer(401, "", challenge), ProbeReply(), HttpAnswer(200, "")}, L"user", L"pass");
    ASSERT_EQ(S_OK, m_command->SetBitRate(64));
    ASSERT_EQ(S_OK, Open(m_command, m_camera->Port(), L"user", L"pass"));
    Forget();
    m_camera->Enqueue(ProbeReply());
    ASSERT_EQ(S_FALSE, m_command->IsImageSizeSupported(1, 1, 1));
    const std::vector<std::string> heads = SentHeads();
    ASSERT_EQ(1u, heads.size());
    EXPECT_EQ(kProbe, RequestOf(heads[0]));
    EXPECT_EQ("", HeaderValue(heads[0], "Authorization"));
}

TEST_F(OpenConnection, ClosedObjectFailsWithoutARequestUntilItIsOpenedAgain)
{
    StartProbed({HttpAnswer(200, "")});
    EXPECT_EQ(S_OK, m_command->CloseConnection());
    EXPECT_EQ(E_FAIL, m_command->SetBitRate(64));
    EXPECT_EQ(S_OK, m_command->CloseConnection());
    EXPECT_THAT(Sent(), IsEmpty());
    ASSERT_EQ(S_OK, Open(m_command, m_camera->Port()));
    EXPECT_EQ(S_OK, m_command->SetBitRate(64));
    EXPECT_EQ(2u, Sent().size());
}

} // namespace
