#include "CameraSim/Faults/FaultScript.h"
#include "CameraSim/Faults/FaultTable.h"

#include <gtest/gtest.h>

namespace
{

TEST(FaultText, ReadsKindArgumentPathAndCount)
{
    const Fault full = FaultText::Parse("delay:1500@command/inquiry.cgi*2");
    EXPECT_EQ(FaultKind::Delay, full.kind);
    EXPECT_EQ(1500u, full.milliseconds);
    EXPECT_EQ("command/inquiry.cgi", full.path);
    EXPECT_EQ(2u, full.count);

    const Fault bare = FaultText::Parse("silent");
    EXPECT_EQ(FaultKind::Silent, bare.kind);
    EXPECT_EQ("", bare.path);
    EXPECT_EQ(0u, bare.count) << "until it is removed";

    EXPECT_EQ("audio", FaultText::Parse("drop@/audio").path) << "the leading slash does not matter";
    EXPECT_EQ("ModelName=X&Serial=1", FaultText::Parse("body:ModelName=X&Serial=1@command").text);
    EXPECT_EQ(404u, FaultText::Parse("status:404").status);
    EXPECT_EQ(7u, FaultText::Parse("chunked:7").sizeBytes);
    EXPECT_EQ(7u, FaultText::Parse("drip:7").milliseconds);
    EXPECT_EQ(103u, FaultText::Parse("interim:103").status);
    EXPECT_EQ(7u, FaultText::Parse("big-head:7").sizeBytes);
    EXPECT_EQ(7u, FaultText::Parse("many-headers:7").sizeBytes);
    EXPECT_EQ("-1", FaultText::Parse("length:-1").text);
    EXPECT_EQ("http://127.0.0.1:1/", FaultText::Parse("redirect:http://127.0.0.1:1/").text);
}

TEST(FaultText, EveryKindHasANameThatIsRead)
{
    const std::string names = FaultText::AllNames();
    EXPECT_EQ("delay, body-delay, drop, drop-in-headers, drop-after-headers, garbage, status, truncate, silent, "
              "no-challenge, big-body, chunked, drip, trickle, body, reset, half-close, interim, big-head, "
              "many-headers, length, "
              "redirect, challenge, drop-get, drop-post, split, glue, append, cseq, header, expire",
              names);
    for (int kind = 0; kind <= static_cast<int>(FaultKind::Expire); ++kind)
    {
        const auto name = FaultText::Name(static_cast<FaultKind>(kind));
        EXPECT_EQ(static_cast<FaultKind>(kind), FaultText::KindFromName(name)) << name;
        const bool needsArgument = name == "header";
        const std::string text = std::string(name) + (needsArgument ? ":A=1" : "");
        EXPECT_EQ(static_cast<FaultKind>(kind), FaultText::Parse(text).kind) << name;
    }
}

TEST(FaultText, RefusesNonsense)
{
    for (const char* text : {"",
                             "explode",
                             "delay:soon",
                             "delay:99999999",
                             "status:99",
                             "status:1000",
                             "status:",
                             "header",
                             "split:x",
                             "big-body:0",
                             "big-body:999999999",
                             "chunked:0",
                             "silent:5",
                             "reset:5",
                             "half-close:5",
                             "interim:99",
                             "interim:200",
                             "big-head:999999999",
                             "many-headers:1000001",
                             "many-headers:-1",
                             "challenge:x",
                             "drop*many",
                             "drop*-1"})
        EXPECT_THROW(FaultText::Parse(text), std::invalid_argument) << text;
}

TEST(FaultTable, CountsSkipsAndMatchesPaths)
{
    CFaultTable table;
    Fault fault = FaultText::WithDefaults(FaultKind::Drop);
    fault.path = "audio";
    fault.skip = 1;
    fault.count = 2;
    table.Add(fault);
    const auto hits = [&](const char* target) { return table.Take(target, false).size(); };
    EXPECT_EQ(0u, hits("/mpeg4"));
    EXPECT_EQ(0u, hits("/audio?x=1")) << "skipped";
    EXPECT_EQ(1u, hits("/audio?x=1"));
    EXPECT_EQ(1u, table.Waiting()[0].count);
    EXPECT_EQ(1u, hits("/audio"));
    EXPECT_EQ(0u, hits("/audio"));
    EXPECT_TRUE(table.Waiting().empty());
}

TEST(FaultTable, SomeWaitForAuthentication)
{
    CFaultTable table;
    table.Add(FaultText::Parse("body:x"));
    Fault late = FaultText::Parse("drop");
    late.afterAuthentication = true;
    table.Add(late);
    table.Add(FaultText::Parse("delay"));
    EXPECT_EQ(1u, table.Take("/", false).size());
    EXPECT_EQ(2u, table.Take("/", true).size());
    EXPECT_EQ(3u, table.Waiting().size()) << "without a count they stay";
}

TEST(FaultTable, IsBounded)
{
    CFaultTable table;
    for (std::size_t i = 0; i < CFaultTable::kMaxFaults; ++i)
        table.Add(FaultText::Parse("drop"));
    EXPECT_THROW(table.Add(FaultText::Parse("drop")), std::invalid_argument);
}

TEST(FaultScript, WithoutFaultsTheReplyIsOneWrite)
{
    const ReplyScript script = FaultScript::Build(HttpReply::Text(200, "abcd"), {}, true, false);
    ASSERT_EQ(1u, script.size());
    EXPECT_TRUE(script[0].bytes.ends_with("\r\n\r\nabcd"));
    const ReplyScript closing = FaultScript::Build(HttpReply::Text(200, "abcd"), {}, false, false);
    ASSERT_EQ(2u, closing.size());
    EXPECT_EQ(ReplyStep::Kind::Close, closing[1].kind);
}

TEST(FaultScript, ResetAndHalfCloseTakeThePlaceOfTheClose)
{
    using Kind = ReplyStep::Kind;
    const struct
    {
        const char* reason;
        std::vector<const char*> faults;
        std::vector<Kind> steps;
    } rows[] = {
        {"a reset alone leaves no answer", {"reset"}, {Kind::Reset}},
        {"instead of a close without a byte", {"drop", "reset"}, {Kind::Reset}},
        {"inside the head", {"reset", "drop-in-headers"}, {Kind::Send, Kind::Reset}},
        {"inside the body", {"truncate", "reset"}, {Kind::Send, Kind::Send, Kind::Reset}},
        {"half a close comes behind the answer", {"half-close"}, {Kind::Send, Kind::Send, Kind::HalfClose, Kind::Hold}},
        {"or without a byte", {"drop", "half-close"}, {Kind::HalfClose, Kind::Hold}},
        {"or inside the body", {"truncate", "half-close"}, {Kind::Send, Kind::Send, Kind::HalfClose, Kind::Hold}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        std::vector<Fault> faults;
        for (const char* text : row.faults)
            faults.push_back(FaultText::Parse(text));
        std::vector<Kind> steps;
        for (const ReplyStep& step : FaultScript::Build(HttpReply::Text(200, "abcd"), faults, true, false))
            steps.push_back(step.kind);
        EXPECT_EQ(row.steps, steps);
    }
}

TEST(FaultScript, SeveralFaultsAddUp)
{
    const std::vector<Fault> faults{FaultText::Parse("delay:7"), FaultText::Parse("body-delay:8"),
                                    FaultText::Parse("truncate")};
    const ReplyScript script = FaultScript::Build(HttpReply::Text(200, "abcd"), faults, true, false);
    ASSERT_EQ(5u, script.size());
    EXPECT_EQ(7u, script[0].milliseconds);
    EXPECT_TRUE(script[1].bytes.starts_with("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ("ab", script[2].bytes);
    EXPECT_EQ(8u, script[3].milliseconds);
    EXPECT_EQ(ReplyStep::Kind::Close, script[4].kind);
}

} // namespace
