#include "CameraSim/Rtsp/RtspUrl.h"

#include <gtest/gtest.h>

namespace
{

TEST(RtspUrl, IsTakenApart)
{
    const struct
    {
        const char* why;
        const char* text;
        RtspUrl expected;
    } rows[] = {
        {"a presentation", "rtsp://cam/a/b?x=1&y=2", {"cam", "a/b", "x=1&y=2", 0}},
        {"with a port", "RTSP://cam:8554/a/b", {"cam:8554", "a/b", "", 0}},
        {"the base of relative controls", "rtsp://cam/a/b/", {"cam", "a/b", "", 0}},
        {"a stream", "rtsp://cam/a/b/trackID=2?x=1", {"cam", "a/b", "x=1", 2}},
        {"a relative control glued to the query", "rtsp://cam/a/b?x=1/trackID=1", {"cam", "a/b", "x=1", 1}},
        {"a presentation's query with a slash behind it", "rtsp://cam/a/b?x=1/", {"cam", "a/b", "x=1", 0}},
        {"credentials in the URL", "rtsp://u:p@cam/a", {"cam", "a", "", 0}},
        {"another last part", "rtsp://cam/a/trackID=x", {"cam", "a/trackID=x", "", 0}},
        {"no path", "rtsp://cam", {"cam", "", "", 0}},
    };
    for (const auto& row : rows)
    {
        const auto url = RtspUrl::Parse(row.text);
        ASSERT_TRUE(url) << row.why;
        EXPECT_EQ(row.expected.host, url->host) << row.why;
        EXPECT_EQ(row.expected.path, url->path) << row.why;
        EXPECT_EQ(row.expected.query, url->query) << row.why;
        EXPECT_EQ(row.expected.track, url->track) << row.why;
    }
    for (const char* text : {"", "*", "http://cam/a", "rtsp://", "rtsp:///a", "rtsp:/cam/a"})
        EXPECT_FALSE(RtspUrl::Parse(text)) << text;
}

TEST(RtspUrl, MakesTheUrlsOfADescription)
{
    const auto url = RtspUrl::Parse("rtsp://cam:1/a/b?x=1");
    EXPECT_EQ("rtsp://cam:1/a/b?x=1", url->Presentation());
    EXPECT_EQ("rtsp://cam:1/a/b/trackID=2?x=1", url->Track(2));
    EXPECT_EQ("rtsp://cam:1/a/b/", url->Base());
    EXPECT_EQ("rtsp://cam/a/trackID=1", RtspUrl::Parse("rtsp://cam/a")->Track(1));
}

} // namespace
