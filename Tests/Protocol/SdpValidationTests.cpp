// Which descriptions count as valid, and what damaged and endless ones come to.

#include "Protocol/SdpParser.h"

#include "Tests/Corpus/Sdp/SessionDescriptions.h"
#include "Tests/Protocol/SessionDescriptionTexts.h"
#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace SessionDescriptionTexts;

TEST(SessionDescription, RulesOfTheSession)
{
    constexpr std::wstring_view kOriginLine = L"1 SessionOrigin::IsValid, invalid value";
    constexpr std::wstring_view kMediaLine = L"1 CSessionDescription::IsValid, invalid media at index: 0";
    const struct
    {
        const char* reason;
        const char* from;
        const char* to;
        bool isValid;
        std::vector<std::wstring_view> lines; ///< without the one that quotes the whole text
    } rows[] = {
        {"version 1", "v=0", "v=1", false, {}},
        {"version 00", "v=0", "v=00", false, {}},
        {"blank behind the version", "v=0", "v=0 ", false, {}},
        {"no version", "v=0", "", false, {}},
        {"no session name", "s=", "", false, {}},
        {"empty session name", "s=", "s=", false, {}},
        {"no origin", "o=", "", false, {}},
        {"no session version", "o=", "o=- 1", false, {}},
        {"wrong network", "o=", "o=- 1 1 ATM IP4 h", false, {kOriginLine}},
        {"wrong address type", "o=", "o=- 1 1 IN IP5 h", false, {kOriginLine}},
        {"no network", "o=", "o=- 1 1", false, {kOriginLine}},
        {"lower case", "o=", "o=- 1 1 in ip4 h", true, {}},
        {"version 6 of the protocol", "o=", "o=- 1 1 IN ip6 h", true, {}},
        {"no address", "o=", "o=- 1 1 IN IP4", true, {}},
        {"no media", "m=", "", false, {}},
        {"bad media", "m=", "m=video", false, {kMediaLine}},
        {"charset, as it should be", "a=control", "a=charset:iso-10646", true, {}},
        {"charset in any case", "a=control", "a=charset:UTF-8", true, {}},
        {"another charset",
         "a=control",
         "a=charset:ISO-8859-1",
         true,
         {L"1 CSessionDescription::IsValid, charset=ISO-8859-1"}},
        {"type in any case", "a=control", "a=type:Broadcast", true, {}},
        {"another type", "a=control", "a=type:meeting", true, {L"1 CSessionDescription::IsValid, type=meeting"}},
        {"the session's connection is not looked at", "s=", "s=x\r\nc=XX YY", true, {}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        std::string text = With(row.from, row.to);
        if (std::string_view(row.to).empty() && std::string_view(row.from) == "m=")
            text = text.substr(0, text.find("a=rtpmap"));
        std::vector<std::wstring> expected(row.lines.begin(), row.lines.end());
        const CLogCapture log;
        const CSessionDescription description = Parse(text);
        if (!row.isValid)
            expected.push_back(L"1 CSessionDescription::Initialize, invalid session description string: " + Wide(text));
        EXPECT_EQ(log.Lines(), expected);
        EXPECT_EQ(description.IsValid(), row.isValid);
    }
}

TEST(SessionDescription, InvalidMediaIsNamedByItsIndex)
{
    const CLogCapture log;
    const CSessionDescription description =
        Parse("v=0\no=- 1 1 IN IP4 h\ns=x\nm=video 0 RTP/AVP 26\nm=data 0 udp x\nm=gone 0 udp x\n");
    EXPECT_FALSE(description.IsValid());
    EXPECT_THAT(description.Media(), SizeIs(3)) << "what was parsed is kept";
    ASSERT_THAT(log.Lines(), SizeIs(5));
    EXPECT_EQ(log.Lines()[0], L"1 MediaDescription::IsValid, invalid mediaType: data");
    EXPECT_EQ(log.Lines()[1], L"1 CSessionDescription::IsValid, invalid media at index: 1");
}

TEST(SessionDescription, RulesOfAMedia)
{
    const std::wstring noRtpmap = L"1 MediaDescription::IsValid, invalid media, dynamic rtp payload type (96) has no "
                                  L"valid rtpmap, media type: video";
    const std::wstring badValue = L"1 ConnectionData::IsValid, invalid value";
    const std::wstring badConnection =
        L"1 MediaDescription::IsValid, invalid connection data at index: 0 for media: video";
    const struct
    {
        const char* reason;
        std::string lines;
        bool isValid;
        std::vector<std::wstring> log;
    } rows[] = {
        {"audio", "m=audio 0 RTP/AVP 0", true, {}},
        {"text, in any case", "m=TEXT 0 RTP/AVP 0", true, {}},
        {"application", "m=application 0 RTP/AVP 0", true, {}},
        {"message", "m=message 0 udp 0", true, {}},
        {"data", "m=data 0 RTP/AVP 0", false, {L"1 MediaDescription::IsValid, invalid mediaType: data"}},
        {"secure profile", "m=video 0 rtp/savp 0", true, {}},
        {"UDP", "m=video 0 UDP 0", true, {}},
        {"feedback profile",
         "m=video 0 RTP/AVPF 0",
         false,
         {L"1 MediaDescription::IsValid, invalid protocol: RTP/AVPF, media type: video"}},
        {"over TCP",
         "m=video 0 TCP 0",
         false,
         {L"1 MediaDescription::IsValid, invalid protocol: TCP, media type: video"}},
        {"a tab is no blank",
         "m=video\t0 RTP/AVP 96",
         false,
         {L"1 MediaDescription::IsValid, invalid media, has no format, mediaType: video\t0"}},
        {"nothing at all", "m=", false, {}},
        {"no port", "m=video", false, {}},
        {"no protocol", "m=video 0", false, {}},
        {"no format",
         "m=video 0 RTP/AVP",
         false,
         {L"1 MediaDescription::IsValid, invalid media, has no format, mediaType: video"}},
        {"no format, before the type is looked at",
         "m=data 0 XYZ",
         false,
         {L"1 MediaDescription::IsValid, invalid media, has no format, mediaType: data"}},
        {"dynamic format without rtpmap", "m=video 0 RTP/AVP 96", true, {noRtpmap}},
        {"the same over the secure profile", "m=video 0 RTP/SAVP 96", true, {}},
        {"the same in lower case", "m=video 0 rtp/avp 96", true, {}},
        {"highest static format", "m=video 0 RTP/AVP 95", true, {}},
        {"a format's leading digits are its number",
         "m=video 0 RTP/AVP 96x",
         true,
         {L"1 MediaDescription::IsValid, invalid media, dynamic rtp payload type (96x) has no valid rtpmap, media "
          L"type: video"}},
        {"a format that is no number", "m=video 0 RTP/AVP x", true, {}},
        {"connection, as it should be", "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1", true, {}},
        {"lower case address type", "m=video 0 udp 0\r\nc=IN ip6 ff02::1", true, {}},
        {"lower case network type", "m=video 0 udp 0\r\nc=in IP4 224.2.1.1", true, {badValue, badConnection}},
        {"no address", "m=video 0 udp 0\r\nc=IN IP4", true, {badValue, badConnection}},
        {"wrong address type", "m=video 0 udp 0\r\nc=IN IP5 224.2.1.1", true, {badValue, badConnection}},
        {"time to live 127", "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1/127", true, {}},
        {"time to live 0", "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1/0", true, {}},
        {"time to live 255", "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1/255", true, {}},
        {"time to live 256",
         "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1/256",
         true,
         {L"1 ConnectionData::IsValid, invalid ttl: 256", badConnection}},
        {"time to live 300",
         "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1/300",
         true,
         {L"1 ConnectionData::IsValid, invalid ttl: 300", badConnection}},
        {"negative time to live",
         "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1/-1",
         true,
         {L"1 ConnectionData::IsValid, invalid ttl: -1", badConnection}},
        {"a time to live that is no number is 0", "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1/x", true, {}},
        {"the second connection",
         "m=video 0 udp 0\r\nc=IN IP4 224.2.1.1\r\nc=IN IP4 224.2.1.1/999",
         true,
         {L"1 ConnectionData::IsValid, invalid ttl: 999",
          L"1 MediaDescription::IsValid, invalid connection data at index: 1 for media: video"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = ParseMedia(row.lines);
        const MediaDescription& media = description.Media().front();
        const CLogCapture log;
        EXPECT_EQ(media.IsValid(), row.isValid);
        EXPECT_EQ(log.Lines(), row.log);
    }
}

TEST(SessionDescription, IncompleteRtpmapOfADynamicFormatIsLogged)
{
    // The parser stores complete ones only; the record can hold others.
    for (auto field : {&MediaFormat::rtpmapPayloadType, &MediaFormat::encodingName, &MediaFormat::clockRate})
    {
        const CSessionDescription description = Parse(kTypical);
        MediaDescription media = description.Media().front();
        EXPECT_TRUE(media.IsValid());
        media.formats.at("96").*field = {};
        const CLogCapture log;
        EXPECT_TRUE(media.IsValid());
        EXPECT_THAT(log.Lines(), ElementsAre(L"1 MediaDescription::IsValid, invalid media, dynamic rtp payload type "
                                             L"(96) has no valid rtpmap, media type: video"));
    }
}

TEST(SessionDescription, RecordedShapesAreValid)
{
    for (const SdpCorpus::SessionDescription& camera : SdpCorpus::kCameras)
    {
        SCOPED_TRACE(camera.shape);
        const CSessionDescription description = Parse(camera.text);
        EXPECT_TRUE(description.IsValid());
        EXPECT_EQ(description.SessionControl(), camera.sessionControl);
    }
}

TEST(SessionDescription, CutOrDamagedTextsNeverHurt)
{
    // Under the sanitizers this shows reads beyond a text, too: each copy ends where its block ends.
    std::mt19937 random(4566);
    constexpr std::string_view kNoise = "=:/ \r\n;,am0v\0\xFF";
    for (const SdpCorpus::SessionDescription& camera : SdpCorpus::kCameras)
    {
        for (std::size_t length = 0; length <= camera.text.size(); ++length)
        {
            const std::vector<char> cut(camera.text.begin(), camera.text.begin() + static_cast<std::ptrdiff_t>(length));
            const CSessionDescription description = Parse({cut.data(), cut.size()});
            ASSERT_LE(description.Media().size(), 6u);
        }
        for (int round = 0; round < 300; ++round)
        {
            std::vector<char> damaged(camera.text.begin(), camera.text.end());
            for (int change = 0; change < 12; ++change)
                damaged[random() % damaged.size()] = kNoise[random() % kNoise.size()];
            const CSessionDescription description = Parse({damaged.data(), damaged.size()});
            for (const MediaDescription& media : description.Media())
                ASSERT_LE(media.control.size(), damaged.size());
        }
    }
}

TEST(SessionDescription, LongTextsTakeLinearTime)
{
    // A hundred media and ten thousand lines, or one line as long as can be: quadratic work would not end within the
    // test's time limit.
    std::string text = "v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\n";
    for (int media = 0; media < 100; ++media)
    {
        text += "m=video 0 RTP/AVP 96\r\n";
        for (int line = 0; line < 100; ++line)
            text += "a=rtpmap:96 H264/90000\r\n";
    }
    EXPECT_THAT(Parse(text).Media(), SizeIs(100));
    const std::size_t longest = CSessionDescription::kMaximumTextBytes;
    EXPECT_FALSE(Parse(std::string(longest, '=')).IsValid());
    EXPECT_FALSE(Parse("m=" + std::string(longest - 2, ' ')).IsValid());
}

// Each of them takes memory, and a log line whenever the description is looked at.
TEST(SessionDescription, WithMoreRecordsThanAnyCameraWritesIsGivenUp)
{
    constexpr std::size_t kMost = CSessionDescription::kMaximumRecords;
    const auto repeated = [](const std::string& line, std::size_t count) {
        std::string lines;
        for (std::size_t i = 0; i < count; ++i)
            lines += line;
        return lines;
    };
    std::string attributes;
    std::string formats = "m=video 0 RTP/AVP";
    for (std::size_t i = 0; i < kMost; ++i)
    {
        attributes += "a=fmtp:" + std::to_string(i) + " x\r\n";
        formats += " " + std::to_string(i);
    }
    const std::string start = "v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\nm=video 0 RTP/AVP 96\r\n"; // two records
    for (const std::string& many :
         {repeated("c=\r\n", kMost), repeated("m=\r\n", kMost), repeated("a=rtpmap:\r\n", kMost),
          repeated("a=fmtp:\r\n", kMost), attributes, formats})
    {
        SCOPED_TRACE(many.substr(0, 10));
        const CLogCapture log;
        const CSessionDescription description(start + many, "rtsp://h/");
        EXPECT_FALSE(description.IsValid());
        EXPECT_THAT(description.Media(), testing::IsEmpty());
        EXPECT_EQ(description.Source(), "rtsp://h/");
        EXPECT_EQ(log.Count(L"CSessionDescription::Initialize, session description of more than 1000 records given up"),
                  1u);
    }
    const CLogCapture log;
    EXPECT_TRUE(Parse(start + repeated("c=\r\n", kMost - 2)).IsValid());
    EXPECT_TRUE(Parse(repeated("c=\r\n", kMost) + start).IsValid()) << "of a session there is but one";
    EXPECT_EQ(log.Count(L"records"), 0u);
}

TEST(SessionDescription, LongerThanAnyCameraWritesIsGivenUp)
{
    const std::string valid = "v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\nm=video 0 RTP/AVP 96\r\ni=";
    const std::string longest = valid + std::string(CSessionDescription::kMaximumTextBytes - valid.size(), 'x');
    EXPECT_TRUE(Parse(longest).IsValid());

    const CLogCapture log;
    const CSessionDescription description(longest + "x", "rtsp://h/");
    EXPECT_FALSE(description.IsValid());
    EXPECT_THAT(description.Media(), testing::IsEmpty());
    EXPECT_EQ(description.Source(), "rtsp://h/");
    EXPECT_EQ(log.Count(L"CSessionDescription::Initialize, session description of more than 262144 bytes given up"),
              1u);
}
