#include "IPELAFilters/NalBitStream.h"
#include "IPELAFilters/SpsInfo.h"
#include "Logging/LogLine.h"
#include "Logging/OBLogManager.h"
#include "Protocol/AuthenticateResponse.h"
#include "Protocol/AxisReply.h"
#include "Protocol/Base64.h"
#include "Protocol/H264FormatParameters.h"
#include "Protocol/IpelaSettings.h"
#include "Protocol/MediaFormats.h"
#include "Protocol/RtspHeaders.h"
#include "Protocol/RtspReplyReader.h"
#include "Protocol/SdpParser.h"
#include "TextEncoding/Encoding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string>

/// Every parser takes time in proportion to the length of its input, whatever the input is. Measured in processor time
/// of this thread, so that other programs do not count, and as a ratio within one run, so that the machine does not
/// either.
namespace
{
using Parse = void (*)(const std::string& text);

/// An input of any length: `piece` over and over behind `head`. A '#' in it becomes a number that counts the pieces.
struct Shape
{
    const char* parser;
    const char* reason;
    Parse parse;
    std::string head;
    std::string piece;
    std::size_t longestBytes = 1024 * 1024; ///< a longer input is given up unread
};

std::string Make(const Shape& shape, std::size_t lengthBytes)
{
    std::string text = shape.head;
    const std::size_t number = shape.piece.find('#');
    for (std::size_t count = 0; text.size() < lengthBytes; ++count)
    {
        text += shape.piece;
        if (number != std::string::npos)
            text.replace(text.size() - shape.piece.size() + number, 1, std::to_string(count));
    }
    text.resize(lengthBytes);
    return text;
}

double ProcessorNanoseconds()
{
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// A short text again and again, because a clock does not tell how long one takes.
double NanosecondsPerByte(Parse parse, const std::string& text)
{
    constexpr std::size_t kLeastBytes = 64 * 1024;
    const std::size_t rounds = std::max<std::size_t>(kLeastBytes / text.size(), 1);
    const double start = ProcessorNanoseconds();
    for (std::size_t round = 0; round < rounds; ++round)
        parse(text);
    return (ProcessorNanoseconds() - start) / static_cast<double>(rounds * text.size());
}

/// The lengths differ by a factor of 32, so quadratic work costs 32 times as much per byte at the next length. A map of
/// everything in the text costs twice as much, and caches their share.
constexpr double kGrowth = 5;
using Lengths = std::array<std::size_t, 3>;

/// Nanoseconds per byte at each length: the best of as many runs as it takes to see linear growth, at most five.
std::array<double, 3> Measure(const Shape& shape, const Lengths& lengths)
{
    std::array<double, 3> best;
    best.fill(std::numeric_limits<double>::max());
    for (int run = 0; run < 5; ++run)
    {
        for (std::size_t index = 0; index < lengths.size(); ++index)
            best[index] = std::min(best[index], NanosecondsPerByte(shape.parse, Make(shape, lengths[index])));
        if (best[1] < kGrowth * best[0] && best[2] < kGrowth * best[1])
            break;
    }
    return best;
}

void LoadChallenges(const std::string& text)
{
    AuthenticateResponse challenge;
    challenge.LoadFromString(text);
}

void ReadIpelaSettings(const std::string& text)
{
    const std::wstring content = CIso88591Encoding().DecodeString(text);
    for (const IpelaModel model : {IpelaModel::Unknown, IpelaModel::SncEp580})
    {
        IpelaCameraSettings settings;
        IpelaSettings::ReadCameraSettings(content, model, VideoStandard::Ntsc60Hz, settings);
        IpelaSettings::HasRequiredStreamSettings(content, model);
    }
}

void ReadAxisReply(const std::string& text)
{
    const std::wstring reply = CUTF8Encoding().DecodeString(text);
    AxisReply::ValueOf(reply, L".PCount");
    AxisReply::ReadImageSize(reply);
    AxisReply::ToResolutions(reply);
    AxisReply::ToVersion(reply);
}

void ReadSessionDescription(const std::string& text)
{
    const CSessionDescription description(text, "rtsp://camera/");
    H264FormatParameters parameters;
    MediaFormats::FindH264Video(description, parameters);
    MediaFormats::MediaControl(description, "audio");
}

void ParseFormatParameters(const std::string& text)
{
    H264FormatParameters::Parse(text);
}

void DecodeBase64(const std::string& text)
{
    std::string bytes(Base64::Decode(text), '\0');
    Base64::Decode(text, bytes.data());
}

CNalBitStream ReaderOf(const std::string& text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

void ReadParameterSet(const std::string& text)
{
    CNalBitStream reader = ReaderOf(text);
    SpsInfo sps;
    sps.Deserialize(reader);
}

void ReadCodes(const std::string& text)
{
    try
    {
        for (CNalBitStream reader = ReaderOf(text);;)
            reader.ReadUe();
    }
    catch (const CEndOfNalBitStreamException&)
    {
        // All of it was read.
    }
}

void ParseResponse(const std::string& text)
{
    RtspResponse response;
    response.ParseResponse(text);
}

void ParseHeaderValues(const std::string& text)
{
    std::string id;
    std::int32_t timeoutSeconds = 0;
    RtspHeaders::ParseRtspSessionHeader(text, id, timeoutSeconds);
    RtspTransport transport;
    RtspHeaders::ParseTransportHeader(text, transport);
    RtspHeaders::SequenceNumberList(RtspHeaders::ParseRtpInfoHeader(text));
}

void ReadAtOnce(const std::string& text)
{
    CRtspReplyReader reader;
    ASSERT_TRUE(reader.Append(text));
    while (reader.IsComplete())
        reader.TakeReply();
}

void ReadByteByByte(const std::string& text)
{
    CRtspReplyReader reader;
    for (const char& byte : text)
    {
        ASSERT_TRUE(reader.Append({&byte, 1}));
        while (reader.IsComplete())
            reader.TakeReply();
    }
}

/// The rest of a reply that was taken as it stood.
void DropByteByByte(const std::string& text)
{
    CRtspReplyReader reader;
    for (const char& byte : text)
    {
        ASSERT_TRUE(reader.Append({&byte, 1}));
        reader.TakeReply();
    }
}

void ConvertText(const std::string& text)
{
    const CUTF8Encoding utf8;
    utf8.EncodeString(utf8.DecodeString(text));
    const CIso88591Encoding latin1;
    latin1.EncodeString(latin1.DecodeString(text));
}

/// As one text of a message, of which a part is written, and as a message of its own.
void ComposeLine(const std::string& text)
{
    LogMessage message{L"", LogLevel::Debug, "", 0, {}};
    for (const std::wstring& each :
         {COBLogManager::FormatStr(L"answer: '%s'", text), std::wstring(text.begin(), text.end())})
    {
        message.text = each;
        LogLine::Compose(message, {}, 0);
    }
}

const std::string kReply = "RTSP/1.0 200 OK\r\nCSeq: 1\r\n";
const std::string kLongBody = kReply + "Content-Length: 9999999\r\n\r\n";
constexpr std::size_t kDescriptionBytes = CSessionDescription::kMaximumTextBytes;
const std::string kMedia = "v=0\no=- 1 1 IN IP4 a\ns=-\nm=video 0 RTP/AVP 96\n";

const Shape kShapes[] = {
    {"challenge", "items without a name", LoadChallenges, "Digest ", ","},
    {"challenge", "the same item again and again", LoadChallenges, "Digest ", "realm=\"a\","},
    {"challenge", "one long quoted value", LoadChallenges, "Digest nonce=", "\""},
    {"challenge", "one long qop", LoadChallenges, "Digest qop=", "aut"},
    {"IPELA reply", "keys without an equals sign", ReadIpelaSettings, "", "McAddress1"},
    {"IPELA reply", "empty values", ReadIpelaSettings, "", "McAddress1=&McVideoPort1=&AutoRateCtrl1 =&"},
    {"IPELA reply", "blanks", ReadIpelaSettings, "McAddress=", " "},
    {"Axis reply", "empty lines", ReadAxisReply, "", "\n"},
    {"Axis reply", "lines with what is looked for", ReadAxisReply, "", "a.PCount=1\n"},
    {"Axis reply", "one long name", ReadAxisReply, "", ".PCoun"},
    {"Axis reply", "sizes", ReadAxisReply, "", "1x1,"},
    {"session description", "formats on one line", ReadSessionDescription, kMedia + "m=audio 0 RTP/AVP", " 96 97 98",
     kDescriptionBytes},
    {"session description", "media", ReadSessionDescription, kMedia, "m=video 0 RTP/AVP 96\n", kDescriptionBytes},
    {"session description", "two formats in turn", ReadSessionDescription, kMedia,
     "a=rtpmap:96 H264/90000\na=rtpmap:97 H264/1\n", kDescriptionBytes},
    {"session description", "connections", ReadSessionDescription, kMedia, "c=\n", kDescriptionBytes},
    {"session description", "one long format", ReadSessionDescription, kMedia + "a=rtpmap:96 H264/90000\na=fmtp:96 ",
     "sprop-parameter-sets=AAAA;", kDescriptionBytes},
    {"format parameters", "separators", ParseFormatParameters, "", ";"},
    {"format parameters", "sets", ParseFormatParameters, "sprop-parameter-sets=", "AAAA,"},
    {"base64", "letters", DecodeBase64, "", "A"},
    {"base64", "padding", DecodeBase64, "", "="},
    {"parameter set", "bytes to be dropped", ReadParameterSet, std::string("gB\0\0", 4), "\3"},
    {"bit stream", "zeros", ReadCodes, "", std::string(1, '\0')},
    {"bit stream", "every third byte is dropped", ReadCodes, "", std::string("\0\0\3", 3)},
    {"RTSP reply", "the same header again and again", ParseResponse, kReply, "A: b\r\n"},
    {"RTSP reply", "almost blank lines", ParseResponse, kReply, "\r\r\n"},
    {"RTSP reply", "returns", ParseResponse, kReply, "\r"},
    {"RTSP reply", "headers of many names", ParseResponse, kReply, "A#:b\r\n", CRtspReplyReader::kMaximumHeadBytes},
    {"RTSP header values", "separators", ParseHeaderValues, "", ";,"},
    {"RTSP header values", "items", ParseHeaderValues, "RTP/AVP", ";seq=1"},
    {"RTSP header values", "equals signs", ParseHeaderValues, "url", "="},
    {"RTSP replies", "many at once", ReadAtOnce, "", kReply + "\r\n"},
    {"RTSP replies", "body byte by byte", ReadByteByByte, kLongBody, "x"},
    {"RTSP replies", "blank lines byte by byte", ReadByteByByte, kLongBody, "\r\n"},
    {"RTSP replies", "header byte by byte", ReadByteByByte, kReply, "A: b\r\n", CRtspReplyReader::kMaximumHeadBytes},
    {"RTSP replies", "line ends byte by byte", ReadByteByByte, "", "\r\n"},
    {"RTSP replies", "many byte by byte", ReadByteByByte, "", kReply + "\r\n"},
    {"RTSP replies", "rest of a body byte by byte", DropByteByByte, kLongBody, "x"},
    {"RTSP replies", "beginnings of replies byte by byte", DropByteByByte, kLongBody, "RTSP/1.0"},
    {"text encoding", "sequences that are cut", ConvertText, "", "\xF0\x9F\xC3"},
    {"log line", "line ends", ComposeLine, "", "\r\n"},
};
} // namespace

TEST(Linearity, EveryParserTakesTimeInProportionToItsInput)
{
    std::printf("%-20s %-36s %10s %12s %12s\n", "cost per byte", "", "1 KB", "32 KB: 1 KB", "1 MB: 32 KB");
    for (const Shape& shape : kShapes)
    {
        SCOPED_TRACE(std::string(shape.parser) + ", " + shape.reason);
        const std::array<double, 3> cost = Measure(shape, {1024, 32 * 1024, shape.longestBytes});
        std::printf("%-20s %-36s %7.1f ns %12.2f %12.2f\n", shape.parser, shape.reason, cost[0], cost[1] / cost[0],
                    cost[2] / cost[1]);
        EXPECT_LT(cost[1], kGrowth * cost[0]);
        EXPECT_LT(cost[2], kGrowth * cost[1]);
    }
}

// The yardstick itself: a search that begins anew at each byte is seen, although each search is fast.
TEST(Linearity, QuadraticWorkIsSeen)
{
    const Parse searchAnew = [](const std::string& text) {
        std::size_t found = 0;
        for (std::size_t end = 0; end < text.size(); ++end)
            found += std::string_view(text.data(), end).find('y') != std::string_view::npos ? 1 : 0;
        ASSERT_EQ(0u, found);
    };
    const std::array<double, 3> cost = Measure({"", "", searchAnew, "", "x"}, {64, 4 * 1024, 128 * 1024});
    EXPECT_GT(cost[2], kGrowth * cost[1]);
}
