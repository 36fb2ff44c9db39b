#include "Tests/CommandSets/RtspFixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
/// Which URLs a camera's controls become.
class RtspUrl : public RtspCommand
{
protected:
    TransportParameters m_transport{MakeBstr(L"RTP/AVP").release(), FALSE, 5000, nullptr, 0, 0, 0, nullptr};

    void TearDown() override
    {
        for (const BSTR text : {m_transport.Protocol, m_transport.MulticastAddress, m_transport.Ssrc})
            CBstr owned(text);
    }
    /// Sets a stream up and leaves the session; the URL that the camera has seen, empty for none.
    std::string SetupUrl(LONG streamId)
    {
        CTestCommandSet set;
        const std::size_t before = Requests().size();
        EXPECT_EQ(Connect(set), S_OK);
        const HRESULT hr = set.SetupTransport(streamId, &m_transport);
        const std::vector<std::string> requests = Requests();
        EXPECT_EQ(requests.at(before), "DESCRIBE rtsp://127.0.0.1/media.amp?videocodec=h264");
        const bool isSent = requests.size() == before + 2 && requests.back().starts_with("SETUP ");
        EXPECT_EQ(hr, isSent ? S_OK : E_FAIL);
        return isSent ? requests.back().substr(6) : std::string();
    }
};
} // namespace

TEST_F(RtspUrl, RelativeControlsAreCombinedWithTheBase)
{
    const struct
    {
        const char* reason;
        const char* base;
        const char* control;
        const char* url;
    } rows[] = {
        {"absolute", "rtsp://127.0.0.1/base/", "rtsp://10.1.2.3:554/a?b=c", "rtsp://10.1.2.3:554/a?b=c"},
        {"anything with a scheme is absolute", "rtsp://127.0.0.1/base/", "x?u=a://b", "x?u=a://b"},
        {"relative, base with a slash", "rtsp://127.0.0.1/base/", "trackID=1", "rtsp://127.0.0.1/base/trackID=1"},
        {"relative, base without one", "rtsp://127.0.0.1/base", "trackID=1", "rtsp://127.0.0.1/trackID=1"},
        {"base with a port", "rtsp://127.0.0.1:8554/base/", "stream=0", "rtsp://127.0.0.1:8554/base/stream=0"},
        {"from the root", "rtsp://127.0.0.1/a/b/", "/c", "rtsp://127.0.0.1/c"},
        {"no base at all: the control itself", "", "trackID=1", "trackID=1"},
        {"star, like any other text", "rtsp://127.0.0.1/base/", "*", "rtsp://127.0.0.1/base/*"},
        {"control with a query", "rtsp://127.0.0.1/base/", "trackID=1?a=b&c=d",
         "rtsp://127.0.0.1/base/trackID=1?a=b&c=d"},
        {"the base's query goes", "rtsp://127.0.0.1/base/?x=1", "trackID=1", "rtsp://127.0.0.1/base/trackID=1"},
        {"... with what stands behind the last slash", "rtsp://127.0.0.1/media.amp?x=1", "trackID=1",
         "rtsp://127.0.0.1/trackID=1"},
        {"both with a query", "rtsp://127.0.0.1/base/?x=1", "trackID=1?y=2", "rtsp://127.0.0.1/base/trackID=1?y=2"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Describe(Sdp("", row.control, ""), row.base);
        EXPECT_EQ(SetupUrl(0), row.url);
    }
}

TEST_F(RtspUrl, CombiningIsLogged)
{
    Describe(Sdp("", "trackID=1", "trackID=2"), "rtsp://127.0.0.1/base/");
    EXPECT_EQ(SetupUrl(1), "rtsp://127.0.0.1/base/trackID=2");
    EXPECT_THAT(OwnLines(), ElementsAre(L"1 CCgiCommandRtsp::GetMediaStreamUrl, combine base "
                                        L"url('rtsp://127.0.0.1/base/') and media url ('trackID=2'), combined url "
                                        L"('rtsp://127.0.0.1/base/trackID=2')"));
}

TEST_F(RtspUrl, AbsoluteControlsAreNotWorthALine)
{
    Describe(Sdp("", "rtsp://127.0.0.1/video", "rtsp://127.0.0.1/audio"));
    EXPECT_EQ(SetupUrl(0), "rtsp://127.0.0.1/video");
    EXPECT_EQ(SetupUrl(1), "rtsp://127.0.0.1/audio");
    EXPECT_THAT(OwnLines(), IsEmpty());
}

TEST_F(RtspUrl, UrlsTooLongToCombineFail)
{
    const std::string base = "rtsp://127.0.0.1/" + std::string(1500, 'b') + "/";
    Describe(Sdp("", std::string(500, 'c'), ""), base);
    EXPECT_EQ(SetupUrl(0), base + std::string(500, 'c'));
    EXPECT_EQ(m_log.Count(L"CCgiCommandRtsp::CombineUrl"), 0u);
    Describe(Sdp("", std::string(700, 'c'), ""), base);
    m_log.Clear();
    EXPECT_EQ(SetupUrl(0), "");
    const std::wstring texts[] = {std::wstring(base.begin(), base.end()), std::wstring(700, L'c')};
    EXPECT_THAT(OwnLines(), ElementsAre(L"1 CCgiCommandRtsp::CombineUrl, failed to combine base url('" + texts[0] +
                                            L"') and relative url '(" + texts[1] + L"')",
                                        L"1 CCgiCommandRtsp::GetMediaStreamUrl, combine base url('" + texts[0] +
                                            L"') and media url ('" + texts[1] + L"'), combined url ('')",
                                        L"1 CCgiCommandRtsp::SetupTransport, empty media url for stream: 0",
                                        L"1 CCgiCommandRtsp::SetupTransport, failed"));
}

TEST_F(RtspUrl, UrlsThatEscapingMakesTooLongFail)
{
    Describe(Sdp("", std::string(1000, '"'), ""));
    EXPECT_EQ(SetupUrl(0), "");
    EXPECT_EQ(m_log.Count(L"CCgiCommandRtsp::CombineUrl, failed to combine"), 1u);
}

TEST_F(RtspUrl, StreamsThatAreNotThereHaveAnEmptyUrlWhichTheSessionRefuses)
{
    Describe(Sdp("", "trackID=1", ""));
    for (const LONG streamId : {1L, 2L, -1L})
    {
        SCOPED_TRACE(streamId);
        m_log.Clear();
        CTestCommandSet set;
        ASSERT_EQ(Connect(set), S_OK);
        EXPECT_EQ(set.SetupTransport(streamId, &m_transport), E_FAIL);
        std::vector<std::wstring> expected = {L"1 CCgiCommandRtsp::SetupTransport, empty media url for stream: " +
                                                  std::to_wstring(streamId),
                                              L"1 CCgiCommandRtsp::SetupTransport, failed"};
        if (streamId == 1)
            expected.insert(expected.begin(),
                            L"1 CCgiCommandRtsp::GetMediaStreamUrl, media url is empty, media type: 'audio'");
        EXPECT_EQ(OwnLines(), expected);
    }
}

TEST_F(RtspUrl, WithoutADescriptionTheMediaUrlIsEmpty)
{
    Answer("DESCRIBE", 404);
    EXPECT_EQ(SetupUrl(0), "");
    EXPECT_THAT(OwnLines(), ElementsAre(L"1 CCgiCommandRtsp::SetupTransport, empty media url for stream: 0",
                                        L"1 CCgiCommandRtsp::SetupTransport, failed"));
}

TEST_F(RtspUrl, AggregateControlIsTheSessionsOwn)
{
    const struct
    {
        const char* reason;
        const char* control;
        const char* url;
    } rows[] = {
        {"absolute", "rtsp://127.0.0.1/all?x=1", "rtsp://127.0.0.1/all?x=1"},
        {"relative", "all", "rtsp://127.0.0.1/base/all"},
        {"star", "*", "rtsp://127.0.0.1/base/*"},
        {"none: the base", "", "rtsp://127.0.0.1/base/"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Describe(Sdp(row.control, "rtsp://127.0.0.1/v", ""), "rtsp://127.0.0.1/base/");
        m_log.Clear();
        CTestCommandSet set;
        ASSERT_EQ(Connect(set), S_OK);
        ASSERT_EQ(set.SetupTransport(0, &m_transport), S_OK);
        EXPECT_EQ(set.StartVideo(false, 0), S_OK);
        EXPECT_EQ(Requests().back(), std::string("PLAY ") + row.url);
        EXPECT_EQ(set.StopStreaming(), S_OK);
        EXPECT_EQ(Requests().back(), std::string("TEARDOWN ") + row.url);
        const std::string control = row.control;
        const std::string url = row.url;
        const std::wstring line =
            L"1 CCgiCommandRtsp::GetAggregateControlUrl, combine base url('rtsp://127.0.0.1/base/') and url ('" +
            std::wstring(control.begin(), control.end()) + L"'), combined url ('" +
            std::wstring(url.begin(), url.end()) + L"')";
        if (control.starts_with("rtsp"))
            EXPECT_THAT(OwnLines(), IsEmpty());
        else
            EXPECT_THAT(OwnLines(), ElementsAre(line, line));
    }
}

TEST_F(RtspUrl, WithoutABaseTheAggregateUrlIsTheControlAsItStands)
{
    const struct
    {
        const char* reason;
        const char* control;
        const char* url;
    } rows[] = {
        {"absolute", "rtsp://127.0.0.1/all", "rtsp://127.0.0.1/all"},
        {"relative", "all", "all"},
        {"none either: the default", "", "rtsp://127.0.0.1/media.amp?videocodec=h264"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Describe(Sdp(row.control, "rtsp://127.0.0.1/v", ""), "");
        CTestCommandSet set;
        ASSERT_EQ(Connect(set), S_OK);
        ASSERT_EQ(set.SetupTransport(0, &m_transport), S_OK);
        EXPECT_EQ(set.StartVideo(false, 0), S_OK);
        EXPECT_EQ(Requests().back(), std::string("PLAY ") + row.url);
    }
}

TEST_F(RtspUrl, WithoutADescriptionTheDefaultUrlIsPlayed)
{
    ASSERT_EQ(Connect(), S_OK);
    ASSERT_EQ(m_set.SetupTransport(0, &m_transport), S_OK);
    // The description is lost, and the camera has no other.
    Answer("DESCRIBE", 404);
    Describe("", "");
    H264Parameters ignored{};
    m_set.configured = PictureSize{1, 1};
    EXPECT_EQ(m_set.GetH264Parameters(&ignored), E_FAIL);
    m_log.Clear();
    EXPECT_EQ(m_set.StartVideo(false, 0), S_OK);
    EXPECT_EQ(Requests().back(), "PLAY rtsp://127.0.0.1/media.amp?videocodec=h264");
    EXPECT_THAT(OwnLines(), ElementsAre(L"1 CCgiCommandRtsp::GetAggregateControlUrl, no session description"));
}

TEST_F(RtspUrl, BytesOfAControlGoBackAsTheyCame)
{
    Describe(Sdp("rtsp://127.0.0.1/Kam\xC3\xA9ra",
                 "rtsp://127.0.0.1/Stra\xC3\x9F"
                 "e",
                 ""));
    EXPECT_EQ(SetupUrl(0), "rtsp://127.0.0.1/Stra\xC3\x9F"
                           "e");
}
