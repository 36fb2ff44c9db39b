#include "CameraSim/Rtsp/SdpText.h"

#include "CameraSim/H264/Encoder.h"

#include <gtest/gtest.h>

namespace
{

RtspConfiguration Configuration()
{
    RtspConfiguration configuration;
    configuration.isEnabled = true;
    configuration.width = 800;
    configuration.height = 450;
    configuration.framesPerSecond = 25;
    configuration.framesPerGroup = 32;
    configuration.h264Profile = "main";
    configuration.kilobitsPerSecond = 2000;
    configuration.hasPcmuAudio = true;
    return configuration;
}

RtspMedia Resolve(const std::string& query, std::string& why)
{
    const auto url = RtspUrl::Parse("rtsp://cam:81/axis-media/media.amp" + query);
    return RtspMedia::Resolve(Configuration(), *url, why).value_or(RtspMedia{});
}

TEST(SdpText, DescribesVideoAndAudioWithAbsoluteControls)
{
    std::string why;
    const RtspMedia media = Resolve("?videocodec=h264&audio=1", why);
    const H264ParameterSets sets = CH264Encoder(media.video).Sets();
    const auto url = RtspUrl::Parse("rtsp://cam:81/axis-media/media.amp?videocodec=h264&audio=1");
    EXPECT_EQ("v=0\r\n"
              "o=- 1188340656180883 4 IN IP4 cam\r\n"
              "s=Media Presentation\r\n"
              "e=NONE\r\n"
              "c=IN IP4 0.0.0.0\r\n"
              "t=0 0\r\n"
              "a=control:rtsp://cam:81/axis-media/media.amp?videocodec=h264&audio=1\r\n"
              "a=range:npt=0.000000-\r\n"
              "m=video 0 RTP/AVP 96\r\n"
              "b=AS:2000\r\n"
              "a=framerate:25.0\r\n"
              "a=transform:1,0,0;0,1,0;0,0,1\r\n"
              "a=control:rtsp://cam:81/axis-media/media.amp/trackID=1?videocodec=h264&audio=1\r\n"
              "a=rtpmap:96 H264/90000\r\n"
              "a=fmtp:96 packetization-mode=1; profile-level-id=" +
                  sets.ProfileLevelId() + "; sprop-parameter-sets=" + sets.SpropParameterSets() +
                  "\r\n"
                  "m=audio 0 RTP/AVP 0\r\n"
                  "b=AS:64\r\n"
                  "a=control:rtsp://cam:81/axis-media/media.amp/trackID=2?videocodec=h264&audio=1\r\n"
                  "a=rtpmap:0 PCMU/8000/1\r\n",
              SdpText::Write(*url, media, true, 4));
    EXPECT_EQ("4D40", sets.ProfileLevelId().substr(0, 4)) << "main profile";
}

TEST(SdpText, RelativeControlsAreShort)
{
    std::string why;
    const auto url = RtspUrl::Parse("rtsp://cam/axis-media/media.amp");
    const std::string text = SdpText::Write(*url, Resolve("", why), false, 1);
    EXPECT_NE(text.npos, text.find("\r\na=control:*\r\n"));
    EXPECT_NE(text.npos, text.find("\r\na=control:trackID=1\r\n"));
    EXPECT_NE(text.npos, text.find("\r\na=control:trackID=2\r\n"));
}

TEST(RtspMedia, IsTheCamerasUnlessTheQueryNamesOther)
{
    std::string why;
    const RtspMedia plain = Resolve("", why);
    EXPECT_EQ(800u, plain.video.width);
    EXPECT_EQ(450u, plain.video.height);
    EXPECT_EQ(25u, plain.video.framesPerSecond);
    EXPECT_EQ(32u, plain.video.keyFrameDistance);
    EXPECT_EQ(2000u, plain.video.kilobitsPerSecond);
    EXPECT_EQ(H264Profile::Main, plain.video.profile);
    EXPECT_TRUE(plain.hasAudio);
    const RtspMedia other = Resolve("?resolution=320x180&fps=5&audio=0&camera=1", why);
    EXPECT_EQ(320u, other.video.width);
    EXPECT_EQ(180u, other.video.height);
    EXPECT_EQ(5u, other.video.framesPerSecond);
    EXPECT_FALSE(other.hasAudio);
    EXPECT_EQ(plain, Resolve("?fps=0&audio=1&videocodec=h264", why)) << "a rate of 0 is the camera's";
    EXPECT_EQ("", why);
}

TEST(RtspMedia, RefusesWhatTheCameraCannotStream)
{
    for (const char* query : {"?videocodec=jpeg", "?resolution=320", "?resolution=321x180", "?resolution=8x8",
                              "?resolution=320x5000", "?fps=61", "?fps=x", "?a=%zz", "/more"})
    {
        std::string why;
        EXPECT_EQ(RtspMedia{}, Resolve(query, why)) << query;
        EXPECT_NE("", why) << query;
    }
}

TEST(RtspMedia, SurvivesImpossibleSettings)
{
    RtspConfiguration configuration;
    configuration.width = -1;
    configuration.framesPerGroup = -5;
    configuration.kilobitsPerSecond = -1;
    std::string why;
    const auto media = RtspMedia::Resolve(configuration, *RtspUrl::Parse("rtsp://c/axis-media/media.amp"), why);
    ASSERT_TRUE(media);
    EXPECT_EQ(16u, media->video.width);
    EXPECT_EQ(16u, media->video.height);
    EXPECT_EQ(1u, media->video.framesPerSecond);
    EXPECT_EQ(1u, media->video.keyFrameDistance);
    EXPECT_EQ(0u, media->video.kilobitsPerSecond);
}

} // namespace
