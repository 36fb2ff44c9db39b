#include "Protocol/H264PictureSize.h"
#include "Fuzz/FuzzTarget.h"

#include <optional>

using Fuzz::Require;

namespace
{
std::optional<PictureSize> SizeOf(std::string_view set1, std::string_view set2)
{
    H264FormatParameters parameters;
    parameters.parameterSet1 = set1;
    parameters.parameterSet2 = set2;
    PictureSize size{-1, -1};
    if (H264PictureSize::GetH264ImageSizeFromSPS(parameters, size))
        return size;
    Require(size == PictureSize{-1, -1}, "a failure leaves the size untouched");
    return std::nullopt;
}

/// A parameter set, decoded.
void FeedParameterSet(std::string_view input)
{
    constexpr std::string_view kPictureParameterSet = "\x68\xCE\x3C\x80";
    const std::optional<PictureSize> size = SizeOf(kPictureParameterSet, input);
    if (size)
        Require(size->width % 2 == 0 && size->height % 2 == 0, "a size is a number of crop units");
    if (H264PictureSize::IsSequenceParameterSet(input))
        Require(SizeOf(input, kPictureParameterSet) == size, "the order of the sets does not count");
}

const CFuzzTarget kH264PictureSize("H264PictureSize", FeedParameterSet);
} // namespace
