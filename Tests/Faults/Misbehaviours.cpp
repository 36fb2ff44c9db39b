#include "Tests/Faults/Misbehaviour.h"

namespace
{
constexpr unsigned kHttp = kCgi | kTunnelGet;
constexpr unsigned kAny = kCgi | kTunnelGet | kTunnelPost | kRtsp;
constexpr unsigned kReplies = kCgi | kTunnelGet | kRtsp;

std::string Nul(const char* text, std::size_t sizeBytes)
{
    return {text, sizeBytes};
}

const std::vector<Misbehaviour>& Closing()
{
    static const std::vector<Misbehaviour> rows = {
        {"connection refused", "closing", kHttp, {}, kHttp},
        {"closed without a byte", "closing", kAny, {"drop"}, kAny},
        {"closed inside the head", "closing", kReplies, {"drop-in-headers"}},
        {"closed behind the head", "closing", kReplies, {"drop-after-headers"}},
        {"closed inside the body", "closing", kCgi | kRtsp, {"truncate"}},
        {"reset without a byte", "closing", kAny, {"drop", "reset"}, kAny},
        {"reset inside the head", "closing", kReplies, {"drop-in-headers", "reset"}},
        {"reset inside the body", "closing", kCgi | kRtsp, {"truncate", "reset"}},
        {"half-closed without a byte", "closing", kAny, {"drop", "half-close"}, kAny},
        {"half-closed inside the body", "closing", kCgi | kRtsp, {"truncate", "half-close"}},
        {"half-closed behind the reply", "closing", kReplies, {"half-close"}},
        {"GET closed instead of a reply", "closing", kRtsp, {"drop-get"}, kRtsp},
        {"GET reset instead of a reply", "closing", kRtsp, {"drop-get:reset"}, kRtsp},
        {"POST closed behind the reply", "closing", kRtsp, {"drop-post"}},
        {"POST reset behind the reply", "closing", kRtsp, {"drop-post:reset"}},
        {"POST answered and closed", "closing", kRtsp, {"drop-post:answer"}},
        {"session expired", "closing", kRtsp, {"expire"}},
    };
    return rows;
}

const std::vector<Misbehaviour>& Slow()
{
    static const std::vector<Misbehaviour> rows = {
        {"accepted, then silence", "slow", kAny, {"silent"}, kAny},
        {"reply 100 ms late", "slow", kReplies, {"delay:100"}},
        {"reply 1.5 s late", "slow", kCgi, {"delay:1500"}, kCgi},
        {"reply 5 s late", "slow", kTunnelGet | kRtsp, {"delay:5000"}, kTunnelGet | kRtsp},
        {"body 1.5 s late", "slow", kCgi, {"body-delay:1500"}},
        {"body 5 s late", "slow", kRtsp, {"body-delay:5000"}},
        {"a byte every 5 ms", "slow", kReplies, {"drip:5"}, 0, nullptr, true},
        {"a byte every 50 ms", "slow", kReplies, {"drip:50"}, 0, nullptr, true},
        {"4 KB every 300 ms for ever", "slow", kCgi, {"big-body:16777216", "trickle:300"}, 0, nullptr, true},
        {"reply in two pieces", "slow", kRtsp, {"split:10"}},
        {"head and body apart", "slow", kRtsp, {"split:60"}},
    };
    return rows;
}

const std::vector<Misbehaviour>& Framing()
{
    static const std::vector<Misbehaviour> rows = {
        {"body longer than announced", "framing", kCgi, {"length:5"}},
        {"body shorter than announced", "framing", kCgi, {"length:1000000"}},
        {"Content-Length 0", "framing", kHttp, {"length:0"}},
        {"Content-Length -1", "framing", kHttp, {"length:-1"}},
        {"Content-Length 2^32", "framing", kHttp, {"length:4294967296"}},
        {"Content-Length of 20 digits", "framing", kHttp, {"length:99999999999999999999"}},
        {"Content-Length no number", "framing", kHttp, {"length:soon"}},
        {"body longer than announced", "framing", kRtsp, {"header:Content-Length=5"}},
        {"body shorter than announced", "framing", kRtsp, {"header:Content-Length=1000000"}},
        {"Content-Length -1", "framing", kRtsp, {"header:Content-Length=-1"}},
        {"Content-Length of 20 digits", "framing", kRtsp, {"header:Content-Length=99999999999999999999"}},
        {"chunks of one byte", "framing", kCgi, {"chunked:1"}},
        {"chunks, cut", "framing", kCgi, {"chunked:7", "truncate"}},
        {"chunk of bad length",
         "framing",
         kHttp,
         {"garbage:HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"}},
        {"chunk of endless length",
         "framing",
         kHttp,
         {"garbage:HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\nabc"}},
        {"two lengths",
         "framing",
         kHttp,
         {"garbage:HTTP/1.1 200 OK\r\nContent-Length: 3\r\nContent-Length: 9\r\n\r\nabc"}},
        {"1xx first", "framing", kAny, {"interim"}},
        {"101 first", "framing", kAny, {"interim:101"}},
        {"103 first", "framing", kReplies, {"interim:103"}},
        {"five hundred times 100 first", "framing", kReplies, std::vector<std::string>(500, "interim")},
        {"two replies in one", "framing", kRtsp, {"glue"}},
        {"another reply behind it", "framing", kRtsp, {"append"}},
        {"garbage behind it", "framing", kRtsp, {"append:$\x7F garbage"}},
        {"wrong CSeq", "framing", kRtsp, {"cseq:99999"}},
        {"CSeq of an earlier request", "framing", kRtsp, {"cseq:1"}},
        {"no CSeq", "framing", kRtsp, {"cseq:"}},
        {"CSeq no number", "framing", kRtsp, {"cseq:soon"}},
    };
    return rows;
}

const std::vector<Misbehaviour>& Content()
{
    static const std::vector<Misbehaviour> rows = {
        {"garbage", "content", kAny, {"garbage"}},
        {"garbage of 1 MB", "content", kReplies, {"garbage:" + std::string(1 << 20, '\xA5')}},
        {"blank lines", "content", kReplies, {"garbage:\r\n\r\n\r\n\r\n"}},
        {"half a status line", "content", kReplies, {"garbage:HTTP/1.1"}},
        {"status line without a status", "content", kReplies, {"garbage:HTTP/1.1 \r\n\r\n"}},
        {"status no number", "content", kReplies, {"garbage:HTTP/1.1 abc OK\r\n\r\n"}},
        {"header without a colon", "content", kReplies, {"garbage:HTTP/1.1 200 OK\r\nno colon\r\n\r\n"}},
        {"zero bytes", "content", kReplies, {Nul("garbage:\0\0\0\0\r\n\r\n", 16)}},
        {"RTSP instead of HTTP", "content", kHttp, {"garbage:RTSP/1.0 200 OK\r\nCSeq: 1\r\n\r\n"}},
        {"header of 64 KB", "content", kReplies, {"big-head:65536"}},
        {"header of 1 MB", "content", kReplies, {"big-head:1048576"}},
        {"header of 20 MB", "content", kReplies, {"big-head:20971520"}, 0, nullptr, true},
        {"1000 headers", "content", kReplies, {"many-headers:1000"}},
        {"body of 256 KB", "content", kRtsp, {"big-body:262144"}, 0, nullptr, true},
        {"body of 1 MB", "content", kCgi, {"big-body:1048576"}},
        {"body of more than 16 MB",
         "content",
         kCgi | kTunnelGet | kTunnelStream | kDescribe,
         {"big-body:16777217"},
         0,
         nullptr,
         true},
        {"empty body", "content", kCgi | kRtsp, {"body:"}},
        {"body of separators", "content", kCgi | kRtsp, {"body:&&&===&=\r\n=\r\n.=&McAddress1"}},
        {"body of formats", "content", kCgi | kRtsp, {"body:%s%n%s%n%999999d=%ls%n"}},
        {"Session header missing", "content", kRtsp, {"header:Session="}},
        {"session id of 8 KB", "content", kRtsp, {"header:Session=" + std::string(8192, 'x') + ";timeout=1"}},
        {"session time of 0", "content", kRtsp, {"header:Session=1;timeout=0"}},
        {"session time of 20 digits", "content", kRtsp, {"header:Session=1;timeout=99999999999999999999"}},
        {"Transport header missing", "content", kRtsp, {"header:Transport="}},
        {"Transport header of separators", "content", kRtsp, {"header:Transport=;;=;port=-;ssrc==;ttl=x;,,"}},
        {"RTP-Info of separators", "content", kRtsp, {"header:RTP-Info=,;=,;seq=,url=;;seq==1,"}},
        {"Content-Base garbage", "content", kRtsp, {"header:Content-Base=://%%/\x7F"}},
    };
    return rows;
}

/// No reply of these is the camera's own.
std::vector<Misbehaviour> Failing(std::vector<Misbehaviour> rows)
{
    for (Misbehaviour& row : rows)
        row.fails = row.spoils;
    return rows;
}

const std::vector<Misbehaviour>& Credentials()
{
    static const std::vector<Misbehaviour> rows = {
        {"401 for ever", "credentials", kAny, {"challenge"}, 0, nullptr, false, true},
        {"401 without a challenge", "credentials", kReplies, {"no-challenge"}, 0, nullptr, false, true},
        {"401, always stale",
         "credentials",
         kReplies,
         {"status:401"},
         0,
         "WWW-Authenticate: Digest realm=\"r\", nonce=\"n\", stale=true",
         false,
         true},
        {"401, unknown scheme", "credentials", kReplies, {"status:401"}, 0, "WWW-Authenticate: Secret", false, true},
        {"401, the system's scheme", "credentials", kReplies, {"status:401"}, 0, "WWW-Authenticate: NTLM", false, true},
        {"401, Digest and no more",
         "credentials",
         kReplies,
         {"status:401"},
         0,
         "WWW-Authenticate: Digest",
         false,
         true},
        {"407", "credentials", kReplies, {"status:407"}, 0, "Proxy-Authenticate: Basic realm=\"r\"", false, true},
        {"401, then silence", "credentials", kCgi | kRtsp, {"challenge*1", "silent"}, 0, nullptr, false, true, true},
    };
    return rows;
}

const std::vector<Misbehaviour>& Redirects()
{
    static const std::vector<Misbehaviour> rows = {
        {"redirected for ever", "redirects", kAny, {"redirect"}},
        {"redirected to a closed port", "redirects", kReplies, {"redirect:http://127.0.0.1:1/"}},
        {"redirected to TLS on a closed port", "redirects", kHttp, {"redirect:https://127.0.0.1:1/"}},
        {"redirected to another scheme", "redirects", kHttp, {"redirect:rtsp://127.0.0.1:1/"}},
        {"redirected nowhere", "redirects", kHttp, {"redirect:"}},
        {"redirected to a place of 64 KB", "redirects", kHttp, {"redirect:/" + std::string(65536, 'x')}},
        {"302 without a place", "redirects", kHttp, {"status:302"}},
    };
    return rows;
}

void AppendStatuses(std::vector<Misbehaviour>& rows, const char* kind, unsigned spoils, std::vector<unsigned> statuses,
                    unsigned fails)
{
    for (const unsigned status : statuses)
        rows.push_back({"status " + std::to_string(status), kind, spoils, {"status:" + std::to_string(status)}, fails});
}

void AppendRange(std::vector<unsigned>& statuses, unsigned first, unsigned last)
{
    for (unsigned status = first; status <= last; ++status)
        statuses.push_back(status);
}

/// 401 and 407 stand with the credentials.
std::vector<Misbehaviour> Statuses()
{
    std::vector<unsigned> others;
    AppendRange(others, 201, 206);
    AppendRange(others, 300, 308);
    std::vector<unsigned> refusals;
    AppendRange(refusals, 400, 400);
    AppendRange(refusals, 402, 406);
    AppendRange(refusals, 408, 431);
    AppendRange(refusals, 451, 451);
    std::vector<unsigned> failures;
    AppendRange(failures, 501, 511);
    std::vector<unsigned> rtspOnly;
    AppendRange(rtspOnly, 452, 462);
    rtspOnly.push_back(551);
    std::vector<Misbehaviour> rows;
    AppendStatuses(rows, "status 2xx, 3xx", kReplies, others, 0);
    AppendStatuses(rows, "status 4xx", kReplies, refusals, kReplies);
    AppendStatuses(rows, "status 4xx", kRtsp, rtspOnly, kRtsp);
    AppendStatuses(rows, "status 4xx", kTunnelPost, {400, 404}, kTunnelPost);
    // Over HTTP 500 without a body is taken for success.
    AppendStatuses(rows, "status 5xx", kReplies, {500}, kRtsp);
    AppendStatuses(rows, "status 5xx", kReplies, failures, kReplies);
    AppendStatuses(rows, "status 5xx", kTunnelPost, {500, 503}, kTunnelPost);
    AppendStatuses(rows, "status 6xx", kReplies, {600, 999}, kReplies);
    return rows;
}
} // namespace

std::vector<Misbehaviour> Misbehaviours::All()
{
    std::vector<Misbehaviour> all;
    for (const std::vector<Misbehaviour>& rows :
         {Closing(), Slow(), Framing(), Content(), Failing(Credentials()), Failing(Redirects()), Statuses()})
        all.insert(all.end(), rows.begin(), rows.end());
    return all;
}
