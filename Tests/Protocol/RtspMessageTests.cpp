#include "Protocol/RtspMessage.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace
{
using namespace std::string_literals;
using Headers = std::map<std::string, std::string, std::less<>>;

TEST(RtspRequest, GoesOnTheWireWithCSeqFirstAndHeadersInTheirOrder)
{
    RtspRequest request;
    request.method = L"SETUP";
    request.url = L"rtsp://camera/axis-media/media.amp/trackID=1";
    request.cseq = 7;
    request.SetHeader(L"User-Agent", L"ORBELL RTSP Client (ORBELL Capture Filter)");
    request.SetHeader(L"Session", L"12345678");
    request.SetHeader(L"Authorization", L"Basic dXNlcjpwYXNz");
    request.SetHeader(L"Transport", L"RTP/AVP;unicast;client_port=5000-5001");
    EXPECT_EQ("SETUP rtsp://camera/axis-media/media.amp/trackID=1 RTSP/1.0\r\n"
              "CSeq: 7\r\n"
              "User-Agent: ORBELL RTSP Client (ORBELL Capture Filter)\r\n"
              "Session: 12345678\r\n"
              "Authorization: Basic dXNlcjpwYXNz\r\n"
              "Transport: RTP/AVP;unicast;client_port=5000-5001\r\n"
              "\r\n",
              request.FormatRequest());
}

TEST(RtspRequest, WithoutHeadersIsStillARequest)
{
    RtspRequest request;
    request.method = L"OPTIONS";
    request.url = L"*";
    EXPECT_EQ("OPTIONS * RTSP/1.0\r\nCSeq: 0\r\n\r\n", request.FormatRequest());
}

TEST(RtspRequest, HeaderOfTheSameNameInAnyCaseIsReplacedWhereItStands)
{
    RtspRequest request;
    request.SetHeader(L"Session", L"old");
    request.SetHeader(L"Range", L"npt=0.000-");
    request.SetHeader(L"SESSION", L"new");
    request.SetHeader(L"Sessio", L"another name");
    const std::vector<std::pair<std::wstring, std::wstring>> expected = {
        {L"Session", L"new"}, {L"Range", L"npt=0.000-"}, {L"Sessio", L"another name"}};
    EXPECT_EQ(expected, request.headers);
}

TEST(RtspRequest, IsUtf8)
{
    RtspRequest request;
    request.method = L"OPTIONS";
    request.url = L"rtsp://K\u00FCche/";
    request.SetHeader(L"Session", L"\u20AC");
    EXPECT_EQ("OPTIONS rtsp://K\xC3\xBC"
              "che/ RTSP/1.0\r\nCSeq: 0\r\nSession: \xE2\x82\xAC\r\n\r\n",
              request.FormatRequest());
}

struct ResponseCase
{
    const char* why;
    std::string text;
    std::int32_t statusCode;
    std::string reason;
    Headers headers;
    std::string body;
};

TEST(RtspResponse, IsTakenApart)
{
    const std::vector<ResponseCase> cases = {
        {"usual reply",
         "RTSP/1.0 200 OK\r\nCSeq: 2\r\nContent-Length: 4\r\n\r\nv=0\n",
         200,
         "OK",
         {{"CSeq", "2"}, {"Content-Length", "4"}},
         "v=0\n"},
        {"reason phrase of several words", "RTSP/1.0 454 Session Not Found\r\n\r\n", 454, "Session Not Found", {}, ""},
        {"no reason phrase", "RTSP/1.0 200\r\n\r\n", 200, "", {}, ""},
        {"the version is not looked at", "HTTP/9 404 Not Found\r\n\r\n", 404, "Not Found", {}, ""},
        {"no status code", "RTSP/1.0\r\nCSeq: 1\r\n\r\n", 0, "", {{"CSeq", "1"}}, ""},
        {"status code that is no number", "RTSP/1.0 OK 200\r\n\r\n", 0, "200", {}, ""},
        {"status code beyond all numbers", "RTSP/1.0 99999999999 X\r\n\r\n", 2147483647, "X", {}, ""},
        {"status line cut short", "RTSP/1.0 20", 20, "", {}, ""},
        {"header block cut short", "RTSP/1.0 200 OK\r\nCSeq: 5\r\nSess", 200, "OK", {{"CSeq", "5"}}, ""},
        {"header block without its blank line", "RTSP/1.0 200 OK\r\nCSeq: 5\r\n", 200, "OK", {{"CSeq", "5"}}, ""},
        {"value is trimmed on both sides",
         "R 200 OK\r\nSession: \t 12 34\t \r\n\r\n",
         200,
         "OK",
         {{"Session", "12 34"}},
         ""},
        {"value without a blank in front", "R 200 OK\r\nSession:1\r\n\r\n", 200, "OK", {{"Session", "1"}}, ""},
        {"value with colons",
         "R 200 OK\r\nContent-Base: rtsp://c:554/\r\n\r\n",
         200,
         "OK",
         {{"Content-Base", "rtsp://c:554/"}},
         ""},
        {"empty value", "R 200 OK\r\nSession:\r\n\r\n", 200, "OK", {{"Session", ""}}, ""},
        {"name as it is, blank included", "R 200 OK\r\nSession : 1\r\n\r\n", 200, "OK", {{"Session ", "1"}}, ""},
        {"line without a colon", "R 200 OK\r\nnonsense\r\nCSeq: 1\r\n\r\n", 200, "OK", {{"CSeq", "1"}}, ""},
        {"repeated header keeps its last value", "R 200 OK\r\nA: 1\r\nA: 2\r\n\r\n", 200, "OK", {{"A", "2"}}, ""},
        {"names that differ in case are two",
         "R 200 OK\r\nA: 1\r\na: 2\r\n\r\n",
         200,
         "OK",
         {{"A", "1"}, {"a", "2"}},
         ""},
        {"body with blank lines", "R 200 OK\r\n\r\na\r\n\r\nb", 200, "OK", {}, "a\r\n\r\nb"},
        {"body without headers in front", "R 200 OK\r\n\r\nA: 1\r\n", 200, "OK", {}, "A: 1\r\n"},
        {"bare line feeds end no line", "R 200 OK\nA: 1\n\nbody", 200, "OK\nA: 1\n\nbody", {}, ""},
        {"blank line at the very beginning is none", "\r\n\r\nbody", 0, "", {}, ""},
        {"zero bytes",
         "R 200 OK\r\nA: 1\0"
         "2\r\n\r\n\0b"s,
         200,
         "OK",
         {{"A", "1\0"
                "2"s}},
         "\0b"s},
    };
    for (const ResponseCase& each : cases)
    {
        RtspResponse response;
        response.statusCode = 4711;
        response.reason = "left over";
        response.body = "left over";
        response.headers["left"] = "over";
        EXPECT_TRUE(response.ParseResponse(each.text)) << each.why;
        EXPECT_EQ(each.statusCode, response.statusCode) << each.why;
        EXPECT_EQ(each.reason, response.reason) << each.why;
        EXPECT_EQ(each.headers, response.headers) << each.why;
        EXPECT_EQ(each.body, response.body) << each.why;
    }
}

TEST(RtspResponse, EmptyTextIsNone)
{
    RtspResponse response;
    response.statusCode = 200;
    EXPECT_FALSE(response.ParseResponse(""));
    EXPECT_EQ(0, response.statusCode);
}

// RFC 2326 has header names without regard to case. Cameras that this client was made for write them as the RFC does,
// and a reply is read no other way.
TEST(RtspResponse, HeaderNamesAreCaseSensitive)
{
    RtspResponse response;
    ASSERT_TRUE(response.ParseResponse("RTSP/1.0 200 OK\r\nsession: 1\r\nSession: 2\r\n\r\n"));
    EXPECT_EQ("2", response.Header("Session"));
    EXPECT_EQ("1", response.Header("session"));
    EXPECT_EQ("", response.Header("SESSION"));
    EXPECT_EQ("", response.Header("Transport"));
}

TEST(RtspResponse, StatusFrom200To299IsSuccess)
{
    for (const auto& [statusCode, isSuccess] : std::vector<std::pair<std::int32_t, bool>>{
             {0, false}, {100, false}, {199, false}, {200, true}, {250, true}, {299, true}, {300, false}, {401, false}})
    {
        RtspResponse response;
        response.statusCode = statusCode;
        EXPECT_EQ(isSuccess, response.IsSuccess()) << statusCode;
    }
}

TEST(NextCSeq, CountsOnFromOneAfterTheLargest)
{
    EXPECT_EQ(2, NextCSeq(1));
    EXPECT_EQ(2'147'483'647, NextCSeq(2'147'483'646));
    EXPECT_EQ(1, NextCSeq(2'147'483'647));
}
} // namespace
