#pragma once

#include <cstdint>
#include <string_view>

/// Parameter sets of real encoders, in base64 as a session description carries them: x264 (libx264 164 through ffmpeg
/// 5.1, with the bit stream filter h264_metadata for the cropped ones) and OpenH264 2.3 (through GStreamer 1.22).
/// The sizes are those that ffprobe reports for the stream.
namespace H264Corpus
{
struct ParameterSets
{
    const char* encoder;
    std::string_view sps;
    std::string_view pps;
    std::int32_t width;
    std::int32_t height;
};

inline constexpr ParameterSets kProgressive420[] = {
    {"x264 baseline", "Z0LAC9oLE7ARAAADAAEAAAMAMg8UKqA=", "aM4PyA==", 176, 144},
    {"x264 main", "Z01ADeygoP2AiAAAAwAIAAADAZB4oUyw", "aO+PyA==", 320, 240},
    {"x264 high", "Z2QADazZQWCWwEQAAAMABAAAAwDIPFCmWA==", "aO+Pyw==", 352, 288},
    {"x264 baseline", "Z0LAFdoHgj+sBEAAAAMAQAAADIPFi6g=", "aM4PyA==", 480, 270},
    {"x264 main", "Z01AHuygUBf8uAiAAAADAIAAABkHixbL", "aO+PyA==", 640, 360},
    {"x264 high", "Z2QAHqzZQKA9sBEAAAMAAQAAAwAyDxYtlg==", "aO+Pyw==", 640, 480},
    {"x264 baseline", "Z0LAHtoCwPbARAAAAwAEAAADAMg8WLqA", "aM4PyA==", 704, 480},
    {"x264 main", "Z01AHuygWAk2AiAAAAMAIAAABkHixbLA", "aO+PyA==", 704, 576},
    {"x264 high", "Z2QAHqzZQLQSbARAAAADAEAAAAyDxYtlgA==", "aO+Pyw==", 720, 576},
    {"x264 baseline", "Z0LAHtoDIO/iMBEAAAMAAQAAAwAyDxYuoA==", "aM4PyA==", 800, 450},
    {"x264 main", "Z01AH+ygIAMNgIgAAAMACAAAAwGQeMGMsA==", "aO+PyA==", 1024, 768},
    {"x264 high", "Z2QAH6zZQFAFuwEQAAADABAAAAMDIPGDGWA=", "aO+Pyw==", 1280, 720},
    {"x264 baseline", "Z0LAINoBQB5sBEAAAAMAQAAADIPGDKg=", "aM4PyA==", 1280, 960},
    {"x264 main", "Z01AKOygPAET8uAiAAADAAIAAAMAZB4wYyw=", "aO+PyA==", 1920, 1080},
    {"x264 high", "Z2QAMqzZQCAAwbARAAADAAEAAAMAMg8YMZY=", "aO+Pyw==", 2048, 1536},
    {"x264 baseline", "Z0LAMtoAogPX5cBEAAADAAQAAAMAyDxgyoA=", "aM4PyA==", 2592, 1944},
    {"x264 main", "Z01AMuygFQBf/LgIgAAAAwCAAAAZB4wYyw==", "aO+PyA==", 2688, 1512},
    {"x264 high", "Z2QAM6zZQDwAQ+wEQAAAAwBAAAAMg8YMZYA=", "aO+Pyw==", 3840, 2160},
    {"x264 baseline", "Z0LAC9oLP4iIwEQAAAMABAAAAwDIPFCqgA==", "aM4PyA==", 162, 98},
    {"x264 main", "Z01AIOygKwMPN4CIAAADAAgAAAMBkHjBjLA=", "aO+PyA==", 1366, 768},
    {"x264 high", "Z2QADazZQZH/iMBEAAADAAQAAAMAyDxQplg=", "aO+Pyw==", 400, 226},
    {"x264 baseline", "Z0LACtp7ARAAAAMAEAAAAwMg8SJq", "aM4PyA==", 16, 16},
    {"x264 main", "Z01ACuymvERGAiAAAAMAIAAABkHiRLLA", "aO+PyA==", 34, 18},
    {"x264 baseline", "Z0LAKNoB4AiflwEQAAADABAAAAMDIPGDKg==", "aM4PyA==", 1920, 1080},
    {"x264 high 10", "Z24AH6bNlAUAW7ARAAADAAEAAAMAMg8YMZY=", "aO+Pyw==", 1280, 720},
    {"x264 baseline, 12.5 fps", "Z0LAFtoCgPbARAAAAwAIAAADAMg8WLqA", "aM4PyA==", 640, 480},
    {"x264 high, colours and aspect ratio described",
     "Z2QAKKzZQHgCJ+X/wADAARuAgICgAAADACAAAAZB4wYywA==", "aO+Pyw==", 1920, 1080},
    {"x264 high, constant bit rate", "Z2QAH6zZQFAFuwEQAAADABAAAAMDJiYAD0JAAehOTDAHjBjL", "aO+8sA==", 1280, 720},
    {"x264 high, 16 reference frames, level 5.1", "Z2QAM6xyBEBQBbsBEAAAAwAQAAADAyDxgxhG", "aOhDj8s=", 1280, 720},
    {"OpenH264 constrained-baseline", "Z0LADYyNQKD5APCIRqA=", "aM48gA==", 320, 240},
    {"OpenH264 constrained-baseline", "Z0LAFYyNQPBG9QDwiEag", "aM48gA==", 480, 270},
    {"OpenH264 high", "Z2QMHqwZGoDIO/iIB4RCNQ==", "aM48gA==", 800, 450},
    {"OpenH264 constrained-baseline", "Z0LAH4yNQCgC3QDwiEag", "aM48gA==", 1280, 720},
    {"OpenH264 high", "Z2QMKKwZGoB4AiflgHhEI1A=", "aM48gA==", 1920, 1080},
    {"x264 high, cropped on several sides", "Z2QAKKzZQHgCJxIZLwEQAAADABAAAAMDIPGDGWA=", "aOvjyyLA", 1856, 1080},
    {"x264 high, cropped on several sides", "Z2QAHqzZQKA91fARAAADAAEAAAMAMg8WLZY=", "aOvjyyLA", 638, 476},
};

/// Streams whose crop units or macroblock rows are not those of progressive 4:2:0.
struct OtherParameterSets
{
    ParameterSets sets;
    const char* reason;
    std::int32_t formulaWidth;
    std::int32_t formulaHeight;
};

inline constexpr OtherParameterSets kOther[] = {
    {{"x264 main, interlaced", "Z01AKOygPAIn7wEQAAADABAAAAMDIfFi2WA=", "aP6PyA==", 1920, 1080},
     "a map unit is two macroblocks high, a crop unit four pixels",
     1920,
     540},
    {{"x264 high, interlaced", "Z2QAHqzZQLQk2AiAAAADAIAAABkPihTL", "aP6Pyw==", 720, 576},
     "a map unit is two macroblocks high",
     720,
     288},
    {{"x264 high 4:2:2", "Z3oAKLzZQHgCJ+JwEQAAAwABAAADADIPGDGW", "aO+Pyw==", 1920, 1080},
     "a crop unit is one pixel high",
     1920,
     1072},
    {{"x264 high 4:4:4", "Z/QAKJGbKA8ARPxOAiAAAAMAIAAABkHjBjLA", "aO+PGSGQ", 1920, 1080},
     "a crop unit is one pixel high",
     1920,
     1072},
    {{"x264 high 4:4:4, no cropping", "Z/QAH5GbKAoAt2AiAAADAAIAAAMAZB4wYyw=", "aO+PGSGQ", 1280, 720},
     "nothing is cropped: the same",
     1280,
     720},
    {{"x264 high 4:0:0", "Z2QAHvNlAoC/4nAWyAAAAwAIAAADAZB4sWyw", "aO+Pyw==", 640, 360},
     "a crop unit is one pixel high",
     640,
     352},
};
} // namespace H264Corpus
