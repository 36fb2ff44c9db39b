#include "CameraSim/CameraSimulator.h"

#include "TestClient.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{

using namespace std::chrono_literals;

/// A camera that moves by a clock of the test's own.
class IpelaPtz : public testing::Test
{
protected:
    IpelaPtz() : m_camera({.model = "SNC-EP580", .clock = [this] { return Now(); }}), m_client(m_camera.Start()) {}

    std::chrono::steady_clock::time_point Now() const
    {
        return std::chrono::steady_clock::time_point(std::chrono::milliseconds(m_milliseconds.load()));
    }
    void Pass(std::chrono::milliseconds time)
    {
        m_milliseconds += time.count();
    }
    unsigned Send(const std::string& command)
    {
        return m_client.Get("/command/ptzf.cgi?" + command).status;
    }
    void ExpectPosition(double pan, double tilt, double zoom, const std::string& why)
    {
        const PtzPosition position = m_camera.State().position;
        EXPECT_NEAR(pan, position.pan, 1e-9) << why;
        EXPECT_NEAR(tilt, position.tilt, 1e-9) << why;
        EXPECT_NEAR(zoom, position.zoom, 1e-9) << why;
    }
    void Home()
    {
        CameraChange change;
        change.position = PtzPosition{};
        m_camera.Change(change);
    }

    std::atomic<long long> m_milliseconds = 0;
    CCameraSimulator m_camera;
    CTestClient m_client;
};

TEST_F(IpelaPtz, RelativeStepsFollowTheKeypad)
{
    struct Row
    {
        const char* command;
        double pan;
        double tilt;
        double zoom;
    };
    // A step of 10 % is 6 degrees of 60 across and 4.5 of 45 up.
    const Row rows[] = {
        {"Relative=0101", -6, -4.5, 1}, {"Relative=0201", 0, -4.5, 1},  {"Relative=0301", 6, -4.5, 1},
        {"Relative=0401", -6, 0, 1},    {"Relative=0601", 6, 0, 1},     {"Relative=0701", -6, 4.5, 1},
        {"Relative=0801", 0, 4.5, 1},   {"Relative=0901", 6, 4.5, 1},   {"Relative=1101", 0, 0, 1.1},
        {"Relative=0610", 60, 0, 1},    {"Relative=0608", 40.02, 0, 1}, {"Relative=0602", 9, 0, 1},
        {"Relative=0607", 36, 0, 1},    {"Relative=1001", 0, 0, 1},
    };
    for (const Row& row : rows)
    {
        Home();
        EXPECT_EQ(200u, Send(row.command)) << row.command;
        ExpectPosition(row.pan, row.tilt, row.zoom, row.command);
    }
}

TEST_F(IpelaPtz, AStepIsSmallerWhenZoomedIn)
{
    EXPECT_EQ(200u, Send("Relative=1110"));
    ExpectPosition(0, 0, 2, "100 % tele doubles");
    EXPECT_EQ(200u, Send("Relative=0601"));
    ExpectPosition(3, 0, 2, "10 % of half the view");
    EXPECT_EQ(200u, Send("Relative=1010"));
    ExpectPosition(3, 0, 1, "100 % wide halves");
}

TEST_F(IpelaPtz, StepsEndAtTheLimits)
{
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(200u, Send("Relative=0910"));
    ExpectPosition(CPtzHead::kMaxPan, CPtzHead::kMaxTilt, 1, "five whole pictures to the upper right");
}

TEST_F(IpelaPtz, ContinuousMovementDependsOnSpeedAndTime)
{
    struct Row
    {
        const char* command;
        double pan;
        double tilt;
        double zoom;
    };
    const Row rows[] = {
        {"Move=right,1", 4, 0, 1},       {"Move=left,12", -48, 0, 1},     {"Move=up,5", 0, 20, 1},
        {"Move=down,5", 0, -20, 1},      {"Move=up-right,2", 8, 8, 1},    {"Move=up-left,2", -8, 8, 1},
        {"Move=down-right,2", 8, -8, 1}, {"Move=down-left,2", -8, -8, 1}, {"Move=right,24", 96, 0, 1},
        {"Move=tele,8", 0, 0, 5},        {"Move=tele,1", 0, 0, 1.5},      {"Move=wide,8", 0, 0, 1},
        {"Move=right,0", 0, 0, 1},
    };
    for (const Row& row : rows)
    {
        Home();
        EXPECT_EQ(200u, Send(row.command)) << row.command;
        ExpectPosition(0, 0, 1, std::string(row.command) + " at once");
        Pass(1s);
        ExpectPosition(row.pan, row.tilt, row.zoom, row.command);
    }
}

TEST_F(IpelaPtz, MotorAndZoomStopByThemselves)
{
    EXPECT_EQ(200u, Send("Move=up-right,1"));
    EXPECT_EQ(200u, Send("Move=tele,2"));
    Pass(1s);
    EXPECT_EQ(200u, Send("Move=stop,motor"));
    Pass(1s);
    ExpectPosition(4, 4, 3, "the zoom goes on");
    EXPECT_EQ(200u, Send("Move=stop,zoom"));
    Pass(1s);
    ExpectPosition(4, 4, 3, "everything stands");
}

TEST_F(IpelaPtz, AreaZoomCentresAndFillsThePicture)
{
    // The picture has 1280 x 720 pixels.
    EXPECT_EQ(200u, Send("AreaZoom=640,0,640,360"));
    ExpectPosition(15, 11.25, 2, "the upper right quarter");
    Home();
    EXPECT_EQ(200u, Send("AreaZoom=0,540,320,180"));
    ExpectPosition(-22.5, -16.875, 4, "a sixteenth at the lower left");
    Home();
    EXPECT_EQ(200u, Send("AreaZoom=0,0,640,720"));
    ExpectPosition(-15, 0, 1, "a tall rectangle is bounded by its height");
    Home();
    EXPECT_EQ(200u, Send("AreaZoom=1280,360,0,0"));
    ExpectPosition(30, 0, 1, "without an extent it only moves");
    Home();
    EXPECT_EQ(200u, Send("AreaZoom=-640,360,0,0"));
    ExpectPosition(-60, 0, 1, "outside the picture is allowed");
}

TEST_F(IpelaPtz, RefusesWhatItDoesNotKnowAndStaysWhereItIs)
{
    for (const char* command : {"Relative=0001",
                                "Relative=0501",
                                "Relative=1201",
                                "Relative=0600",
                                "Relative=0611",
                                "Relative=601",
                                "Relative=06011",
                                "Relative=-601",
                                "Relative=06x1",
                                "AreaZoom=1,2,3",
                                "AreaZoom=1,2,3,4,5",
                                "AreaZoom=1,2,-3,4",
                                "AreaZoom=1,2,3,-4",
                                "AreaZoom=a,2,3,4",
                                "Move=up",
                                "Move=up,25",
                                "Move=up,-1",
                                "Move=tele,9",
                                "Move=sideways,1",
                                "Move=stop,all",
                                "Move=up,x",
                                "Spin=1",
                                "",
                                "Move=up,1&Move=left,1"})
    {
        EXPECT_EQ(400u, Send(command)) << command;
        Pass(1s);
        ExpectPosition(0, 0, 1, command);
    }
}

} // namespace
