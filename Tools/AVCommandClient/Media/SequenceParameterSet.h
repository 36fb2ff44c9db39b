#pragma once

#include <optional>
#include <string>
#include <string_view>

/// What a sequence parameter set (ITU-T H.264, 7.3.2.1.1) says about the stream.
struct SequenceInfo
{
    unsigned profileIdc = 0;
    unsigned constraints = 0;
    unsigned levelIdc = 0;
    unsigned width = 0;
    unsigned height = 0;

    bool operator==(const SequenceInfo&) const = default;
};

namespace SequenceParameterSet
{
/// `unit` is a NAL unit with its header, without a start code. Nothing when it is of another type, cut short or absurd.
std::optional<SequenceInfo> Parse(std::string_view unit);

/// "main", "constrained baseline"; "profile 144" for one without a name here.
std::string ProfileText(const SequenceInfo& info);
/// RFC 6184, 8.1: "4D401F"; `unit` is one that Parse accepts.
std::string ProfileLevelId(std::string_view unit);
/// "3.1"
std::string LevelText(const SequenceInfo& info);
} // namespace SequenceParameterSet
