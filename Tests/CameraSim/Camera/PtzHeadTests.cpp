#include "CameraSim/Camera/PtzHead.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

class PtzHead : public testing::Test
{
protected:
    void Pass(std::chrono::milliseconds time)
    {
        m_now += time;
    }

    std::chrono::steady_clock::time_point m_now{};
    CPtzHead m_head{[this] { return m_now; }};
};

TEST_F(PtzHead, StandsStillUntilTold)
{
    Pass(10s);
    EXPECT_EQ((PtzPosition{0, 0, 1}), m_head.Position());
}

TEST_F(PtzHead, MovesWithTimeAndSpeed)
{
    m_head.SetPanTiltSpeed(10, -4);
    Pass(1500ms);
    EXPECT_DOUBLE_EQ(15, m_head.Position().pan);
    EXPECT_DOUBLE_EQ(-6, m_head.Position().tilt);
    Pass(500ms);
    EXPECT_DOUBLE_EQ(20, m_head.Position().pan);
    m_head.SetPanTiltSpeed(0, 0);
    Pass(10s);
    EXPECT_DOUBLE_EQ(20, m_head.Position().pan);
    EXPECT_DOUBLE_EQ(-8, m_head.Position().tilt);
}

TEST_F(PtzHead, ZoomAndPanMoveIndependently)
{
    m_head.SetPanTiltSpeed(10, 0);
    m_head.SetZoomSpeed(2);
    Pass(1s);
    m_head.SetPanTiltSpeed(0, 0);
    Pass(1s);
    EXPECT_DOUBLE_EQ(10, m_head.Position().pan);
    EXPECT_DOUBLE_EQ(5, m_head.Position().zoom);
}

TEST_F(PtzHead, EndsAtItsLimitsAndTurnsBackAtOnce)
{
    m_head.SetPanTiltSpeed(100, 100);
    m_head.SetZoomSpeed(100);
    Pass(60s);
    EXPECT_EQ((PtzPosition{CPtzHead::kMaxPan, CPtzHead::kMaxTilt, CPtzHead::kMaxZoom}), m_head.Position());
    m_head.SetPanTiltSpeed(-10, -10);
    m_head.SetZoomSpeed(-1);
    Pass(1s);
    EXPECT_EQ((PtzPosition{CPtzHead::kMaxPan - 10, CPtzHead::kMaxTilt - 10, CPtzHead::kMaxZoom - 1}),
              m_head.Position());
    Pass(600s);
    EXPECT_EQ((PtzPosition{-CPtzHead::kMaxPan, CPtzHead::kMinTilt, CPtzHead::kMinZoom}), m_head.Position());
}

TEST_F(PtzHead, AJumpStopsTheMovementAndIsClipped)
{
    m_head.SetPanTiltSpeed(10, 0);
    m_head.MoveTo({500, -500, 0});
    EXPECT_EQ((PtzPosition{CPtzHead::kMaxPan, CPtzHead::kMinTilt, CPtzHead::kMinZoom}), m_head.Position());
    EXPECT_EQ(PtzSpeed{}, m_head.Speed());
    m_head.MoveTo({});
    Pass(1s);
    EXPECT_EQ(PtzPosition{}, m_head.Position());
}

TEST_F(PtzHead, AStepAddsToARunningMovement)
{
    m_head.SetPanTiltSpeed(10, 0);
    Pass(1s);
    m_head.Step(5, 1, 2);
    Pass(1s);
    EXPECT_EQ((PtzPosition{25, 1, 2}), m_head.Position());
}

} // namespace
