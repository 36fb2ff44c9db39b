#include "Protocol/RtspHeaders.h"

#include "Tests/Support/CapturingLogSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace
{
constexpr wchar_t kNoTimeout[] = L"1 CRtspClient::ParseRtspSessionHeader, no timout in session header: '";
constexpr wchar_t kInvalidTimeout[] =
    L"1 CRtspClient::ParseRtspSessionHeader, invalid timout value in session header: '";

struct SessionCase
{
    const char* why;
    const char* value;
    const char* id;
    std::int32_t timeoutSeconds;
    std::wstring message; ///< its beginning; empty for none
};

TEST(RtspSessionHeader, GivesIdAndTimeout)
{
    const std::vector<SessionCase> cases = {
        {"no header", "", "", 0, L""},
        {"id alone: no keep-alive", "12345678", "12345678", 0, kNoTimeout},
        {"time-out", "12345678;timeout=30", "12345678", 30, L""},
        {"zero is the default", "12345678;timeout=0", "12345678", 60, kInvalidTimeout},
        {"a word is the default", "12345678;timeout=never", "12345678", 60, kInvalidTimeout},
        {"nothing is the default", "12345678;timeout=", "12345678", 60, kInvalidTimeout},
        {"name alone is the default", "12345678;timeout", "12345678", 60, kInvalidTimeout},
        {"below zero is the default", "12345678;timeout=-5", "12345678", 60, kInvalidTimeout},
        {"a widespread firmware writes a blank", "12345678; timeout=60", "12345678", 60, L""},
        {"blanks everywhere", "12345678 ;\t timeout \t= 45 ", "12345678 ", 45, L""},
        {"name in capitals", "1;TIMEOUT=20", "1", 20, L""},
        {"number with something behind it", "1;timeout=60s", "1", 60, L""},
        {"further parameters", "1;timeout=60;ttl=3", "1", 60, L""},
        {"only the first parameter is looked at", "1;ttl=3;timeout=60", "1", 0, kNoTimeout},
        {"another name", "1;timeouts=60", "1", 0, kNoTimeout},
        {"nothing behind the semicolon", "1;", "1", 0, kNoTimeout},
        {"no id", ";timeout=60", "", 60, L""},
        {"beyond all numbers", "1;timeout=99999999999", "1", 2147483647, L""},
    };
    for (const SessionCase& each : cases)
    {
        CLogCapture log;
        std::string id = "left over";
        std::int32_t timeoutSeconds = 4711;
        RtspHeaders::ParseRtspSessionHeader(each.value, id, timeoutSeconds);
        EXPECT_EQ(each.id, id) << each.why;
        EXPECT_EQ(each.timeoutSeconds, timeoutSeconds) << each.why;
        ASSERT_EQ(each.message.empty() ? 0u : 1u, log.Lines().size()) << each.why;
        if (!each.message.empty())
        {
            EXPECT_TRUE(log.Lines()[0].starts_with(each.message)) << each.why;
        }
    }
}

TEST(RtspSessionHeader, MessagesQuoteTheWholeValue)
{
    CLogCapture log;
    std::string id;
    std::int32_t timeoutSeconds = 0;
    RtspHeaders::ParseRtspSessionHeader("12345678;timeout=0", id, timeoutSeconds);
    RtspHeaders::ParseRtspSessionHeader("12345678;x=1", id, timeoutSeconds);
    const std::vector<std::wstring> expected = {std::wstring(kInvalidTimeout) +
                                                    L"12345678;timeout=0', use the default instead",
                                                std::wstring(kNoTimeout) + L"12345678;x=1'"};
    EXPECT_EQ(expected, log.Lines());
}

/// All fields in one text.
std::string Describe(const RtspTransport& transport)
{
    return transport.protocol + (transport.isMulticast ? "|multicast|" : "|unicast|") +
           std::to_string(transport.clientPort) + "|" + transport.destination + "|" +
           std::to_string(transport.serverRtpPort) + "|" + std::to_string(transport.serverRtcpPort) + "|" +
           std::to_string(transport.ttl) + "|" + transport.ssrc + "|" + transport.source + "|" +
           std::to_string(transport.layers) + "|" + transport.mode + "|" + transport.interleaved;
}

RtspTransport Filled()
{
    RtspTransport transport;
    transport.protocol = "P";
    transport.isMulticast = true;
    transport.clientPort = 1;
    transport.destination = "d";
    transport.serverRtpPort = 2;
    transport.serverRtcpPort = 3;
    transport.ttl = 4;
    transport.ssrc = "s";
    transport.source = "o";
    transport.layers = 5;
    transport.mode = "m";
    transport.interleaved = "i";
    return transport;
}

struct TransportCase
{
    const char* why;
    const char* value;
    const char* expected; ///< what has become of Filled()
};

TEST(TransportHeader, ChangesWhatItNames)
{
    const std::vector<TransportCase> cases = {
        {"usual reply", "RTP/AVP;unicast;client_port=5000-5001;server_port=6970-6971;ssrc=1A2B3C4D",
         "RTP/AVP|unicast|5000|d|6970|6971|4|1A2B3C4D|o|5|m|i"},
        {"multicast", "RTP/AVP;multicast;destination=239.1.2.3;port=5000-5001;ttl=16",
         "RTP/AVP|multicast|1|239.1.2.3|5000|5001|16|s|o|5|m|i"},
        {"every name", "RTP/AVP/UDP;destination=a;source=b;layers=7;mode=PLAY;interleaved=0-1;ttl=8;ssrc=9",
         "RTP/AVP/UDP|multicast|1|a|0|0|8|9|b|7|PLAY|0-1"},
        {"names in any case", "RTP/AVP;UniCast;Client_Port=6;SERVER_PORT=7-8;SSRC=X",
         "RTP/AVP|unicast|6|d|7|8|4|X|o|5|m|i"},
        {"a second specification is not looked at", "RTP/AVP;unicast;ssrc=1,RTP/AVP/TCP;multicast;ssrc=2",
         "RTP/AVP|unicast|1|d|0|0|4|1|o|5|m|i"},
        {"server ports that are not named are none", "RTP/AVP", "RTP/AVP|multicast|1|d|0|0|4|s|o|5|m|i"},
        {"one port alone", "RTP/AVP;server_port=7000", "RTP/AVP|multicast|1|d|7000|0|4|s|o|5|m|i"},
        {"the last of two wins", "RTP/AVP;unicast;multicast;ssrc=1;ssrc=2", "RTP/AVP|multicast|1|d|0|0|4|2|o|5|m|i"},
        {"ttl 0 is none", "RTP/AVP;ttl=0", "RTP/AVP|multicast|1|d|0|0|4|s|o|5|m|i"},
        {"ttl whose low 16 bits are 0 is none", "RTP/AVP;ttl=65536", "RTP/AVP|multicast|1|d|0|0|4|s|o|5|m|i"},
        {"low 16 bits of the others", "RTP/AVP;ttl=65537;layers=65536;client_port=70000;server_port=65537-131074",
         "RTP/AVP|multicast|4464|d|1|2|1|s|o|0|m|i"},
        {"words instead of numbers", "RTP/AVP;ttl=x;layers=x;client_port=x;server_port=x-y",
         "RTP/AVP|multicast|0|d|0|0|4|s|o|0|m|i"},
        {"the first item is the protocol, whatever it is", "multicast;unicast",
         "multicast|unicast|1|d|0|0|4|s|o|5|m|i"},
        {"a flag with a value is no flag", "RTP/AVP;unicast=1", "RTP/AVP|multicast|1|d|0|0|4|s|o|5|m|i"},
        {"names that nobody knows", "RTP/AVP;append;x=1;=2;;", "RTP/AVP|multicast|1|d|0|0|4|s|o|5|m|i"},
        {"empty values", "RTP/AVP;destination=;ssrc=", "RTP/AVP|multicast|1||0|0|4||o|5|m|i"},
        {"blanks around items, names and values", "RTP/AVP ; unicast ; ssrc = 12 ;server_port= 7 - 8 ",
         "RTP/AVP|unicast|1|d|7|8|4|12|o|5|m|i"},
        {"value with an equals sign", "RTP/AVP;destination=a=b", "RTP/AVP|multicast|1|a=b|0|0|4|s|o|5|m|i"},
    };
    for (const TransportCase& each : cases)
    {
        RtspTransport transport = Filled();
        RtspHeaders::ParseTransportHeader(each.value, transport);
        EXPECT_EQ(each.expected, Describe(transport)) << each.why;
    }
}

TEST(TransportHeader, AsksForWhatTheRecordSays)
{
    RtspTransport transport;
    transport.protocol = "RTP/AVP";
    transport.clientPort = 5000;
    EXPECT_EQ(L"RTP/AVP;unicast;client_port=5000-5001", RtspHeaders::FormatTransportHeader(transport));
    transport.clientPort = 65535;
    EXPECT_EQ(L"RTP/AVP;unicast;client_port=65535-65536", RtspHeaders::FormatTransportHeader(transport));
    transport.isMulticast = true;
    EXPECT_EQ(L"RTP/AVP;multicast;", RtspHeaders::FormatTransportHeader(transport));
    EXPECT_EQ(L";unicast;client_port=0-1", RtspHeaders::FormatTransportHeader(RtspTransport()));
}

struct RtpInfoCase
{
    const char* why;
    const char* value;
    const char* entries; ///< each as <url|seq|rtptime>
    const char* sequenceNumbers;
};

TEST(RtpInfoHeader, GivesEntriesAndSequenceNumbers)
{
    const std::vector<RtpInfoCase> cases = {
        {"two streams", "url=rtsp://c/v;seq=45102;rtptime=12345678,url=rtsp://c/a;seq=30211;rtptime=87654321",
         "<rtsp://c/v|45102|12345678><rtsp://c/a|30211|87654321>", "45102,30211"},
        {"blanks behind commas and semicolons", "url=rtsp://c/v; seq=1 ; rtptime=2, url=rtsp://c/a; seq=3",
         "<rtsp://c/v|1|2><rtsp://c/a|3|>", "1,3"},
        {"names in any case", "URL=u;Seq=1;RTPTIME=2", "<u|1|2>", "1"},
        {"stream without a number", "url=a;rtptime=1,url=b;seq=7", "<a||1><b|7|>", "7"},
        {"no number at all", "url=a,url=b;seq=", "<a||><b||>", ""},
        {"no header", "", "", ""},
        {"commas alone", ",,, ,", "", ""},
        {"url with an equals sign", "url=rtsp://c/?a=1;seq=2", "<rtsp://c/?a=1|2|>", "2"},
        {"names that nobody knows", "ssrc=1;seq=2;x", "<|2|>", "2"},
    };
    for (const RtpInfoCase& each : cases)
    {
        const std::vector<RtpInfoEntry> entries = RtspHeaders::ParseRtpInfoHeader(each.value);
        std::string description;
        for (const RtpInfoEntry& entry : entries)
            description += "<" + entry.url + "|" + entry.seq + "|" + entry.rtptime + ">";
        EXPECT_EQ(each.entries, description) << each.why;
        EXPECT_EQ(each.sequenceNumbers, RtspHeaders::SequenceNumberList(entries)) << each.why;
    }
}

TEST(RtpInfoHeader, TakesABoundedNumberOfStreams)
{
    std::string value;
    for (int i = 0; i < 100'000; ++i)
        value += "seq=" + std::to_string(i) + ",";
    const std::vector<RtpInfoEntry> entries = RtspHeaders::ParseRtpInfoHeader(value);
    ASSERT_EQ(RtspHeaders::kMaximumStreams, entries.size());
    EXPECT_EQ("63", entries.back().seq);
}

TEST(SequenceNumberList, IsBoundedAndKeepsWholeNumbers)
{
    const std::size_t most = RtspHeaders::kMaximumSequenceListChars;
    RtpInfoEntry longest;
    longest.seq = std::string(most, '1');
    EXPECT_EQ(longest.seq, RtspHeaders::SequenceNumberList({longest}));
    longest.seq += "1";
    EXPECT_EQ("", RtspHeaders::SequenceNumberList({longest}));

    RtpInfoEntry entry;
    entry.seq = "12345";
    const std::string list = RtspHeaders::SequenceNumberList(std::vector<RtpInfoEntry>(1000, entry));
    EXPECT_LE(list.size(), most);
    EXPECT_TRUE(list.ends_with(",12345"));
    EXPECT_GT(list.size() + 6, most) << "as many as fit";
}

TEST(SequenceNumberList, LeavesOutWhatIsNoText)
{
    std::vector<RtpInfoEntry> entries(5);
    entries[0].seq = "1";
    entries[1].seq = std::string("2\0003", 3);
    entries[2].seq = "4\n5";
    entries[3].seq = "%s%n \xFF";
    entries[4].seq = "\x7F";
    EXPECT_EQ("1,%s%n \xFF", RtspHeaders::SequenceNumberList(entries));
}

TEST(KeepAlivePeriod, IsFourFifthsOfTheTimeout)
{
    EXPECT_EQ(48'000u, RtspHeaders::KeepAlivePeriodMs(60));
    EXPECT_EQ(24'000u, RtspHeaders::KeepAlivePeriodMs(30));
    EXPECT_EQ(800u, RtspHeaders::KeepAlivePeriodMs(1));
    for (std::int32_t seconds = 1; seconds <= 100'000; ++seconds)
        ASSERT_EQ(static_cast<std::uint32_t>(seconds) * 800, RtspHeaders::KeepAlivePeriodMs(seconds)) << seconds;
    EXPECT_EQ(2'147'483'200u, RtspHeaders::KeepAlivePeriodMs(2'684'354));
    EXPECT_EQ(2'147'483'647u, RtspHeaders::KeepAlivePeriodMs(2'684'355)) << "the pool takes no longer one";
    EXPECT_EQ(2'147'483'647u, RtspHeaders::KeepAlivePeriodMs(2'147'483'647));
    EXPECT_EQ(0u, RtspHeaders::KeepAlivePeriodMs(-1));
}
} // namespace
