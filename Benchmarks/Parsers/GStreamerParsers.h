#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// GStreamer's parsers, behind an interface without its headers. One thread. Everything that is not parsing (making
/// room before, giving it back afterwards) happens outside of the methods that are timed.

/// Parses one SDP text into many messages.
class CGStreamerSdp
{
public:
    CGStreamerSdp(std::string_view text, std::size_t count);
    ~CGStreamerSdp();
    CGStreamerSdp(const CGStreamerSdp&) = delete;
    CGStreamerSdp& operator=(const CGStreamerSdp&) = delete;

    /// Fresh messages for the next Parse.
    void Renew();
    /// The timed part: each message parses the text once. False when one of them could not.
    bool Parse() noexcept;

    // What the last message has found.
    std::string SessionName() const;
    std::size_t MediaCount() const;

private:
    struct Messages;
    std::string_view m_text;
    std::unique_ptr<Messages> m_messages;
};

/// Parses one sequence parameter set many times.
class CGStreamerSps
{
public:
    /// `nalUnit` with its header and without a start code.
    explicit CGStreamerSps(const std::string& nalUnit);
    ~CGStreamerSps();
    CGStreamerSps(const CGStreamerSps&) = delete;
    CGStreamerSps& operator=(const CGStreamerSps&) = delete;

    /// The timed part. False when the set could not be parsed.
    bool Parse(std::size_t count) noexcept;

    std::uint32_t WidthInMacroblocks() const;
    std::uint32_t CropBottom() const;

private:
    struct Unit;
    std::unique_ptr<Unit> m_unit;
};
