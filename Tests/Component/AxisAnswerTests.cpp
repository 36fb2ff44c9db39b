// Answers that no Axis camera should give.

#include "Tests/Component/ScriptedCameraFixture.h"

namespace
{
class AxisAnswers : public ScriptedCameraTest
{
};

TEST_F(AxisAnswers, ParameterUnderAnotherNameIsAnotherParameter)
{
    Start({HttpAnswer(404, ""), HttpAnswer(200, "AXIS"), HttpAnswer(200, "image width = 1280\r\nimage height = 720"),
           HttpAnswer(200, "root.Image.I0.Stream.FPS=15"), HttpAnswer(200, "OK")});
    ImageSize2 size = {};
    EXPECT_EQ(S_OK, m_command->GetCameraImageSize(&size));
    EXPECT_EQ(30, size.FrameRate) << "the rate is asked for without the root in front";
    EXPECT_EQ("axis-cgi/param.cgi?action=update&Image.I0.Stream.FPS=30", Sent().back());
}

TEST_F(AxisAnswers, HugeOrBrokenListsAreSurvived)
{
    const std::string rows[] = {
        std::string(1 << 16, '='),     std::string(1 << 16, '\n'),
        std::string(1 << 16, 'x'),     "root.Image.I0.MPEG.PCount=" + std::string(1 << 12, '9'),
        std::string("\0\r\n\0=\0", 6), "\xff\xfe=\xff",
    };
    for (const std::string& body : rows)
    {
        Start({HttpAnswer(404, ""), HttpAnswer(200, "AXIS"), HttpAnswer(200, body)});
        EXPECT_EQ(S_OK, m_command->ConnectToCamera());
        EXPECT_GE(Sent().size(), 10u) << "every list is asked for";
        CameraSettings3 settings = {};
        EXPECT_EQ(E_FAIL, m_command->GetCameraSettings3(&settings));
    }
}
} // namespace
