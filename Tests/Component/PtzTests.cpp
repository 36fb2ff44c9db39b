// Movement: the request to the letter, and where the camera then looks.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <atomic>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

std::atomic<int> g_seconds{0};

/// A camera whose time stands still until a test lets it pass.
class Ptz : public SimulatedCameraTest
{
protected:
    void SetUp() override
    {
        g_seconds = 0;
        StartConnected(
            {.clock = [] { return std::chrono::steady_clock::time_point(std::chrono::seconds(g_seconds)); }});
    }
    PtzPosition Position() const
    {
        return m_camera->State().position;
    }
};

TEST_F(Ptz, StepNamesDirectionAndDistance)
{
    const struct
    {
        int command;
        int distance;
        const char* value;
        HRESULT hr; ///< the simulator knows its ten directions
    } rows[] = {
        {PTZ_UPPER, PT_10, "0801", S_OK},      {PTZ_LOWER_LEFT, PT_15, "0102", S_OK},
        {PTZ_LOWER, PT_20, "0203", S_OK},      {PTZ_LOWER_RIGHT, PT_25, "0304", S_OK},
        {PTZ_LEFT, PT_30, "0405", S_OK},       {PTZ_RIGHT, PT_40, "0606", S_OK},
        {PTZ_UPPER_LEFT, PT_60, "0707", S_OK}, {PTZ_UPPER_RIGHT, PT_667, "0908", S_OK},
        {PTZ_ZOOM_WIDE, PT_833, "1009", S_OK}, {PTZ_ZOOM_TELE, PT_100, "1110", S_OK},
        {PTZ_None, PT_10, "0001", E_FAIL},     {5, PT_10, "0501", E_FAIL},
        {123, 456, "123456", E_FAIL},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(row.hr, m_command->SendPTZCommand(static_cast<PTZCommand>(row.command),
                                                    static_cast<PTDistance>(row.distance)));
        EXPECT_THAT(Sent(), ElementsAre(std::string("command/ptzf.cgi?Relative=") + row.value));
    }
}

TEST_F(Ptz, StepMovesTheCamera)
{
    ASSERT_EQ(S_OK, m_command->SendPTZCommand(PTZ_UPPER_RIGHT, PT_20));
    EXPECT_GT(Position().pan, 0);
    EXPECT_GT(Position().tilt, 0);
    ASSERT_EQ(S_OK, m_command->SendPTZCommand(PTZ_LOWER_LEFT, PT_20));
    EXPECT_NEAR(0, Position().pan, 1e-6);
    EXPECT_NEAR(0, Position().tilt, 1e-6);
    const double small = Position().pan;
    ASSERT_EQ(S_OK, m_command->SendPTZCommand(PTZ_LEFT, PT_10));
    EXPECT_LT(Position().pan, small);
    ASSERT_EQ(S_OK, m_command->SendPTZCommand(PTZ_ZOOM_TELE, PT_10));
    EXPECT_GT(Position().zoom, 1);
    ASSERT_EQ(S_OK, m_command->SendPTZCommand(PTZ_ZOOM_WIDE, PT_10));
    EXPECT_NEAR(1, Position().zoom, 1e-6);
}

TEST_F(Ptz, StartNamesDirectionAndSpeed)
{
    const struct
    {
        PTZCommand command;
        long speed;
        const char* value;
    } rows[] = {
        {PTZ_UPPER, 50, "up,12"},
        {PTZ_UPPER_LEFT, 50, "up-left,12"},
        {PTZ_ZOOM_TELE, 1, "tele,1"},
        {PTZ_LOWER_LEFT, 1, "down-left,1"},
        {PTZ_LOWER, 0, "down,0"},
        {PTZ_LOWER_RIGHT, 100, "down-right,24"},
        {PTZ_LEFT, 99, "left,24"},
        {PTZ_RIGHT, 25, "right,6"},
        {PTZ_UPPER_RIGHT, 26, "up-right,7"},
        {PTZ_ZOOM_WIDE, 100, "wide,8"},
        {PTZ_ZOOM_WIDE, 50, "wide,4"},
        {PTZ_ZOOM_TELE, 13, "tele,2"},
        {PTZ_UPPER, -5, "up,0"},
        {PTZ_UPPER, 250, "up,24"},
        {PTZ_ZOOM_TELE, 250, "tele,8"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(S_OK, m_command->SendPTZStartCommand(row.command, row.speed));
        EXPECT_THAT(Sent(), ElementsAre(std::string("command/ptzf.cgi?Move=") + row.value));
    }
}

TEST_F(Ptz, StartOfNoMovementSendsNothing)
{
    EXPECT_EQ(S_OK, m_command->SendPTZStartCommand(PTZ_None, 50));
    for (const int number : {5, 12, -1})
    {
        m_log.Clear();
        EXPECT_EQ(E_UNEXPECTED, m_command->SendPTZStartCommand(static_cast<PTZCommand>(number), 50));
        EXPECT_THAT(m_log.Lines(), ElementsAre("8 CCgiCommandIpela::SendPTZStartCommand, unexpected command (" +
                                               std::to_string(number) + ")"));
    }
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(Ptz, StopNamesWhatIsToStop)
{
    for (const int number : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 99})
    {
        SCOPED_TRACE(number);
        EXPECT_EQ(S_OK, m_command->SendPTZStopCommand(static_cast<PTZCommand>(number)));
        const bool isZoom = number == PTZ_ZOOM_WIDE || number == PTZ_ZOOM_TELE;
        EXPECT_THAT(Sent(),
                    ElementsAre(isZoom ? "command/ptzf.cgi?Move=stop,zoom" : "command/ptzf.cgi?Move=stop,motor"));
    }
}

TEST_F(Ptz, MovementGoesOnUntilItIsStopped)
{
    ASSERT_EQ(S_OK, m_command->SendPTZStartCommand(PTZ_RIGHT, 25));
    ASSERT_EQ(S_OK, m_command->SendPTZStartCommand(PTZ_ZOOM_TELE, 50));
    EXPECT_EQ(0, Position().pan);
    g_seconds = 1;
    const PtzPosition first = Position();
    EXPECT_GT(first.pan, 0);
    EXPECT_GT(first.zoom, 1);
    g_seconds = 2;
    EXPECT_NEAR(2 * first.pan, Position().pan, 1e-6);
    ASSERT_EQ(S_OK, m_command->SendPTZStopCommand(PTZ_RIGHT));
    const PtzPosition stopped = Position();
    g_seconds = 3;
    EXPECT_EQ(stopped.pan, Position().pan);
    EXPECT_GT(Position().zoom, stopped.zoom) << "zooming goes on";
    ASSERT_EQ(S_OK, m_command->SendPTZStopCommand(PTZ_ZOOM_TELE));
    const PtzPosition end = Position();
    g_seconds = 10;
    EXPECT_EQ(end, Position());
}

TEST_F(Ptz, AreaIsSentAsItIs)
{
    EXPECT_EQ(S_OK, m_command->SendPTZAreaZoomCommand(640, 360, 320, 180));
    EXPECT_THAT(Sent(), ElementsAre("command/ptzf.cgi?AreaZoom=640,360,320,180"));
    EXPECT_GT(Position().zoom, 1);
    EXPECT_GT(Position().pan, 0);
    EXPECT_LT(Position().tilt, 0);
    m_command->SendPTZAreaZoomCommand(-10, -20, 0, 0);
    EXPECT_THAT(Sent(), ElementsAre("command/ptzf.cgi?AreaZoom=-10,-20,0,0"));
    EXPECT_EQ(E_INVALIDARG, m_command->SendPTZAreaZoomCommand(0, 0, -1, 10));
    EXPECT_EQ(E_INVALIDARG, m_command->SendPTZAreaZoomCommand(0, 0, 10, -1));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(Ptz, RefusalOfTheCameraIsReturnedAndLogged)
{
    m_camera->AddFault("status:503@command/ptzf.cgi");
    const struct
    {
        const char* name;
        const char* value;
        HRESULT hr;
    } rows[] = {
        {"SendPTZCommand", "Relative=0801", m_command->SendPTZCommand(PTZ_UPPER, PT_10)},
        {"SendPTZAreaZoomCommand", "AreaZoom=1,2,3,4", m_command->SendPTZAreaZoomCommand(1, 2, 3, 4)},
        {"SendPTZStartCommand", "Move=up,12", m_command->SendPTZStartCommand(PTZ_UPPER, 50)},
        {"SendPTZStopCommand", "Move=stop,motor", m_command->SendPTZStopCommand(PTZ_UPPER)},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(E_FAIL, row.hr);
        EXPECT_EQ(1u, m_log.Count("8 CCgiCommandIpela::" + std::string(row.name) + ", request (command/ptzf.cgi?" +
                                  row.value + ") failed, dwStatusCode = 503, hr = 0x80004005"));
    }
}
} // namespace
