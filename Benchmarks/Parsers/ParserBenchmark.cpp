// The portable parsers against GStreamer's, on the same texts and sets, in turn, round by round; what counts is the
// median of the ratios of the rounds. See docs/benchmarks.md.

#include "GStreamerParsers.h"
#include "IPELAFilters/NalBitStream.h"
#include "IPELAFilters/SpsInfo.h"
#include "Protocol/Base64.h"
#include "Protocol/SdpParser.h"
#include "Tests/Corpus/H264/ParameterSets.h"
#include "Tests/Corpus/Sdp/SessionDescriptions.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace
{
constexpr int kWarmUpRounds = 20;
constexpr std::size_t kTextsPerRound = 20;
constexpr std::size_t kSetsPerRound = 200;
constexpr double kSdpAtMost = 1.0 / 3;
constexpr double kSpsAtMost = 1.0 / 5;

struct Side
{
    std::function<bool()> parse;
    /// Outside of the time, right before it: each side finds the memory that it has given back itself, and not the
    /// other one's to tidy up.
    std::function<void()> renew;
};

/// One text or set, parsed by both sides.
struct Subject
{
    std::string name;
    std::size_t parsesPerRound;
    Side measured;
    Side reference;
};

[[noreturn]] void Fail(const std::string& message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(1);
}

double Nanoseconds(const Subject& subject, const Side& side)
{
    side.renew();
    const auto start = std::chrono::steady_clock::now();
    const bool isGood = side.parse();
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
    if (!isGood)
        Fail("a parser refused: " + subject.name);
    return took.count() / static_cast<double>(subject.parsesPerRound);
}

double Quantile(std::vector<double> values, double part)
{
    std::ranges::sort(values);
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

/// One line for each subject, then one for all of them together, which decides. What is compared are pairs: the two
/// sides, one right behind the other, so short that few of them are disturbed.
bool Measure(const char* title, const std::vector<Subject>& subjects, int rounds, double atMost)
{
    std::printf("%s: median ns ours, theirs, and of the ratios of %d pairs\n", title, rounds);
    std::vector<double> allRatios;
    for (const Subject& subject : subjects)
    {
        std::vector<double> measured;
        std::vector<double> reference;
        std::vector<double> ratios;
        for (int round = -kWarmUpRounds; round < rounds; ++round)
        {
            // The order changes from round to round, so that neither side always finds the caches warmed by the other.
            const bool measuredFirst = round % 2 == 0;
            double times[2] = {};
            for (const bool isMeasured : {measuredFirst, !measuredFirst})
                times[isMeasured ? 0 : 1] = Nanoseconds(subject, isMeasured ? subject.measured : subject.reference);
            if (round < 0)
                continue;
            measured.push_back(times[0]);
            reference.push_back(times[1]);
            ratios.push_back(times[0] / times[1]);
        }
        std::printf("  %8.0f %8.0f  %5.3f  %s\n", Quantile(measured, 0.5), Quantile(reference, 0.5),
                    Quantile(ratios, 0.5), subject.name.c_str());
        allRatios.insert(allRatios.end(), ratios.begin(), ratios.end());
    }
    const double median = Quantile(allRatios, 0.5);
    const bool holds = median <= atMost;
    std::printf("  all pairs: %.3f   (quartiles %.3f .. %.3f)   at most %.3f: %s\n", median, Quantile(allRatios, 0.25),
                Quantile(allRatios, 0.75), atMost, holds ? "holds" : "MISSED");
    return holds;
}

Subject SdpSubject(const SdpCorpus::SessionDescription& camera)
{
    const auto ours = std::make_shared<std::vector<CSessionDescription>>(kTextsPerRound);
    const auto theirs = std::make_shared<CGStreamerSdp>(camera.text, kTextsPerRound);
    const std::string_view text = camera.text;
    const auto parseOurs = [ours, text] {
        for (CSessionDescription& description : *ours)
            description.Initialize(text, "rtsp://camera/media/");
        return true;
    };
    const auto renewOurs = [ours] {
        for (CSessionDescription& description : *ours)
            description.Clear();
    };
    Subject subject{.name = camera.shape,
                    .parsesPerRound = kTextsPerRound,
                    .measured = {parseOurs, renewOurs},
                    .reference = {[theirs] { return theirs->Parse(); }, [theirs] { theirs->Renew(); }}};
    // Both must have understood the same text, or nothing is compared.
    if (!subject.measured.parse() || !subject.reference.parse() || !ours->back().IsValid() ||
        ours->back().SessionName() != theirs->SessionName() || ours->back().Media().size() != theirs->MediaCount())
        Fail("the parsers differ about: " + subject.name);
    return subject;
}

/// The NAL header and the set behind it, into fields that are zeroed before.
bool Deserialize(const std::string& nalUnit, SpsInfo& sps)
{
    CNalBitStream reader(reinterpret_cast<const std::uint8_t*>(nalUnit.data()), nalUnit.size());
    reader.ReadBits(8);
    sps = {};
    return sps.Deserialize(reader);
}

Subject SpsSubject(const H264Corpus::ParameterSets& sets)
{
    std::string nalUnit(Base64::Decode(sets.sps), '\0');
    Base64::Decode(sets.sps, nalUnit.data());
    const auto theirs = std::make_shared<CGStreamerSps>(nalUnit);
    const auto ours = std::make_shared<SpsInfo>();
    const auto parseOurs = [ours, nalUnit] {
        bool isGood = true;
        for (std::size_t index = 0; index < kSetsPerRound; ++index)
            isGood &= Deserialize(nalUnit, *ours);
        return isGood;
    };
    Subject subject{.name = std::string(sets.encoder) + ", " + std::to_string(sets.width) + "x" +
                            std::to_string(sets.height),
                    .parsesPerRound = kSetsPerRound,
                    .measured = {parseOurs, [] {}},
                    .reference = {[theirs] { return theirs->Parse(kSetsPerRound); }, [] {}}};
    if (!subject.measured.parse() || !subject.reference.parse() ||
        ours->pic_width_in_mbs_minus1 + 1 != theirs->WidthInMacroblocks() ||
        ours->frame_crop_bottom_offset != theirs->CropBottom())
        Fail("the parsers differ about: " + subject.name);
    return subject;
}
} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc == 2 ? static_cast<int>(std::strtol(argv[1], nullptr, 10)) : 0;
    if (rounds <= 0)
        Fail("usage: ParserBenchmark ROUNDS (started by ./dev bench parsers)");
    std::vector<Subject> texts;
    for (const SdpCorpus::SessionDescription& camera : SdpCorpus::kCameras)
        texts.push_back(SdpSubject(camera));
    std::vector<Subject> sets;
    for (const H264Corpus::ParameterSets& each : H264Corpus::kProgressive420)
        sets.push_back(SpsSubject(each));
    const bool sdpHolds = Measure("SDP against gst_sdp_message_parse_buffer", texts, rounds, kSdpAtMost);
    const bool spsHolds = Measure("SPS against gst_h264_parse_sps", sets, rounds, kSpsAtMost);
    return sdpHolds && spsHolds ? 0 : 1;
}
