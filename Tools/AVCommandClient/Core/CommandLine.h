#pragma once

#include "Core/Camera.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

enum class Verb
{
    kInfo,
    kSettings,
    kSizes,
    kSetSize,
    kSetBitRate,
    kSetVolume,
    kPtzStep,
    kPtzStart,
    kPtzStop,
    kPtzArea,
    kStartVideo,
    kStartAudio,
    kStream,
    kH264,
    kPause,
    kStop,
    kRegister,
    kUnregister,
    kDemo
};

/// One well-formed command line. Fields that the verb does not use keep their defaults.
struct ClientArguments
{
    Verb verb = Verb::kInfo;
    /// As typed, for messages: "set-size", "ptz step".
    std::string verbText;
    CameraAddress camera;
    bool isJson = false;
    bool isVerbose = false;
    bool isUnregistered = false;
    /// Empty: the DLL beside the program.
    std::string dllPath;

    bool withRates = false;
    PictureFormat picture;
    std::optional<StreamCodec> codec;
    std::int32_t number = 0;
    MoveDirection direction = MoveDirection::kNone;
    StepSize stepSize = StepSize::k10;
    PictureArea area;
    StreamTarget target;
    /// Of `stream`: how long, from where, and where to write the video (empty: nowhere).
    std::int32_t seconds = 10;
    bool isMulticast = false;
    std::string outPath;
    bool withAudio = true;
    /// Of `pause`: the opposite.
    bool isResume = false;
    std::string simHost;
    std::uint16_t simPort = 0;
};

/// What a command line led to: arguments, or a text to print and the exit code to leave with.
struct ParseOutcome
{
    std::optional<ClientArguments> arguments;
    int exitCode = 0;
    /// Help (exit code 0, standard output) or one line that says what is wrong (exit code 2, standard error).
    std::string message;
};

namespace CommandLine
{
/// `words` is the command line without the program's name, in UTF-8. `environmentPassword` is the value of
/// AVCOMMAND_PASSWORD, if it is set; `standardInput` is read (one line) only for --password-stdin.
ParseOutcome Parse(const std::vector<std::string>& words, const std::optional<std::string>& environmentPassword,
                   std::istream& standardInput);
} // namespace CommandLine
