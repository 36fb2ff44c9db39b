#include "CameraSim/Axis/AxisPtz.h"

#include "CameraSim/CameraSimulator.h"
#include "TestClient.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{

/// A camera whose time stands still until a test lets it pass.
struct PtzFixture
{
    PtzFixture()
        : camera({.model = "AXIS P5635-E",
                  .clock = [this] { return std::chrono::steady_clock::time_point(std::chrono::seconds(seconds)); }}),
          client(camera.Start())
    {
    }

    ClientReply Ptz(const std::string& query)
    {
        return client.Get("/axis-cgi/com/ptz.cgi?" + query);
    }

    std::atomic<int> seconds{0};
    CCameraSimulator camera;
    CTestClient client;
};

TEST(AxisPtz, MovementGoesOnUntilItIsStopped)
{
    PtzFixture fixture;
    EXPECT_EQ(204u, fixture.Ptz("continuouspantiltmove=10,-20").status);
    EXPECT_EQ(204u, fixture.Ptz("continuouszoommove=50").status);
    EXPECT_EQ((PtzSpeed{10, -20, 2}), fixture.camera.State().speed);
    fixture.seconds = 2;
    EXPECT_EQ((PtzPosition{20, -40, 5}), fixture.camera.State().position);
    EXPECT_EQ(204u, fixture.Ptz("continuouspantiltmove=0,0").status);
    fixture.seconds = 3;
    EXPECT_EQ((PtzPosition{20, -40, 7}), fixture.camera.State().position) << "zooming goes on";
    EXPECT_EQ(204u, fixture.Ptz("continuouszoommove=0").status);
    fixture.seconds = 100;
    EXPECT_EQ((PtzPosition{20, -40, 7}), fixture.camera.State().position);
}

TEST(AxisPtz, QueryTellsThePosition)
{
    PtzFixture fixture;
    fixture.Ptz("continuouspantiltmove=-5,3");
    fixture.seconds = 2;
    const ClientReply reply = fixture.Ptz("query=position");
    EXPECT_EQ(200u, reply.status);
    EXPECT_EQ("pan=-10.0000\r\ntilt=6.0000\r\nzoom=1.0000\r\n", reply.body);
}

TEST(AxisPtz, CommandsAreChecked)
{
    const struct
    {
        const char* why;
        const char* query;
        unsigned status; ///< a refusal has 200 and a text, as has an answer
        const char* text;
    } rows[] = {
        {"the fastest", "continuouspantiltmove=100,-100", 204, ""},
        {"too fast", "continuouspantiltmove=101,0", 200,
         "Error: continuouspantiltmove needs two speeds from -100 to 100\r\n"},
        {"too fast the other way", "continuouspantiltmove=0,-101", 200,
         "Error: continuouspantiltmove needs two speeds from -100 to 100\r\n"},
        {"one speed", "continuouspantiltmove=5", 200,
         "Error: continuouspantiltmove needs two speeds from -100 to 100\r\n"},
        {"three speeds", "continuouspantiltmove=5,5,5", 200,
         "Error: continuouspantiltmove needs two speeds from -100 to 100\r\n"},
        {"no number", "continuouszoommove=fast", 200, "Error: continuouszoommove needs a speed from -100 to 100\r\n"},
        {"too fast a zoom", "continuouszoommove=-101", 200,
         "Error: continuouszoommove needs a speed from -100 to 100\r\n"},
        {"the name", "whoami=yes", 200, "AXIS P5635-E\r\n"},
        {"unknown", "jump=1", 200, "Error: ptz.cgi does not know jump=1\r\n"},
        {"unknown question", "query=mood", 200, "Error: ptz.cgi does not know query=mood\r\n"},
        {"two at a time", "continuouszoommove=1&whoami=yes", 200, "Error: ptz.cgi takes one command at a time\r\n"},
        {"none", "", 200, "Error: ptz.cgi takes one command at a time\r\n"},
    };
    for (const auto& row : rows)
    {
        PtzFixture fixture;
        const ClientReply reply = fixture.Ptz(row.query);
        EXPECT_EQ(row.status, reply.status) << row.why;
        EXPECT_EQ(row.text, reply.body) << row.why;
        if (row.status == 200)
        {
            EXPECT_EQ(PtzSpeed{}, fixture.camera.State().speed) << row.why;
        }
    }
}

} // namespace
