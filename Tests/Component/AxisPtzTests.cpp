// Movement of an Axis camera: the request to the letter, and where the camera then looks.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <atomic>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

std::atomic<int> g_axisSeconds{0};

/// A camera whose time stands still until a test lets it pass.
class AxisPtz : public SimulatedCameraTest
{
protected:
    void SetUp() override
    {
        g_axisSeconds = 0;
        StartConnected({.model = "AXIS V5915", .clock = [] {
                            return std::chrono::steady_clock::time_point(std::chrono::seconds(g_axisSeconds));
                        }});
    }
    PtzPosition Position() const
    {
        return m_camera->State().position;
    }
};

TEST_F(AxisPtz, StartNamesBothSpeeds)
{
    const struct
    {
        PTZCommand command;
        long speed;
        const char* query;
    } rows[] = {
        {PTZ_LOWER_LEFT, 0, "continuouspantiltmove=-24,-24"}, {PTZ_LOWER_LEFT, 50, "continuouspantiltmove=-50,-50"},
        {PTZ_LOWER, 50, "continuouspantiltmove=0,-50"},       {PTZ_LOWER_RIGHT, 50, "continuouspantiltmove=50,-50"},
        {PTZ_LEFT, 1, "continuouspantiltmove=-1,0"},          {PTZ_RIGHT, 99, "continuouspantiltmove=99,0"},
        {PTZ_UPPER_LEFT, 50, "continuouspantiltmove=-50,50"}, {PTZ_UPPER, 50, "continuouspantiltmove=0,50"},
        {PTZ_UPPER_RIGHT, 50, "continuouspantiltmove=50,50"}, {PTZ_ZOOM_WIDE, 50, "continuouszoommove=-50"},
        {PTZ_ZOOM_TELE, 50, "continuouszoommove=50"},         {PTZ_ZOOM_TELE, 0, "continuouszoommove=24"},
        {PTZ_UPPER, -5, "continuouspantiltmove=0,24"}, // limited to 0, which stands for 24
        {PTZ_UPPER, 250, "continuouspantiltmove=0,100"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.query);
        EXPECT_EQ(S_OK, m_command->SendPTZStartCommand(row.command, row.speed));
        EXPECT_THAT(Sent(), ElementsAre(std::string("axis-cgi/com/ptz.cgi?") + row.query));
    }
}

TEST_F(AxisPtz, StartOfNoMovementSendsNothing)
{
    EXPECT_EQ(S_OK, m_command->SendPTZStartCommand(PTZ_None, 50));
    for (const int number : {5, 12, -1})
    {
        m_log.Clear();
        EXPECT_EQ(E_UNEXPECTED, m_command->SendPTZStartCommand(static_cast<PTZCommand>(number), 50));
        EXPECT_THAT(m_log.Lines(), ElementsAre("8 CCgiCommandAxis::SendPTZStartCommand, unexpected command (" +
                                               std::to_string(number) + ")"));
    }
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(AxisPtz, StopNamesWhatIsToStop)
{
    for (const int number : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 99})
    {
        SCOPED_TRACE(number);
        EXPECT_EQ(S_OK, m_command->SendPTZStopCommand(static_cast<PTZCommand>(number)));
        const bool isZoom = number == PTZ_ZOOM_WIDE || number == PTZ_ZOOM_TELE;
        EXPECT_THAT(Sent(), ElementsAre(isZoom ? "axis-cgi/com/ptz.cgi?continuouszoommove=0"
                                               : "axis-cgi/com/ptz.cgi?continuouspantiltmove=0,0"));
    }
}

TEST_F(AxisPtz, MovementGoesOnUntilItIsStopped)
{
    ASSERT_EQ(S_OK, m_command->SendPTZStartCommand(PTZ_LOWER_RIGHT, 10));
    ASSERT_EQ(S_OK, m_command->SendPTZStartCommand(PTZ_ZOOM_TELE, 50));
    EXPECT_EQ(PtzPosition{}, Position());
    g_axisSeconds = 1;
    const PtzPosition first = Position();
    EXPECT_GT(first.pan, 0);
    EXPECT_LT(first.tilt, 0);
    EXPECT_GT(first.zoom, 1);
    g_axisSeconds = 2;
    EXPECT_NEAR(2 * first.pan, Position().pan, 1e-6);
    ASSERT_EQ(S_OK, m_command->SendPTZStopCommand(PTZ_RIGHT));
    const PtzPosition stopped = Position();
    g_axisSeconds = 3;
    EXPECT_EQ(stopped.pan, Position().pan);
    EXPECT_EQ(stopped.tilt, Position().tilt);
    EXPECT_GT(Position().zoom, stopped.zoom) << "zooming goes on";
    ASSERT_EQ(S_OK, m_command->SendPTZStopCommand(PTZ_ZOOM_WIDE));
    const PtzPosition end = Position();
    g_axisSeconds = 10;
    EXPECT_EQ(end, Position());
}

TEST_F(AxisPtz, StepsAndAreasAreNotForThisFamily)
{
    EXPECT_EQ(E_NOTIMPL, m_command->SendPTZCommand(PTZ_UPPER, PT_10));
    EXPECT_EQ(E_NOTIMPL, m_command->SendPTZAreaZoomCommand(1, 2, 3, 4));
    EXPECT_EQ(E_NOTIMPL, m_command->SendPTZAreaZoomCommand(1, 2, -3, -4));
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(AxisPtz, RefusalOfTheCameraIsReturnedAndLogged)
{
    m_camera->AddFault("status:503@axis-cgi/com/ptz.cgi");
    const struct
    {
        const char* name;
        const char* query;
        HRESULT hr;
    } rows[] = {
        {"SendPTZStartCommand", "continuouspantiltmove=0,50", m_command->SendPTZStartCommand(PTZ_UPPER, 50)},
        {"SendPTZStopCommand", "continuouszoommove=0", m_command->SendPTZStopCommand(PTZ_ZOOM_WIDE)},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(E_FAIL, row.hr);
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandAxis::" + std::string(row.name) + ", request (/axis-cgi/com/ptz.cgi?" +
                                  row.query + ") failed, dwStatusCode = 503, hr = 0x80004005"));
    }
}
} // namespace
