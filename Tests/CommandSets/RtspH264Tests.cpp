#include "Tests/CommandSets/RtspFixture.h"

#include "Tests/Support/TaskMemorySpy.h"

#include <cstring>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
/// The record that an application receives.
struct Received : H264Parameters
{
    Received() : H264Parameters{nullptr, 7, 7, 7, nullptr} {}
    ~Received()
    {
        const CBstr profile(ProfileLeveId);
        const CTaskMemory<BYTE> sets(ParameterSets);
    }
    Received(const Received&) = delete;
    Received& operator=(const Received&) = delete;

    std::string Bytes() const
    {
        return {reinterpret_cast<const char*>(ParameterSets),
                static_cast<std::size_t>(ParameterSet1Size + ParameterSet2Size)};
    }
};

constexpr wchar_t kRefresh[] = L"1 CCgiCommandRtsp::GetH264Parameters, will force refresh session description";
constexpr wchar_t kNotRefreshed[] = L"1 CCgiCommandRtsp::GetH264Parameters, failed to refresh h264 format parameters";
constexpr wchar_t kFailed[] = L"1 CCgiCommandRtsp::GetH264Parameters, failed to get h264 format parameters";

class RtspH264 : public RtspCommand
{
protected:
    /// A description with these format parameters.
    void DescribeFormat(const std::string& fmtp)
    {
        Describe("v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=stream\r\nm=video 0 RTP/AVP 96\r\na=rtpmap:96 "
                 "H264/90000\r\na=fmtp:96 " +
                 fmtp + "\r\n");
    }
};
} // namespace

TEST_F(RtspH264, ParametersComeFromTheDescription)
{
    ASSERT_EQ(Connect(), S_OK);
    Received received;
    ASSERT_EQ(m_set.GetH264Parameters(&received), S_OK);
    EXPECT_STREQ(received.ProfileLeveId, L"42c01f");
    EXPECT_EQ(received.PacketizationMode, 1);
    EXPECT_EQ(received.ParameterSet1Size, 15);
    EXPECT_EQ(received.ParameterSet2Size, 4);
    EXPECT_EQ(received.Bytes(), std::string("\x67\x42\xC0\x1F\x8C\x8D\x40\x28\x02\xDD\x00\xF0\x88\x46\xA0"
                                            "\x68\xCE\x3C\x80",
                                            19));
    EXPECT_EQ(Requests().size(), 1u) << "the camera's own answer comes from the same sets: no refresh";
    EXPECT_THAT(OwnLines(), IsEmpty());
}

TEST_F(RtspH264, WhatTheDescriptionDoesNotSayIsEmpty)
{
    const struct
    {
        const char* reason;
        const char* fmtp;
        const wchar_t* profile;
        LONG mode;
        LONG size1;
        LONG size2;
    } rows[] = {
        {"nothing at all", "x=1", nullptr, 0, 0, 0},
        {"no profile", "packetization-mode=1;sprop-parameter-sets=Z0LAH4yNQCgC3QDwiEag,aM48gA==", nullptr, 1, 15, 4},
        {"one set", "profile-level-id=42;sprop-parameter-sets=Z0LAH4yNQCgC3QDwiEag", L"42", 0, 15, 0},
        {"the second set alone", "sprop-parameter-sets=?,aM48gA==", nullptr, 0, 0, 4},
        {"no sets", "profile-level-id=42;packetization-mode=0", L"42", 0, 0, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        DescribeFormat(row.fmtp);
        CTestCommandSet set;
        ASSERT_EQ(Connect(set), S_OK);
        Received received;
        ASSERT_EQ(set.GetH264Parameters(&received), S_OK);
        EXPECT_EQ(received.ProfileLeveId == nullptr, row.profile == nullptr);
        EXPECT_STREQ(received.ProfileLeveId, row.profile);
        EXPECT_EQ(received.PacketizationMode, row.mode);
        EXPECT_EQ(received.ParameterSet1Size, row.size1);
        EXPECT_EQ(received.ParameterSet2Size, row.size2);
        EXPECT_EQ(received.ParameterSets == nullptr, row.size1 + row.size2 == 0);
    }
}

TEST_F(RtspH264, AnotherConfiguredSizeForcesOneRefresh)
{
    ASSERT_EQ(Connect(), S_OK);
    Received before;
    ASSERT_EQ(m_set.GetH264Parameters(&before), S_OK);
    // The camera is told to send another size, and describes it from then on.
    Describe(Sdp("rtsp://127.0.0.1/all", "v", "a", kSps640x480));
    m_set.configured = PictureSize{640, 480};
    Received after;
    ASSERT_EQ(m_set.GetH264Parameters(&after), S_OK);
    EXPECT_EQ(after.ParameterSet1Size, 25);
    EXPECT_EQ(Requests().size(), 2u);
    EXPECT_THAT(OwnLines(), ElementsAre(kRefresh));
    Received again;
    ASSERT_EQ(m_set.GetH264Parameters(&again), S_OK);
    EXPECT_EQ(Requests().size(), 2u) << "the sizes agree now";
}

TEST_F(RtspH264, SizesThatDisagreeAfterTheRefreshAreNotComparedAgain)
{
    ASSERT_EQ(Connect(), S_OK);
    m_set.configured = PictureSize{1280, 721};
    Received received;
    ASSERT_EQ(m_set.GetH264Parameters(&received), S_OK);
    EXPECT_EQ(received.ParameterSet1Size, 15);
    EXPECT_EQ(Requests().size(), 2u);
    EXPECT_THAT(OwnLines(), ElementsAre(kRefresh));
}

TEST_F(RtspH264, WidthAndHeightBothCount)
{
    ASSERT_EQ(Connect(), S_OK);
    Received ignored;
    for (const PictureSize size : {PictureSize{1279, 720}, PictureSize{1280, 719}})
    {
        CTestCommandSet set;
        ASSERT_EQ(Connect(set), S_OK);
        set.configured = size;
        m_log.Clear();
        Received received;
        ASSERT_EQ(set.GetH264Parameters(&received), S_OK);
        EXPECT_THAT(OwnLines(), ElementsAre(kRefresh));
    }
}

TEST_F(RtspH264, AnUnknownSizeOnEitherSideForcesNothing)
{
    ASSERT_EQ(Connect(), S_OK);
    m_set.configured = PictureSize{}; // the camera does not tell
    Received received;
    EXPECT_EQ(m_set.GetH264Parameters(&received), S_OK);
    EXPECT_EQ(received.ParameterSet1Size, 15);
    EXPECT_EQ(Requests().size(), 1u);

    DescribeFormat("profile-level-id=42;sprop-parameter-sets=Z0LA,aM48gA==");
    CTestCommandSet other;
    ASSERT_EQ(m_set.ConnectToRtspServer(L"", 0, L"", L"", true), E_FAIL); // leaves the session
    ASSERT_EQ(Connect(other), S_OK);
    other.configured = PictureSize{640, 480};
    m_log.Clear();
    Received unreadable;
    EXPECT_EQ(other.GetH264Parameters(&unreadable), S_OK);
    EXPECT_EQ(unreadable.ParameterSet1Size, 3) << "what there is";
    EXPECT_THAT(OwnLines(), ElementsAre(L"4 CCgiCommandRtsp::GetH264ImageSizeFromSPS, failed to deserialize sps"));
}

TEST_F(RtspH264, WithoutAFormatItFails)
{
    const struct
    {
        const char* reason;
        std::string sdp;
        std::vector<std::wstring> lines;
    } rows[] = {
        {"no description", "", {L"1 CCgiCommandRtsp::GetH264FormatParameters, no session description", kFailed}},
        {"no H.264", "v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\nm=video 0 RTP/AVP 26\r\n", {kFailed}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        Describe(row.sdp);
        CTestCommandSet set;
        ASSERT_EQ(Connect(set), S_OK);
        m_log.Clear();
        Received received;
        EXPECT_EQ(set.GetH264Parameters(&received), E_FAIL);
        EXPECT_EQ(OwnLines(), row.lines);
        EXPECT_EQ(received.PacketizationMode, 7) << "untouched";
    }
}

TEST_F(RtspH264, ARefreshThatFailsIsLoggedAndFails)
{
    ASSERT_EQ(Connect(), S_OK);
    Received before;
    ASSERT_EQ(m_set.GetH264Parameters(&before), S_OK);
    Describe("v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\nm=video 0 RTP/AVP 26\r\n");
    m_set.configured = PictureSize{640, 480};
    Received received;
    EXPECT_EQ(m_set.GetH264Parameters(&received), E_FAIL);
    EXPECT_THAT(OwnLines(), ElementsAre(kRefresh, kNotRefreshed, kFailed));
    EXPECT_EQ(received.PacketizationMode, 7) << "untouched";
}

TEST_F(RtspH264, EverythingHandedOutIsFreedByItsReceiver)
{
    ASSERT_EQ(Connect(), S_OK);
    ImageSize2 ignored{};
    ASSERT_EQ(m_set.GetCameraImageSize(&ignored), S_OK);
    const CTaskMemorySpy spy;
    {
        Received received;
        ASSERT_EQ(m_set.GetH264Parameters(&received), S_OK);
        EXPECT_GT(spy.CountLive(), 0);
    }
    EXPECT_EQ(spy.CountLive(), 0);
}
