#include "CgiCommandBase.h"

#include "Tests/Support/CapturingLogSink.h"
#include "Tests/Support/FailingTaskMemory.h"
#include "Tests/Support/VtableSlot.h"
#include "Win32/ComMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ElementsAre;

namespace
{
/// A family that adds nothing but the one operation that every family must have.
class CPlainCommandSet : public CCgiCommandBase
{
public:
    CPlainCommandSet() : CCgiCommandBase(nullptr) {}
    HRESULT TryTalkToCamera() override
    {
        return S_FALSE;
    }
    void SetVideoStandard(VideoStandard standard)
    {
        m_videoStandard = standard;
    }
};

class CgiCommandBase : public testing::Test
{
protected:
    std::vector<LONG> Rates()
    {
        CTaskMemory<LONG> rates;
        LONG count = 0;
        EXPECT_EQ(S_OK, m_commandSet.GetSupportedFrameRates(rates.put(), &count));
        return {rates.get(), rates.get() + count};
    }

    CPlainCommandSet m_commandSet;
};
} // namespace

TEST_F(CgiCommandBase, OperationsStandInTheirSlots)
{
    using Base = CCgiCommandBase;
    const std::size_t slots[] = {
        SlotOf(&Base::ConnectToCamera),
        SlotOf(&Base::ConnectToRtspServer),
        SlotOf(&Base::SetupTransport),
        SlotOf(&Base::StartVideo),
        SlotOf(&Base::StartAudio),
        SlotOf(&Base::PauseStreaming),
        SlotOf(&Base::StopStreaming),
        SlotOf(&Base::GetSupportedImageSizes),
        SlotOf(&Base::IsImageSizeSupported),
        SlotOf(&Base::GetCameraSettings),
        SlotOf(&Base::GetSupportedFrameRates),
        SlotOf(&Base::GetCameraImageSize),
        SlotOf(&Base::GetH264Parameters),
        SlotOf(&Base::SetImageSize),
        SlotOf(&Base::SetBitRate),
        SlotOf(&Base::SetAudioInVolume),
        SlotOf(&Base::SendPTZCommand),
        SlotOf(&Base::SendPTZAreaZoomCommand),
        SlotOf(&Base::SendPTZStartCommand),
        SlotOf(&Base::SendPTZStopCommand),
        SlotOf(&Base::TryTalkToCamera),
        SlotOf(&Base::IsFrameRateSupported),
    };
    std::size_t expected = 1;
    for (const std::size_t slot : slots)
        EXPECT_EQ(slot, expected++);
    EXPECT_EQ(expected, 23u);
}

TEST_F(CgiCommandBase, WhatAFamilyLacksIsNotImplemented)
{
    CCgiCommandBase& set = m_commandSet;
    EXPECT_EQ(E_NOTIMPL, set.ConnectToCamera());
    EXPECT_EQ(E_NOTIMPL, set.SetupTransport(0, nullptr));
    EXPECT_EQ(E_NOTIMPL, set.StartVideo(true, 0));
    EXPECT_EQ(E_NOTIMPL, set.StartAudio(true, 0));
    EXPECT_EQ(E_NOTIMPL, set.PauseStreaming());
    EXPECT_EQ(E_NOTIMPL, set.StopStreaming());
    EXPECT_EQ(E_NOTIMPL, set.GetSupportedImageSizes(nullptr, nullptr));
    EXPECT_EQ(E_NOTIMPL, set.IsImageSizeSupported(640, 480, 30, VC_MPEG4));
    EXPECT_EQ(E_NOTIMPL, set.GetCameraSettings(nullptr));
    EXPECT_EQ(E_NOTIMPL, set.GetCameraImageSize(nullptr));
    EXPECT_EQ(E_NOTIMPL, set.SetImageSize(640, 480, 30, VC_MPEG4));
    EXPECT_EQ(E_NOTIMPL, set.SetBitRate(64));
    EXPECT_EQ(E_NOTIMPL, set.SetAudioInVolume(0));
    EXPECT_EQ(E_NOTIMPL, set.SendPTZCommand(PTZ_UPPER, PT_10));
    EXPECT_EQ(E_NOTIMPL, set.SendPTZAreaZoomCommand(0, 0, 1, 1));
    EXPECT_EQ(E_NOTIMPL, set.SendPTZStartCommand(PTZ_UPPER, 50));
    EXPECT_EQ(E_NOTIMPL, set.SendPTZStopCommand(PTZ_UPPER));
}

TEST_F(CgiCommandBase, FamilyWithoutRtspHasNoRtspServer)
{
    EXPECT_EQ(S_FALSE, m_commandSet.ConnectToRtspServer(L"camera", 80, L"", L"", true));
}

TEST_F(CgiCommandBase, FrameRatesFollowTheVideoStandardWhichStartsAt60Hz)
{
    EXPECT_THAT(Rates(), ElementsAre(1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30));
    EXPECT_TRUE(m_commandSet.IsFrameRateSupported(15));
    EXPECT_FALSE(m_commandSet.IsFrameRateSupported(12));
    m_commandSet.SetVideoStandard(VideoStandard::Pal50Hz);
    EXPECT_THAT(Rates(), ElementsAre(1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25));
    EXPECT_FALSE(m_commandSet.IsFrameRateSupported(15));
    EXPECT_TRUE(m_commandSet.IsFrameRateSupported(12));
}

TEST_F(CgiCommandBase, FrameRatesNeedBothPointers)
{
    LONG count = 4711;
    LONG one = 0;
    LONG* rates = &one;
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetSupportedFrameRates(nullptr, &count));
    EXPECT_EQ(E_INVALIDARG, m_commandSet.GetSupportedFrameRates(&rates, nullptr));
    EXPECT_EQ(4711, count);
    EXPECT_EQ(&one, rates);
}

TEST_F(CgiCommandBase, ShortMemoryForTheFrameRatesGivesNullAndALogLine)
{
    LONG count = 4711;
    LONG one = 0;
    LONG* rates = &one;
    const CLogCapture log;
    {
        const CFailingTaskMemory shortMemory;
        EXPECT_EQ(E_OUTOFMEMORY, m_commandSet.GetSupportedFrameRates(&rates, &count));
    }
    EXPECT_EQ(nullptr, rates);
    EXPECT_EQ(4711, count);
    EXPECT_THAT(log.Lines(), ElementsAre(L"8 CCgiCommandBase::GetSupportedImageSizes, out of memory"));
}

TEST_F(CgiCommandBase, FamilyWithoutH264HasAnEmptyParameterRecord)
{
    EXPECT_EQ(S_FALSE, m_commandSet.GetH264Parameters(nullptr));
    H264Parameters parameters;
    std::memset(&parameters, 0x5A, sizeof(parameters));
    EXPECT_EQ(S_OK, m_commandSet.GetH264Parameters(&parameters));
    EXPECT_EQ(nullptr, parameters.ProfileLeveId);
    EXPECT_EQ(0, parameters.PacketizationMode);
    EXPECT_EQ(0, parameters.ParameterSet1Size);
    EXPECT_EQ(0, parameters.ParameterSet2Size);
    EXPECT_EQ(nullptr, parameters.ParameterSets);
}
