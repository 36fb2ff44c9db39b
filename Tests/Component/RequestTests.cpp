// One request as the camera receives it, and what becomes of its answer.

#include "Tests/Component/ScriptedCameraFixture.h"

#include <algorithm>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

class Request : public ScriptedCameraTest
{
};

const std::string kVolume = "command/camera.cgi?AudioInVolume=3";

/// The header lines of a request head without the request line, sorted.
std::vector<std::string> HeaderLines(const std::string& head)
{
    std::vector<std::string> lines;
    for (std::size_t start = head.find("\r\n") + 2; head.compare(start, 2, "\r\n") != 0;)
    {
        const std::size_t end = head.find("\r\n", start);
        lines.push_back(head.substr(start, end - start));
        start = end + 2;
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST_F(Request, CarriesTheseHeadersAndNoOthers)
{
    Start({ProbeReply(), HttpAnswer(200, "")}, L"admin", L"secret");
    ASSERT_EQ(S_OK, m_command->SetAudioInVolume(3));
    const std::vector<std::string> heads = SentHeads();
    ASSERT_EQ(2u, heads.size());
    EXPECT_EQ("GET /command/inquiry.cgi?inq=system HTTP/1.1", RequestLine(heads[0]));
    EXPECT_EQ("GET /command/camera.cgi?AudioInVolume=3 HTTP/1.1", RequestLine(heads[1]));
    for (const std::string& head : heads)
    {
        std::vector<std::string> lines = HeaderLines(head);
        // Windows says that a reload must come from the camera itself, Wine does not.
        std::erase_if(lines, [](const std::string& line) { return line == "Cache-Control: no-cache"; });
        EXPECT_THAT(lines, ElementsAre("Connection: Keep-Alive", "Host: 127.0.0.1:" + std::to_string(m_camera->Port()),
                                       "User-Agent: ORBELL AV Client"))
            << "no credentials before they are asked for";
    }
}

TEST_F(Request, SequenceSharesOneConnection)
{
    StartProbed({HttpAnswer(200, "")});
    for (int volume = -10; volume <= 10; ++volume)
        ASSERT_EQ(S_OK, m_command->SetAudioInVolume(volume));
    EXPECT_EQ(21u, Sent().size());
    EXPECT_EQ(1u, m_camera->ConnectionCount());
}

TEST_F(Request, ConnectionThatTheCameraHasClosedIsOpenedAgain)
{
    ScriptedReply last = HttpAnswer(200, "", "Connection: close\r\n");
    last.closeAfter = true;
    StartProbed({last, HttpAnswer(200, "")});
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(1));
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(2));
    EXPECT_EQ(2u, m_camera->ConnectionCount());
}

TEST_F(Request, StatusDecides)
{
    const struct
    {
        const char* reason;
        int status;
        HRESULT hr;
        unsigned level; ///< of the message about the status; 0: none
    } rows[] = {
        {"success", 200, S_OK, 0},
        {"no content", 204, S_OK, 0},
        {"success of another kind", 202, S_OK, 0},
        {"the last success", 299, S_OK, 0},
        {"cameras answer 500 and have done it", 500, S_OK, 0},
        {"a redirection to nowhere", 302, E_FAIL, 8},
        {"bad request", 400, E_FAIL, 8},
        {"forbidden", 403, E_FAIL, 8},
        {"a camera of another family says so", 404, E_FAIL, 1},
        {"busy", 503, E_FAIL, 8},
        {"the last known status", 505, E_FAIL, 8},
        {"no known status", 506, E_FAIL, 8},
        {"no status at all", 999, E_FAIL, 8},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.status << ", " << row.reason);
        ScriptedReply reply = HttpAnswer(row.status, "");
        if (row.status == 204)
            reply.bytes = "HTTP/1.1 204 No Content\r\n\r\n";
        StartProbed({reply});
        EXPECT_EQ(row.hr, m_command->SetAudioInVolume(3));
        EXPECT_THAT(Sent(), ElementsAre(kVolume)) << "nothing is repeated";
        std::vector<std::string> expected;
        const std::string status = std::to_string(row.status);
        if (row.status > 505)
            expected.push_back("1 HResultFromHttpStatusCode, unexpected statusCode (" + status + ")");
        if (row.level != 0)
        {
            expected.push_back(std::to_string(row.level) + " CHttpRequest::SendRequest, failed for url: '" + kVolume +
                               "', status code: " + status + ", 'Scripted'");
            expected.push_back("8 CCgiCommandIpela::SetAudioInVolume, request (" + kVolume +
                               ") failed, dwStatusCode = " + status + ", hr = 0x80004005");
        }
        EXPECT_EQ(expected, m_log.Lines());
        EXPECT_EQ(row.hr == S_OK ? S_OK : E_FAIL, m_command->SetAudioInVolume(3)) << "the object stays usable";
    }
}

TEST_F(Request, StatusTextIsReadAsLatin1)
{
    ScriptedReply reply{"HTTP/1.1 403 Zugriff verwehrt f\xFCr Sie\r\nContent-Length: 0\r\n\r\n"};
    StartProbed({reply});
    EXPECT_EQ(E_FAIL, m_command->SetAudioInVolume(3));
    EXPECT_EQ(1u, m_log.Count("status code: 403, 'Zugriff verwehrt f\xC3\xBCr Sie'"));
}

TEST_F(Request, BodyOf500IsTheAnswer)
{
    Start({HttpAnswer(500, "ModelName=SNC-EP550&Serial=1&SoftVersion=2")});
    long count = 0;
    EXPECT_EQ(S_OK, m_command->GetSupportedImageSizes2(nullptr, &count));
    EXPECT_EQ(10, count);
}

TEST_F(Request, NoContentIsAnEmptyAnswer)
{
    StartProbed({ScriptedReply{"HTTP/1.1 204 No Content\r\n\r\n"}});
    EXPECT_EQ(E_FAIL, m_command->ConnectToCamera());
    EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::QueryCameraSettings, request (command/inquiry.cgi?inq=camera) "
                              "returns 0 byte"));
}

/// Settings behind so much padding that they arrive in several chunks.
std::string LongSettings(std::size_t paddingBytes)
{
    return "Padding=" + std::string(paddingBytes, 'x') +
           "&VideoStd=pal&ImageCodec1=h264&ImageSize1=1280,720&FrameRate1=25&BitRate1=4096&AutoRateCtrl1=off"
           "&McAddress1=239.192.0.101&McVideoPort1=61000&McAudioPort=61002&UcVideoPort1=51000&UcAudioPort=51002"
           "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=7&Last=end";
}

TEST_F(Request, LongBodyArrivesWhole)
{
    const struct
    {
        const char* reason;
        std::size_t paddingBytes;
        std::size_t pieceBytes;
    } rows[] = {
        {"all values behind the first chunk", 4095, 0},
        {"values across the border of two chunks", 4000, 0},
        {"many chunks", 50'000, 0},
        {"sent in small pieces", 9000, 100},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const std::string body = LongSettings(row.paddingBytes);
        ScriptedReply reply = HttpAnswer(200, body);
        reply.pieceBytes = row.pieceBytes;
        StartProbed({reply});
        CameraSettings3 settings = {};
        ASSERT_EQ(S_OK, m_command->GetCameraSettings3(&settings));
        ::SysFreeString(settings.MulticastAddress);
        EXPECT_EQ(7, settings.AudioInVolume);
        EXPECT_EQ(1u, m_log.Count("1 CCgiCommandIpela::GetCameraSettings, returned strContent = " + body));
    }
}

TEST_F(Request, BodyWithoutALengthEndsWithTheConnection)
{
    ScriptedReply reply{"HTTP/1.1 200 OK\r\n\r\n" + LongSettings(5000)};
    reply.closeAfter = true;
    StartProbed({reply});
    CameraSettings3 settings = {};
    EXPECT_EQ(S_OK, m_command->GetCameraSettings3(&settings));
    ::SysFreeString(settings.MulticastAddress);
    EXPECT_EQ(7, settings.AudioInVolume);
}

TEST_F(Request, LateAnswerToAnAbandonedRequestDisturbsNoLaterOne)
{
    m_registry.SetText(kTimeLimit, L"300");
    ScriptedReply late = HttpAnswer(403, "too late");
    late.held = true;
    StartProbed({late, HttpAnswer(200, "")});
    EXPECT_EQ(kTimedOut, m_command->SetAudioInVolume(3));
    EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::SetAudioInVolume, request (" + kVolume +
                              ") failed, dwStatusCode = -2146695756, hr = 0x800c05b4"))
        << "the status is the time-out, too";
    EXPECT_EQ(0u, m_log.Count("CHttpRequest::SendRequest")) << "a time-out is no HTTP status";
    m_camera->ReleaseHeld();
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(S_OK, m_command->SetAudioInVolume(3));
    EXPECT_EQ(21u, Sent().size());
}

TEST_F(Request, ObjectMayDieWithAnAbandonedRequest)
{
    m_registry.SetText(kTimeLimit, L"200");
    for (int i = 0; i < 5; ++i)
    {
        ScriptedReply late = HttpAnswer(200, "too late");
        late.held = true;
        StartProbed({late});
        EXPECT_EQ(kTimedOut, m_command->SetAudioInVolume(3));
        m_command.reset();
        m_camera->ReleaseHeld();
        EXPECT_EQ(1u, m_log.Count("1 CAVCommand, destructor"));
        EXPECT_EQ(0u, m_log.Count("requests still pending"));
    }
}

TEST_F(Request, TimeOutsOfACameraAreReportedOnceUntilItAnswers)
{
    const std::string timeout = "8 CAsyncHttpRequest::DoSendRequest, timeout";
    m_registry.SetText(kTimeLimit, L"200");
    ScriptedReply silent;
    silent.silentAfter = true;
    StartProbed({silent, silent, HttpAnswer(403, ""), silent, HttpAnswer(200, ""), silent, silent});
    EXPECT_EQ(kTimedOut, m_command->SetAudioInVolume(3));
    EXPECT_EQ(1u, m_log.Count(timeout));
    EXPECT_EQ(kTimedOut, m_command->SetAudioInVolume(3));
    EXPECT_EQ(1u, m_log.Count(timeout));
    EXPECT_EQ(E_FAIL, m_command->SetAudioInVolume(3));
    EXPECT_EQ(kTimedOut, m_command->SetAudioInVolume(3));
    EXPECT_EQ(1u, m_log.Count(timeout)) << "a refusal is no success";
    EXPECT_EQ(S_OK, m_command->SetAudioInVolume(3));
    EXPECT_EQ(kTimedOut, m_command->SetAudioInVolume(3));
    EXPECT_EQ(2u, m_log.Count(timeout));
    EXPECT_EQ(kTimedOut, m_command->SetAudioInVolume(3));
    EXPECT_EQ(2u, m_log.Count(timeout));
}
} // namespace
