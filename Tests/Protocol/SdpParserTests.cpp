#include "Protocol/SdpParser.h"

#include "Tests/Protocol/SessionDescriptionTexts.h"
#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace SessionDescriptionTexts;

namespace
{
const MediaDescription& MediaAt(const CSessionDescription& description, std::ptrdiff_t index)
{
    return *std::next(description.Media().begin(), index);
}

/// What the media's formats are, as text, in the order of the map.
std::vector<std::string> Formats(const MediaDescription& media)
{
    std::vector<std::string> result;
    for (const auto& [key, format] : media.formats)
    {
        std::string text = std::string(key) + ":" + std::string(format.format);
        for (const std::string_view field : {format.rtpmapPayloadType, format.encodingName, format.clockRate,
                                             format.encodingParameters, format.fmtpPayloadType, format.fmtpParameters})
            text.append("|").append(field);
        result.push_back(text);
    }
    return result;
}
} // namespace

TEST(SessionDescription, TypicalAnswerIsUnderstood)
{
    const CLogCapture log;
    const CSessionDescription description = Parse(kTypical);
    EXPECT_TRUE(description.IsValid());
    EXPECT_EQ(description.Source(), "rtsp://camera/base/");
    EXPECT_EQ(description.Version(), "0");
    EXPECT_EQ(description.SessionName(), "Media Presentation");
    ASSERT_THAT(description.Media(), SizeIs(1));
    const MediaDescription& media = description.Media().front();
    EXPECT_EQ(media.mediaType, "video");
    EXPECT_EQ(media.port, "0");
    EXPECT_EQ(media.protocol, "RTP/AVP");
    EXPECT_EQ(media.control, "trackID=1");
    EXPECT_THAT(Formats(media), ElementsAre("96:96|96|H264|90000||96|packetization-mode=1"));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SessionDescription, OriginHasSixTokens)
{
    const struct
    {
        const char* reason;
        const char* line;
        std::vector<std::string_view> fields;
    } rows[] = {
        {"all six", "o=root 12 34 IN IP4 10.0.0.1", {"root", "12", "34", "IN", "IP4", "10.0.0.1"}},
        {"runs of blanks count as one", "o=root  12   34 IN IP6  ::1", {"root", "12", "34", "IN", "IP6", "::1"}},
        {"missing tokens are empty", "o=root 12 34", {"root", "12", "34", "", "", ""}},
        {"further tokens are ignored", "o=a b c d e f g", {"a", "b", "c", "d", "e", "f"}},
        {"nothing", "o=", {"", "", "", "", "", ""}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = Parse(With("o=", row.line));
        const SessionOrigin& origin = description.Origin();
        EXPECT_EQ((std::vector<std::string_view>{origin.userName, origin.sessionId, origin.sessionVersion,
                                                 origin.networkType, origin.addressType, origin.address}),
                  row.fields);
    }
}

TEST(SessionDescription, ConnectionSplitsItsAddressAtSlashes)
{
    const struct
    {
        const char* reason;
        const char* line;
        std::vector<std::string_view> fields;
    } rows[] = {
        {"address alone", "c=IN IP4 10.0.0.1", {"IN", "IP4", "10.0.0.1", "", ""}},
        {"with ttl", "c=IN IP4 224.2.1.1/127", {"IN", "IP4", "224.2.1.1", "127", ""}},
        {"with ttl and number", "c=IN IP4 224.2.1.1/127/3", {"IN", "IP4", "224.2.1.1", "127", "3"}},
        {"runs of separators", "c=IN  IP4   224.2.1.1//127", {"IN", "IP4", "224.2.1.1", "127", ""}},
        {"no address", "c=IN IP4", {"IN", "IP4", "", "", ""}},
        {"nothing", "c=", {"", "", "", "", ""}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = Parse(With("s=", std::string("s=x\r\n") + row.line));
        const ConnectionData& connection = description.SessionConnection();
        EXPECT_EQ((std::vector<std::string_view>{connection.networkType, connection.addressType, connection.address,
                                                 connection.ttl, connection.numberOfAddresses}),
                  row.fields);
    }
}

TEST(SessionDescription, MediaLineIsSplitIntoItsParts)
{
    const struct
    {
        const char* reason;
        const char* line;
        std::vector<std::string_view> fields; ///< type, port, number of ports, protocol, then the formats
    } rows[] = {
        {"usual", "m=video 0 RTP/AVP 96", {"video", "0", "", "RTP/AVP", "96"}},
        {"number of ports", "m=audio 5004/2 RTP/AVP 0", {"audio", "5004", "2", "RTP/AVP", "0"}},
        {"formats are ordered as text", "m=audio 0 RTP/AVP 97 8 100", {"audio", "0", "", "RTP/AVP", "100", "8", "97"}},
        {"a format that is named twice counts once", "m=audio 0 RTP/AVP 8 8", {"audio", "0", "", "RTP/AVP", "8"}},
        {"a format need not be a number", "m=application 0 udp wb", {"application", "0", "", "udp", "wb"}},
        {"runs of blanks", "m=video   0  RTP/AVP  96 ", {"video", "0", "", "RTP/AVP", "96"}},
        {"no formats", "m=video 0 RTP/AVP", {"video", "0", "", "RTP/AVP"}},
        {"nothing", "m=", {"", "", "", ""}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = ParseMedia(row.line);
        const MediaDescription& media = description.Media().front();
        std::vector<std::string_view> fields = {media.mediaType, media.port, media.numberOfPorts, media.protocol};
        for (const auto& [key, format] : media.formats)
        {
            EXPECT_EQ(format.format, key);
            fields.push_back(key);
        }
        EXPECT_EQ(fields, row.fields);
    }
}

TEST(SessionDescription, LinesBelongToTheSessionUntilTheFirstMedia)
{
    const CSessionDescription description = Parse("v=0\r\no=- 1 1 IN IP4 h\r\ns=name\r\n"
                                                  "i=session\r\nc=IN IP4 1.1.1.1\r\nb=AS:1\r\na=control:top\r\n"
                                                  "m=video 0 RTP/AVP 96\r\n"
                                                  "i=first\r\nc=IN IP4 2.2.2.2\r\nc=IN IP4 3.3.3.3\r\nb=AS:2\r\n"
                                                  "a=control:one\r\n"
                                                  "m=audio 0 RTP/AVP 0\r\n"
                                                  "i=second\r\nb=AS:3\r\na=control:two\r\n");
    EXPECT_EQ(description.SessionInformation(), "session");
    EXPECT_EQ(description.SessionConnection().address, "1.1.1.1");
    EXPECT_EQ(description.SessionBandwidth(), "AS:1");
    EXPECT_EQ(description.SessionControl(), "top");
    ASSERT_THAT(description.Media(), SizeIs(2));
    const MediaDescription& first = description.Media().front();
    EXPECT_EQ(first.information, "first");
    ASSERT_THAT(first.connections, SizeIs(2));
    EXPECT_EQ(first.connections.front().address, "2.2.2.2");
    EXPECT_EQ(first.connections.back().address, "3.3.3.3");
    EXPECT_EQ(first.bandwidth, "AS:2");
    EXPECT_EQ(first.control, "one");
    const MediaDescription& second = MediaAt(description, 1);
    EXPECT_EQ(second.mediaType, "audio");
    EXPECT_EQ(second.information, "second");
    EXPECT_THAT(second.connections, IsEmpty());
    EXPECT_EQ(second.bandwidth, "AS:3");
    EXPECT_EQ(second.control, "two");
}

TEST(SessionDescription, LinesEndAtCrAndAtLf)
{
    const struct
    {
        const char* reason;
        std::string_view end;
    } rows[] = {{"as it should be", "\r\n"}, {"LF alone", "\n"},          {"CR alone", "\r"},
                {"empty lines", "\r\n\r\n"}, {"the other way", "\n\r\n"}, {"CR twice", "\r\r\n"}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        std::string text(row.end);
        for (const std::string_view line : {"v=0", "o=- 1 1 IN IP4 h", "s=name", "m=video 0 RTP/AVP 26"})
            text.append(line).append(row.end);
        EXPECT_TRUE(Parse(text).IsValid());
        EXPECT_TRUE(Parse(text.substr(0, text.size() - row.end.size())).IsValid()) << "no end of the last line";
        EXPECT_EQ(Parse(text).SessionName(), "name");
    }
}

TEST(SessionDescription, LineTypesAreExact)
{
    const struct
    {
        const char* reason;
        const char* line;
    } rows[] = {
        {"capital", "S=other"},
        {"blank in front", " s=other"},
        {"two letters", "ss=other"},
        {"no equals sign", "s"},
        {"colon", "s:other"},
        {"empty type", "=other"},
        {"time", "t=0 0"},
        {"repeat", "r=7d 1h 0 25h"},
        {"zone", "z=0 0"},
        {"key", "k=clear:abc"},
        {"mail", "e=NONE"},
        {"phone", "p=+1"},
        {"link", "u=http://other"},
        {"unknown", "x=other"},
        {"blank behind the type", "s =other"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CSessionDescription description = Parse(std::string(kTypical) + row.line + "\r\n");
        EXPECT_EQ(description.SessionName(), "Media Presentation");
        EXPECT_TRUE(description.IsValid());
        EXPECT_THAT(description.Media(), SizeIs(1));
    }
}

TEST(SessionDescription, ValuesAreKeptAsTheyStand)
{
    EXPECT_EQ(Parse(With("s=", "s= a = b ")).SessionName(), " a = b ") << "the first equals sign ends the type";
    EXPECT_EQ(Parse(With("s=", "s=Kam\xC3\xA9ra")).SessionName(), "Kam\xC3\xA9ra") << "bytes above 127";
    EXPECT_EQ(Parse(With("a=control", "a=control:rtsp://h:554/a")).Media().front().control, "rtsp://h:554/a")
        << "the first colon ends the name";
    EXPECT_TRUE(Parse(With("s=", "s= ")).IsValid()) << "a session without a name has a blank there (RFC 4566, 5.3)";
}

TEST(SessionDescription, TheLastLineOfAKindCounts)
{
    EXPECT_EQ(Parse(With("s=", "s=one\r\ns=two")).SessionName(), "two");
    EXPECT_EQ(Parse(With("a=control", "a=control:one\r\na=control:two")).Media().front().control, "two");
    EXPECT_EQ(Parse(With("o=", "o=a 1 1 IN IP4 h\r\no=b 2")).Origin().address, "");
}

TEST(SessionDescription, AttributesGoToTheirFields)
{
    const CSessionDescription description =
        Parse("v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\n"
              "a=tool:server 1.0\r\na=charset:utf-8\r\na=type:broadcast\r\n"
              "a=transform:session\r\na=framerate:session\r\na=quality:session\r\n"
              "m=video 0 RTP/AVP 26\r\n"
              "a=transform:1,0,0\r\na=framerate:12.5\r\na=quality:9\r\na=recvonly\r\na=unknown:x\r\n");
    EXPECT_EQ(description.Tool(), "server 1.0");
    EXPECT_EQ(description.Charset(), "utf-8");
    EXPECT_EQ(description.Type(), "broadcast");
    const MediaDescription& media = description.Media().front();
    EXPECT_EQ(media.transform, "1,0,0");
    EXPECT_EQ(media.frameRate, "12.5");
    EXPECT_EQ(media.quality, "9");
}

TEST(SessionDescription, SessionAttributesCountInsideAMediaToo)
{
    const CSessionDescription description =
        Parse(std::string(kTypical) + "a=tool:t\r\na=charset:c\r\na=type:broadcast\r\n");
    EXPECT_EQ(description.Tool(), "t");
    EXPECT_EQ(description.Charset(), "c");
    EXPECT_EQ(description.Type(), "broadcast");
}

TEST(SessionDescription, SomeAttributeNamesCountInAnyCase)
{
    const CSessionDescription description = Parse("v=0\r\no=- 1 1 IN IP4 h\r\ns=x\r\n"
                                                  "a=Tool:t\r\na=CHARSET:c\r\na=Type:t\r\na=Control:top\r\n"
                                                  "m=video 0 RTP/AVP 96\r\n"
                                                  "a=CONTROL:one\r\na=RtpMap:96 H264/90000\r\na=FMTP:96 x=1\r\n"
                                                  "a=FrameRate:25\r\na=Quality:5\r\na=Transform:1\r\n");
    EXPECT_EQ(description.Tool(), "") << "exact";
    EXPECT_EQ(description.Charset(), "") << "exact";
    EXPECT_EQ(description.Type(), "") << "exact";
    EXPECT_EQ(description.SessionControl(), "top");
    const MediaDescription& media = description.Media().front();
    EXPECT_EQ(media.control, "one");
    EXPECT_THAT(Formats(media), ElementsAre("96:96|96|H264|90000||96|x=1"));
    EXPECT_EQ(media.frameRate, "25");
    EXPECT_EQ(media.quality, "5");
    EXPECT_EQ(media.transform, "") << "exact";
}

TEST(SessionDescription, AttributeNamesAreWhole)
{
    const struct
    {
        const char* reason;
        const char* line;
    } rows[] = {
        {"one letter more", "a=controls:x"},
        {"blank behind the name", "a=control :x"},
        {"blank in front", "a= control:x"},
        {"one letter less", "a=contro:x"},
        {"equals sign for the colon", "a=control=x"},
        {"fmtp with more", "a=fmtpx:96 x=1"},
        {"fmtp with a blank", "a=fmtp :96 x=1"},
        {"rtpmap with more", "a=rtpmaps:96 X/1"},
        {"rtpmap with less", "a=rtpma:96 X/1"},
        {"frame rate with more", "a=framerates:5"},
        {"quality with more", "a=qualitys:5"},
        {"transform with more", "a=transforms:5"},
        {"tool with more", "a=tools:x"},
        {"tool with a blank", "a=tool :x"},
        {"charset with more", "a=charsets:x"},
        {"type with more", "a=types:x"},
        {"no name", "a=:x"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CLogCapture log;
        const CSessionDescription description = Parse(std::string(kTypical) + row.line + "\r\n");
        const MediaDescription& media = description.Media().front();
        EXPECT_EQ(media.control, "trackID=1");
        EXPECT_THAT(Formats(media), ElementsAre("96:96|96|H264|90000||96|packetization-mode=1"));
        for (const std::string_view field : {media.frameRate, media.quality, media.transform, description.Tool(),
                                             description.Charset(), description.Type(), description.SessionControl()})
            EXPECT_EQ(field, "");
        EXPECT_THAT(log.Lines(), IsEmpty());
    }
}

TEST(SessionDescription, AttributesWithoutAColonHaveAnEmptyValue)
{
    const CSessionDescription description =
        Parse(With("s=", "s=x\r\na=tool:t\r\na=tool\r\na=control:all\r\na=control") +
              "a=control\r\na=framerate:5\r\na=framerate\r\n");
    EXPECT_EQ(description.Tool(), "");
    EXPECT_EQ(description.SessionControl(), "");
    EXPECT_EQ(description.Media().front().control, "");
    EXPECT_EQ(description.Media().front().frameRate, "");
    EXPECT_TRUE(description.IsValid());
}

TEST(SessionDescription, RtpmapIsCutAtBlanksAndSlashes)
{
    const struct
    {
        const char* reason;
        const char* value;
        const char* format; ///< null: the attribute is invalid
    } rows[] = {
        {"usual", "96 H264/90000", "96|H264|90000|"},
        {"channels", "96 L16/44100/2", "96|L16|44100|2"},
        {"blank behind the clock rate", "96 H264/90000 ", "96|H264|90000|"},
        {"a blank ends the clock rate", "96 H264/90000 2", "96|H264|90000|2"},
        {"further parts are ignored", "96 L16/44100/2/3", "96|L16|44100|2"},
        {"runs of separators", "96   H264//90000", "96|H264|90000|"},
        {"blank in front", " 96 H264/90000", "96|H264|90000|"},
        {"blank inside the name", "96 H 264/90000", "96|H 264|90000|"},
        {"a tab is no blank", "96\tH264/90000", nullptr},
        {"no clock rate", "96 H264", nullptr},
        {"empty clock rate", "96 H264/", nullptr},
        {"no name", "96 /90000", nullptr},
        {"payload type alone", "96", nullptr},
        {"nothing", "", nullptr},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CLogCapture log;
        const CSessionDescription description =
            ParseMedia("m=video 0 RTP/AVP 96\r\na=rtpmap:" + std::string(row.value) + "\r\n");
        const MediaDescription& media = description.Media().front();
        const std::wstring invalid =
            L"1 CSessionDescription::Initialize, invalid rtpmap: " + Wide(row.value) + L", ignored";
        if (row.format != nullptr)
        {
            EXPECT_THAT(Formats(media), ElementsAre("96:96|" + std::string(row.format) + "||"));
            EXPECT_THAT(log.Lines(), IsEmpty());
        }
        else
        {
            EXPECT_THAT(Formats(media), ElementsAre("96:96||||||"));
            ASSERT_FALSE(log.Lines().empty());
            EXPECT_EQ(log.Lines()[0], invalid);
        }
    }
}

TEST(SessionDescription, FmtpIsCutAtItsFirstBlank)
{
    const struct
    {
        const char* reason;
        const char* value;
        const char* format; ///< null: the attribute is invalid
    } rows[] = {
        {"usual", "26 a=1;b=2", "26|a=1;b=2"},       {"blanks inside the parameters", "26 a=1; b=2 ", "26|a=1; b=2 "},
        {"run of blanks", "26   a=1", "26|a=1"},     {"no parameters", "26", nullptr},
        {"blanks for parameters", "26   ", nullptr}, {"nothing", "", nullptr},
        {"a tab is no blank", "26\ta=1", nullptr},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const CLogCapture log;
        const CSessionDescription description =
            ParseMedia("m=video 0 RTP/AVP 26\r\na=fmtp:" + std::string(row.value) + "\r\n");
        const MediaDescription& media = description.Media().front();
        if (row.format != nullptr)
        {
            EXPECT_THAT(Formats(media), ElementsAre("26:26|||||" + std::string(row.format)));
            EXPECT_THAT(log.Lines(), IsEmpty());
        }
        else
        {
            EXPECT_THAT(Formats(media), ElementsAre("26:26||||||"));
            EXPECT_THAT(log.Lines(), ElementsAre(L"1 CSessionDescription::Initialize, invalid fmtp: " +
                                                 Wide(row.value) + L", ignored"));
        }
    }
}

TEST(SessionDescription, AttributesOfFormatsThatAreNotListedMakeAnEntry)
{
    const CLogCapture log;
    const CSessionDescription description =
        ParseMedia("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=rtpmap:97 H265/90000\r\na=fmtp:98 x=1\r\n");
    const MediaDescription& media = description.Media().front();
    EXPECT_THAT(Formats(media), ElementsAre("96:96|96|H264|90000|||", "97:|97|H265|90000|||", "98:|||||98|x=1"));
    // Complained about, no more.
    EXPECT_THAT(log.Lines(), ElementsAre(L"1 MediaDescription::IsValid, invalid entry in format info map (97 : ), "
                                         L"media type: video",
                                         L"1 MediaDescription::IsValid, invalid entry in format info map (98 : ), "
                                         L"media type: video"));
}

TEST(SessionDescription, FormatAttributesOutsideAMediaAreLoggedAndIgnored)
{
    const CLogCapture log;
    const CSessionDescription description =
        Parse(With("s=", "s=x\r\na=rtpmap:96 H265/90000\r\na=fmtp:96 x=1\r\na=rtpmap\r\na=fmtp:"));
    EXPECT_TRUE(description.IsValid());
    EXPECT_THAT(Formats(description.Media().front()), ElementsAre("96:96|96|H264|90000||96|packetization-mode=1"));
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(L"1 CSessionDescription::Initialize, pMedia is NULL when parsing rtpmap: 96 H265/90000, ignored",
                    L"1 CSessionDescription::Initialize, pMedia is NULL when parsing fmtp: 96 x=1, ignored",
                    L"1 CSessionDescription::Initialize, pMedia is NULL when parsing rtpmap: , ignored",
                    L"1 CSessionDescription::Initialize, pMedia is NULL when parsing fmtp: , ignored"));
}

TEST(SessionDescription, EmptyTextIsInvalidAndSaysNothing)
{
    const CLogCapture log;
    const CSessionDescription description = Parse("");
    EXPECT_FALSE(description.IsValid());
    EXPECT_EQ(description.Source(), "rtsp://camera/base/");
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SessionDescription, InitializeForgetsWhatWasThere)
{
    CSessionDescription description = Parse(std::string(kTypical) + "a=tool:t\r\na=charset:c\r\na=type:t\r\n");
    description.Initialize("i=new\r\n", "other");
    EXPECT_FALSE(description.IsValid());
    EXPECT_EQ(description.Source(), "other");
    EXPECT_EQ(description.SessionInformation(), "new");
    EXPECT_EQ(description.Version(), "");
    EXPECT_EQ(description.Origin().userName, "");
    EXPECT_EQ(description.Tool(), "");
    EXPECT_EQ(description.Charset(), "");
    EXPECT_EQ(description.Type(), "");
    EXPECT_THAT(description.Media(), IsEmpty());

    description.Initialize(kTypical, "source");
    description.Clear();
    EXPECT_EQ(description.Source(), "");
    EXPECT_EQ(description.Version(), "");
    EXPECT_EQ(description.SessionName(), "");
    EXPECT_THAT(description.Media(), IsEmpty());
}

TEST(SessionDescription, TextsAreTheDescriptionsOwn)
{
    std::string text(kTypical);
    std::string source = "rtsp://camera/";
    const CSessionDescription description(text, source);
    std::ranges::fill(text, 'x');
    std::ranges::fill(source, 'x');
    EXPECT_EQ(description.Source(), "rtsp://camera/");
    EXPECT_EQ(description.SessionName(), "Media Presentation");
    EXPECT_EQ(description.Media().front().control, "trackID=1");
}
