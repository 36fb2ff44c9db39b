// What a decoder needs before the first picture of an Axis camera, through COM: as in the stream, and as of now.

#include "Tests/Component/AxisStreamFixture.h"
#include "Tests/Support/TaskMemorySpy.h"

namespace
{
struct ParameterSetPair
{
    std::string sequence;
    std::string picture;

    bool operator==(const ParameterSetPair&) const = default;
};

ParameterSetPair SetsOf(const CH264Parameters& parameters)
{
    return {parameters.Set1(), parameters.Set2()};
}

/// Of a STAP-A packet of two (RFC 6184, 5.7.1); empty for any other.
ParameterSetPair SetsIn(const std::string& packet)
{
    if (packet.size() <= kRtpHeadBytes || (packet[kRtpHeadBytes] & 0x1F) != 24)
        return {};
    std::string rest = packet.substr(kRtpHeadBytes + 1);
    const auto takeUnit = [&rest] {
        if (rest.size() < 2)
            return std::string();
        const auto sizeBytes = static_cast<std::size_t>(static_cast<BYTE>(rest[0]) * 256 + static_cast<BYTE>(rest[1]));
        const std::string unit = rest.substr(2, sizeBytes);
        rest.erase(0, 2 + unit.size());
        return unit;
    };
    const std::string sequence = takeUnit();
    return {sequence, takeUnit()};
}

/// "42C01E", bytes 1 to 3 of a sequence parameter set (RFC 6184, 8.1).
std::wstring ProfileLevelId(const std::string& sequence)
{
    wchar_t text[8] = {};
    const auto at = [&](std::size_t index) { return static_cast<unsigned>(static_cast<BYTE>(sequence.at(index))); };
    std::swprintf(text, 8, L"%02X%02X%02X", at(1), at(2), at(3));
    return text;
}

class AxisH264 : public AxisStreamTest
{
protected:
    void SetUp() override
    {
        AxisStreamTest::SetUp();
        ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
    }
    void Play()
    {
        CTransport transport(m_receiver.Port());
        ASSERT_EQ(S_OK, m_command->SetupTransport(kVideo, transport.Record()));
        ASSERT_EQ(S_OK, m_command->StartMpeg4Video());
    }
    /// Whether the stream soon repeats these sets; what was on its way before them does not count.
    bool StreamCarries(const ParameterSetPair& sets)
    {
        const ULONGLONG end = ::GetTickCount64() + 10'000;
        while (::GetTickCount64() < end)
        {
            const std::string packet = m_receiver.Receive();
            if (packet.empty())
                return false;
            if (SetsIn(packet) == sets)
                return true;
        }
        return false;
    }

    const CRtpReceiver m_receiver;
};

TEST_F(AxisH264, ParametersAreThoseOfTheStream)
{
    for (const char* size : {"480x270", "1280x720"})
    {
        SCOPED_TRACE(size);
        StartConnected(Small());
        m_camera->SetSetting("Image.I0.Appearance.Resolution", size);
        ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
        CH264Parameters parameters;
        ASSERT_EQ(S_OK, m_command->GetH264Parameters(&parameters));
        EXPECT_EQ(1, parameters.PacketizationMode);
        EXPECT_EQ(ProfileLevelId(parameters.Set1()), parameters.ProfileLeveId);
        Play();
        EXPECT_FALSE(parameters.Set2().empty());
        EXPECT_TRUE(StreamCarries(SetsOf(parameters)));
    }
}

TEST_F(AxisH264, DescriptionIsKeptWhileThePictureSizeStays)
{
    for (int i = 0; i < 3; ++i)
    {
        CH264Parameters parameters;
        EXPECT_EQ(S_OK, m_command->GetH264Parameters(&parameters));
    }
    EXPECT_EQ(S_OK, m_command->SetBitRate(300));
    EXPECT_EQ(S_OK, m_command->SetImageSize2(480, 270, 10, VC_H264));
    CH264Parameters parameters;
    EXPECT_EQ(S_OK, m_command->GetH264Parameters(&parameters));
    EXPECT_EQ(1u, Count("DESCRIBE "));
    EXPECT_EQ(0u, m_log.Count("will force refresh"));
}

TEST_F(AxisH264, NewPictureSizeBringsOneMoreDescription)
{
    const struct
    {
        const char* reason;
        bool byTheClient;
    } rows[] = {{"set by the client itself", true}, {"set by somebody else", false}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        StartConnected(Small());
        ASSERT_EQ(S_OK, m_command->ConnectToRtspServer(TRUE));
        CH264Parameters before;
        ASSERT_EQ(S_OK, m_command->GetH264Parameters(&before));
        Play();
        EXPECT_TRUE(StreamCarries(SetsOf(before)));
        if (row.byTheClient)
            ASSERT_EQ(S_OK, m_command->SetImageSize2(800, 450, 15, VC_H264));
        else
            m_camera->SetSetting("Image.I0.Appearance.Resolution", "800x450");
        EXPECT_EQ(1u, Count("DESCRIBE "));

        for (int i = 0; i < 2; ++i)
        {
            CH264Parameters after;
            EXPECT_EQ(S_OK, m_command->GetH264Parameters(&after));
            EXPECT_NE(before.Set1(), after.Set1());
            EXPECT_TRUE(StreamCarries(SetsOf(after)));
            EXPECT_EQ(2u, Count("DESCRIBE ")) << "one more, once";
        }
        EXPECT_EQ(1u, m_log.Count("1 CCgiCommandRtsp::GetH264Parameters, will force refresh session description"));
        EXPECT_TRUE(m_camera->RtspSessions().at(0).playing) << "the session goes on";
    }
}

TEST_F(AxisH264, FailedRefreshKeepsWhatIsKnown)
{
    CH264Parameters before;
    ASSERT_EQ(S_OK, m_command->GetH264Parameters(&before));
    m_camera->SetSetting("Image.I0.Appearance.Resolution", "800x450");
    const char* const faults[] = {"status:500@rtsp:DESCRIBE*1", "drop@rtsp:DESCRIBE*1"};
    for (const char* fault : faults)
    {
        SCOPED_TRACE(fault);
        m_camera->AddFault(fault);
        CH264Parameters kept;
        EXPECT_EQ(S_OK, m_command->GetH264Parameters(&kept));
        EXPECT_EQ(SetsOf(before), SetsOf(kept));
        EXPECT_STREQ(before.ProfileLeveId, kept.ProfileLeveId);
    }
    CH264Parameters after;
    EXPECT_EQ(S_OK, m_command->GetH264Parameters(&after)) << "the next call tries again";
    EXPECT_NE(SetsOf(before).sequence, SetsOf(after).sequence);
    EXPECT_EQ(4u, Count("DESCRIBE "));
}

TEST_F(AxisH264, UnreadableSettingsForceNothing)
{
    m_camera->AddFault("status:503@axis-cgi/imagesize.cgi");
    CH264Parameters parameters;
    EXPECT_EQ(S_OK, m_command->GetH264Parameters(&parameters));
    EXPECT_EQ(1u, Count("DESCRIBE "));
}

TEST_F(AxisH264, NoDescriptionFailsAndLeavesTheRecordAlone)
{
    BYTE own = 0;
    H264Parameters parameters = {nullptr, 7, 8, 9, &own};
    for (const char* fault : {"status:404@rtsp:DESCRIBE", "body:v=0@rtsp:DESCRIBE"})
    {
        m_camera->ClearFaults();
        m_camera->AddFault(fault);
        EXPECT_EQ(E_FAIL, m_command->GetH264Parameters(&parameters)) << fault;
    }
    EXPECT_EQ(nullptr, parameters.ProfileLeveId);
    EXPECT_EQ(7, parameters.PacketizationMode);
    EXPECT_EQ(8, parameters.ParameterSet1Size);
    EXPECT_EQ(9, parameters.ParameterSet2Size);
    EXPECT_EQ(&own, parameters.ParameterSets);
    EXPECT_EQ(2u, m_log.Count("1 CCgiCommandRtsp::GetH264Parameters, failed to get h264 format parameters"));
}

TEST_F(AxisH264, MemoryIsTheClientsAndNothingElseStays)
{
    const auto get = [&] {
        CH264Parameters parameters;
        ASSERT_EQ(S_OK, m_command->GetH264Parameters(&parameters));
    };
    CTaskMemorySpy::SeeEveryString();
    get();
    {
        const CTaskMemorySpy spy;
        get();
        EXPECT_EQ(2u, spy.CountAllocated()) << "the profile and the sets";
        EXPECT_EQ(0, spy.CountLive());
    }
    const CTaskMemorySpy spy(0);
    CH264Parameters parameters;
    EXPECT_EQ(E_OUTOFMEMORY, m_command->GetH264Parameters(&parameters));
    EXPECT_EQ(nullptr, parameters.ParameterSets);
    EXPECT_EQ(1u, m_log.Count("8 CCgiCommandRtsp::GetH264Parameters, out of memory"));
}
} // namespace
