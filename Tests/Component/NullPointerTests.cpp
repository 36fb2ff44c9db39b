// What each method does with a null where it is to write.

#include "Tests/Component/ScriptedCameraFixture.h"

namespace
{
using testing::IsEmpty;

class NullPointer : public ScriptedCameraTest
{
};

TEST_F(NullPointer, OldestSettingsAreRefusedEvenWhenNotConnected)
{
    m_command = CreateCommand();
    m_log.Clear();
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraSettings(nullptr));
    EXPECT_EQ(E_FAIL, m_command->GetCameraSettings2(nullptr)) << "not checked before the camera is needed";
    EXPECT_EQ(E_FAIL, m_command->GetCameraSettings3(nullptr));
    EXPECT_THAT(m_log.Count("GetCameraSettings"), 0u);
}

TEST_F(NullPointer, OldestSettingsAreRefusedWithoutAProbe)
{
    Start({ProbeReply()});
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraSettings(nullptr));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(NullPointer, IsForTheCommandSetToRefuse)
{
    long count = -1;
    CTaskMemory<ImageSize> sizes;
    CTaskMemory<ImageSize2> sizes2;
    CTaskMemory<long> rates;
    StartProbed({HttpAnswer(200, "")});
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraSettings2(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraSettings3(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetCameraImageSize(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->SetupTransport(0, nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedImageSizes(sizes.put(), nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedImageSizes(nullptr, nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedImageSizes2(sizes2.put(), nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedImageSizes2(nullptr, nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedFrameRates(rates.put(), nullptr));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedFrameRates(nullptr, &count));
    EXPECT_EQ(E_INVALIDARG, m_command->GetSupportedFrameRates(nullptr, nullptr));
    EXPECT_EQ(S_FALSE, m_command->GetH264Parameters(nullptr));
    EXPECT_EQ(-1, count);
    EXPECT_FALSE(sizes);
    EXPECT_FALSE(sizes2);
    EXPECT_FALSE(rates);
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(NullPointer, ForTheSizesLeavesTheirCount)
{
    StartProbed({HttpAnswer(200, "")}, "SNC-EP550");
    long count = -1;
    EXPECT_EQ(S_OK, m_command->GetSupportedImageSizes(nullptr, &count));
    EXPECT_EQ(10, count);
    count = -1;
    EXPECT_EQ(S_OK, m_command->GetSupportedImageSizes2(nullptr, &count));
    EXPECT_EQ(10, count);
}
} // namespace
