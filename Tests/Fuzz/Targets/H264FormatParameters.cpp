#include "Protocol/H264FormatParameters.h"
#include "Fuzz/FuzzTarget.h"
#include "Protocol/Base64.h"

using Fuzz::Require;

namespace
{
std::string WriteSet(const std::string& set)
{
    return set.empty() ? "!" : Base64::Encode(set); // "!" is not base64, and holds the first set's place
}

std::string Write(const H264FormatParameters& parameters)
{
    return "profile-level-id=" + parameters.profileLevelId +
           ";packetization-mode=" + std::to_string(parameters.packetizationMode) +
           ";sprop-parameter-sets=" + WriteSet(parameters.parameterSet1) + "," + WriteSet(parameters.parameterSet2);
}

/// The parameters of an fmtp attribute.
void FeedFormatParameters(std::string_view input)
{
    const H264FormatParameters parameters = H264FormatParameters::Parse(input);
    const std::size_t setBytes = parameters.parameterSet1.size() + parameters.parameterSet2.size();
    Require(setBytes <= input.size() * 3 / 4, "sets are no longer than three quarters of their text");
    const std::string written = Write(parameters);
    Require(Write(H264FormatParameters::Parse(written)) == written, "parameters read the same when written down");
}

const CFuzzTarget kH264FormatParameters("H264FormatParameters", FeedFormatParameters);
} // namespace
