#include "Demo/DemoChecks.h"

#include <gmock/gmock.h>

#include <array>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(DemoChecks, RequestsAreJudgedByPathStatusAndCredentials)
{
    struct Row
    {
        const char* reason;
        std::vector<ReceivedRequest> received;
        std::vector<std::string> expected;
        bool needsAuthorization;
        std::size_t countProblems;
    };
    const Row rows[] = {
        {"nothing asked, nothing received", {}, {}, true, 0},
        {"one request", {{"GET", "/a?x=1", 200, true}}, {"a"}, true, 0},
        {"a target without a slash is the same path", {{"GET", "a?x=1", 200, true}}, {"a"}, true, 0},
        {"a challenge and its answer count once",
         {{"GET", "/a", 401, false}, {"GET", "/a", 200, true}},
         {"a"},
         true,
         0},
        {"a refusal that nothing follows", {{"GET", "/a", 401, true}}, {"a"}, true, 1},
        {"a second refusal", {{"GET", "/a", 401, false}, {"GET", "/a", 401, true}}, {"a"}, true, 1},
        {"a refusal before another request", {{"GET", "/a", 401, true}, {"GET", "/b", 200, true}}, {"a", "b"}, true, 1},
        {"one request too many", {{"GET", "/a", 200, true}, {"GET", "/b", 200, true}}, {"a"}, true, 1},
        {"one request too few", {}, {"a"}, true, 1},
        {"wrong order", {{"GET", "/b", 200, true}, {"GET", "/a", 200, true}}, {"a", "b"}, true, 1},
        {"an error status", {{"GET", "/a", 500, true}}, {"a"}, true, 1},
        {"no credentials where they are needed", {{"GET", "/a", 200, false}}, {"a"}, true, 1},
        {"no credentials where none are needed", {{"GET", "/a", 200, false}}, {"a"}, false, 0},
        {"a movement without an answer's body", {{"GET", "/a", 204, true}}, {"a"}, true, 0},
        {"a tunnel brings no credentials and its POST gets no answer",
         {{"GET", "/axis-media/m", 200, false}, {"POST", "/axis-media/m", 0, false}},
         {"*"},
         true,
         0},
        {"a tunnel's POST that is sent again when its connection has ended",
         {{"POST", "/axis-media/m", 0, false}},
         {},
         true,
         0},
        {"a tunnel's POST that is refused", {{"POST", "/axis-media/m", 503, false}}, {"*"}, true, 1},
        {"another request without an answer", {{"GET", "/a", 0, true}}, {"*"}, true, 1},
        {"RTSP without credentials", {{"PLAY", "rtsp://c/m", 200, false}}, {"*"}, true, 0},
        {"RTSP that is refused", {{"PLAY", "rtsp://c/m", 401, false}}, {"*"}, true, 1},
        {"the probe of the other family",
         {{"GET", "/command/inquiry.cgi?inq=system", 404, true},
          {"GET", "/axis-cgi/com/ptz.cgi?whoami=yes", 200, true}},
         {"*"},
         true,
         0},
        {"the same from a camera of its own family",
         {{"GET", "/command/inquiry.cgi?inq=system", 404, true}},
         {"*"},
         true,
         1},
        {"anything goes", {{"GET", "/x", 200, true}, {"GET", "/y", 200, true}}, {"*"}, true, 0},
        {"anything goes, but not an error", {{"GET", "/x", 404, true}}, {"*"}, true, 1},
    };
    for (const Row& row : rows)
        EXPECT_EQ(DemoChecks::Requests(row.received, row.expected, row.needsAuthorization).size(), row.countProblems)
            << row.reason;
}

TEST(DemoChecks, EveryDifferingSettingIsNamed)
{
    const StreamSettings camera{"239.0.0.1", 1, 2, 3, 4, 5, 6, {7, 8, 9, StreamCodec::kH264}};
    EXPECT_THAT(DemoChecks::Settings(camera, camera), IsEmpty());
    const StreamSettings other{"239.0.0.2", 11, 12, 13, 14, 15, 16, {17, 8, 9, StreamCodec::kMpeg4}};
    EXPECT_THAT(DemoChecks::Settings(other, camera),
                ElementsAre(HasSubstr("17x8@9, the camera has 7x8@9"), HasSubstr("codec"), HasSubstr("bit rate"),
                            HasSubstr("volume"), HasSubstr("239.0.0.2"), HasSubstr("multicast video port"),
                            HasSubstr("multicast audio port"), HasSubstr("unicast video port"),
                            HasSubstr("unicast audio port")));
}

TEST(DemoChecks, StreamIsOneSourceInSequence)
{
    using Packets = std::vector<RtpHeader>;
    EXPECT_THAT(DemoChecks::Stream(Packets{{96, 65535, 0, 7}, {96, 0, 0, 7}}, 2, 0), IsEmpty()) << "numbers wrap";
    EXPECT_THAT(DemoChecks::Stream(Packets{{96, 1, 0, 7}}, 2, 0), ElementsAre(HasSubstr("only 1")));
    EXPECT_THAT(DemoChecks::Stream(Packets{{96, 1, 0, 7}, {96, 3, 0, 7}}, 2, 0), ElementsAre(HasSubstr("sequence")));
    EXPECT_THAT(DemoChecks::Stream(Packets{{96, 1, 0, 7}, {96, 2, 0, 8}}, 2, 0), ElementsAre(HasSubstr("source")));
    EXPECT_THAT(DemoChecks::Stream(Packets{{96, 1, 0, 7}}, 1, 3), ElementsAre(HasSubstr("3 datagrams")));
}

} // namespace
