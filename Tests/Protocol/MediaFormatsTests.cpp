#include "Protocol/MediaFormats.h"

#include "Protocol/H264PictureSize.h"
#include "Tests/Corpus/Sdp/SessionDescriptions.h"
#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
CSessionDescription DescriptionOf(const std::string& lines)
{
    return {"v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\n" + lines, "rtsp://camera/"};
}

MediaFormat H264Format(std::string_view clockRate, std::string_view parameters)
{
    MediaFormat format;
    format.encodingName = "H264";
    format.clockRate = clockRate;
    format.fmtpParameters = parameters;
    return format;
}

constexpr wchar_t kNoParameters[] = L"1 CCgiCommandRtsp::MediaHasH264Video, no format parameters, ignore this format";
constexpr wchar_t kModeIs2[] = L"1 CCgiCommandRtsp::MediaHasH264Video, packetization mode is 2, ignore this format";
} // namespace

TEST(MediaFormats, H264VideoIsFoundByItsFormat)
{
    const struct
    {
        const char* reason;
        std::string lines;
        const char* profile; ///< null: there is none
        std::vector<std::wstring> log;
    } rows[] = {
        {"usual", "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 profile-level-id=42", "42", {}},
        {"encoding in any case",
         "m=video 0 RTP/AVP 96\na=rtpmap:96 h264/90000\na=fmtp:96 profile-level-id=42",
         "42",
         {}},
        {"longer protocol", "m=video 0 RTP/AVPF 96\na=rtpmap:96 H264/90000\na=fmtp:96 profile-level-id=42", "42", {}},
        {"the parameters of no use are parameters",
         "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 x",
         "",
         {}},
        {"secure profile",
         "m=video 0 RTP/SAVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 profile-level-id=42",
         nullptr,
         {L"1 CCgiCommandRtsp::MediaHasH264Video, unexpected protocol: RTP/SAVP"}},
        {"protocol in lower case",
         "m=video 0 rtp/avp 96\na=rtpmap:96 H264/90000\na=fmtp:96 x=1",
         nullptr,
         {L"1 CCgiCommandRtsp::MediaHasH264Video, unexpected protocol: rtp/avp"}},
        {"another encoding says nothing", "m=video 0 RTP/AVP 96\na=rtpmap:96 H265/90000\na=fmtp:96 x=1", nullptr, {}},
        {"no rtpmap", "m=video 0 RTP/AVP 96\na=fmtp:96 x=1", nullptr, {}},
        {"another clock rate",
         "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/48000\na=fmtp:96 x=1",
         nullptr,
         {L"1 CCgiCommandRtsp::MediaHasH264Video, H264 video clock rate is 48000, should be 90000"}},
        {"the clock rate is a text",
         "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/090000\na=fmtp:96 x=1",
         nullptr,
         {L"1 CCgiCommandRtsp::MediaHasH264Video, H264 video clock rate is 090000, should be 90000"}},
        {"no parameters", "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/90000", nullptr, {kNoParameters}},
        {"interleaved mode",
         "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 packetization-mode=2",
         nullptr,
         {kModeIs2}},
        {"mode 0", "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 packetization-mode=0", "", {}},
        {"the first that passes, in the order of the map",
         "m=video 0 RTP/AVP 99 98 97 96\na=rtpmap:96 H264/90000\n"
         "a=rtpmap:97 H264/90000\na=fmtp:97 packetization-mode=2\n"
         "a=rtpmap:98 H264/90000\na=fmtp:98 profile-level-id=98\n"
         "a=rtpmap:99 H264/90000\na=fmtp:99 profile-level-id=99",
         "98",
         {kNoParameters, kModeIs2}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = DescriptionOf(row.lines);
        const MediaDescription& media = description.Media().front();
        H264FormatParameters parameters;
        parameters.profileLevelId = "untouched";
        const CLogCapture log;
        EXPECT_EQ(MediaFormats::MediaHasH264Video(media, parameters), row.profile != nullptr);
        EXPECT_EQ(parameters.profileLevelId, row.profile != nullptr ? row.profile : "untouched");
        EXPECT_EQ(log.Lines(), row.log);
    }
}

TEST(MediaFormats, ClockRateWithATrailingBlankIsAnotherOne)
{
    // The parser never leaves one there; the comparison is exact all the same.
    MediaDescription media;
    media.protocol = "RTP/AVP";
    media.formats.emplace("96", H264Format("90000 ", "packetization-mode=1"));
    H264FormatParameters parameters;
    const CLogCapture log;
    EXPECT_FALSE(MediaFormats::MediaHasH264Video(media, parameters));
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"1 CCgiCommandRtsp::MediaHasH264Video, H264 video clock rate is 90000 , should be 90000"));
}

TEST(MediaFormats, PcmuAudioIsFoundByItsFormat)
{
    const std::wstring unexpected = L"1 CCgiCommandRtsp::MediaHasPCMUAudio, unexpected, audio encoding name: ";
    const struct
    {
        const char* reason;
        std::string lines;
        bool has;
        std::vector<std::wstring> log;
    } rows[] = {
        {"static payload type", "m=audio 0 RTP/AVP 0\na=rtpmap:0 PCMU/8000", true, {}},
        {"dynamic payload type", "m=audio 0 RTP/AVP 97\na=rtpmap:97 PCMU/8000/1", true, {}},
        {"encoding in any case", "m=audio 0 RTP/AVP 0\na=rtpmap:0 pcmu/8000", true, {}},
        {"payload type 0 without an rtpmap does not count",
         "m=audio 0 RTP/AVP 0",
         false,
         {unexpected + L", clock rate: 0, should be PCMU 8000"}},
        {"another rate",
         "m=audio 0 RTP/AVP 97\na=rtpmap:97 PCMU/16000",
         false,
         {unexpected + L"PCMU, clock rate: 16000, should be PCMU 8000"}},
        {"another encoding",
         "m=audio 0 RTP/AVP 8\na=rtpmap:8 PCMA/8000",
         false,
         {unexpected + L"PCMA, clock rate: 8000, should be PCMU 8000"}},
        {"behind another",
         "m=audio 0 RTP/AVP 8 97\na=rtpmap:8 PCMA/8000\na=rtpmap:97 PCMU/8000",
         true,
         {unexpected + L"PCMA, clock rate: 8000, should be PCMU 8000"}},
        {"before another", "m=audio 0 RTP/AVP 0 97\na=rtpmap:0 PCMU/8000\na=rtpmap:97 L16/44100/2", true, {}},
        {"another protocol",
         "m=audio 0 udp 0\na=rtpmap:0 PCMU/8000",
         false,
         {L"1 CCgiCommandRtsp::MediaHasPCMUAudio, unexpected protocol: udp"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = DescriptionOf(row.lines);
        const MediaDescription& media = description.Media().front();
        const CLogCapture log;
        EXPECT_EQ(MediaFormats::MediaHasPCMUAudio(media), row.has);
        EXPECT_EQ(log.Lines(), row.log);
    }
}

TEST(MediaFormats, ControlIsThatOfTheFirstMediaThatPasses)
{
    const std::string video = "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 x=1\na=control:";
    const std::string jpeg = "m=video 0 RTP/AVP 26\na=control:jpeg\n";
    const std::string audio = "m=audio 0 RTP/AVP 0\na=rtpmap:0 PCMU/8000\na=control:";
    const struct
    {
        const char* reason;
        std::string lines;
        const char* video;
        const char* audio;
    } rows[] = {
        {"one of each", video + "v\n" + audio + "a\n", "v", "a"},
        {"audio first", audio + "a\n" + video + "v\n", "v", "a"},
        {"one that does not pass goes before", jpeg + video + "v\n", "v", ""},
        {"the first of two", video + "v\n" + video + "w\n", "v", ""},
        {"none passes", jpeg, "", ""},
        {"media types in any case", "m=VIDEO 0 RTP/AVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 x=1\na=control:v\n", "v",
         ""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = DescriptionOf(row.lines);
        EXPECT_EQ(MediaFormats::MediaControl(description, "video"), row.video);
        EXPECT_EQ(MediaFormats::MediaControl(description, "audio"), row.audio);
    }
}

TEST(MediaFormats, MediaWithoutAControlIsLogged)
{
    const CSessionDescription description =
        DescriptionOf("m=audio 0 RTP/AVP 0\na=rtpmap:0 PCMU/8000\nm=audio 0 RTP/AVP 0\na=rtpmap:0 "
                      "PCMU/8000\na=control:second\n");
    const CLogCapture log;
    EXPECT_EQ(MediaFormats::MediaControl(description, "audio"), "") << "the first that passes decides";
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"1 CCgiCommandRtsp::GetMediaStreamUrl, media url is empty, media type: 'audio'"));
    EXPECT_EQ(MediaFormats::MediaControl(description, "video"), "");
    EXPECT_EQ(log.Lines().size(), 1u) << "no media at all is not worth a line";
}

TEST(MediaFormats, VideoFormatIsThatOfTheFirstMediaThatPasses)
{
    const std::string first = "m=video 0 RTP/AVP 96\na=rtpmap:96 H264/90000\na=fmtp:96 profile-level-id=1\n";
    const std::string audio = "m=audio 0 RTP/AVP 97\na=rtpmap:97 H264/90000\na=fmtp:97 profile-level-id=0\n";
    const std::string second = "m=video 0 RTP/AVP 98\na=rtpmap:98 H264/90000\na=fmtp:98 profile-level-id=2\n";
    H264FormatParameters parameters;
    EXPECT_FALSE(MediaFormats::FindH264Video(DescriptionOf(audio), parameters)) << "not a video media";
    EXPECT_EQ(parameters.profileLevelId, "");
    EXPECT_TRUE(
        MediaFormats::FindH264Video(DescriptionOf(audio + "m=video 0 RTP/AVP 26\n" + second + first), parameters));
    EXPECT_EQ(parameters.profileLevelId, "2");
}

TEST(MediaFormats, AbsoluteUrlsHaveAScheme)
{
    EXPECT_TRUE(MediaFormats::IsAbsoluteUrl("rtsp://camera/track"));
    EXPECT_TRUE(MediaFormats::IsAbsoluteUrl("track?url=http://x")) << "anywhere in the text";
    for (const char* relative : {"", "*", "trackID=1", "/path", "//camera/path", "rtsp:track"})
        EXPECT_FALSE(MediaFormats::IsAbsoluteUrl(relative)) << relative;
}

TEST(MediaFormats, RecordedShapesGiveTheirStreams)
{
    for (const SdpCorpus::SessionDescription& camera : SdpCorpus::kCameras)
    {
        SCOPED_TRACE(camera.shape);
        CSessionDescription description;
        description.Initialize(camera.text, "");
        EXPECT_EQ(MediaFormats::MediaControl(description, "video"), camera.h264Control);
        EXPECT_EQ(MediaFormats::MediaControl(description, "audio"), camera.pcmuControl);
        H264FormatParameters parameters;
        ASSERT_TRUE(MediaFormats::FindH264Video(description, parameters));
        EXPECT_EQ(parameters.profileLevelId, camera.profileLevelId);
        PictureSize size;
        ASSERT_TRUE(H264PictureSize::GetH264ImageSizeFromSPS(parameters, size));
        EXPECT_EQ(size, (PictureSize{camera.width, camera.height}));
    }
}
