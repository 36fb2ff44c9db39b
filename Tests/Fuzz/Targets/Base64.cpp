#include "Protocol/Base64.h"
#include "Fuzz/FuzzTarget.h"

#include <memory>

using Fuzz::Require;

namespace
{
/// Into a block of exactly the length that was told.
std::string Decode(std::string_view text)
{
    const std::size_t length = Base64::Decode(text);
    const auto bytes = std::make_unique_for_overwrite<char[]>(length);
    Require(Base64::Decode(text, bytes.get()) == length, "the length is the one that was told");
    return {bytes.get(), length};
}

/// A parameter set of a session description; and any bytes, encoded.
void FeedBase64(std::string_view input)
{
    const std::string encoded = Base64::Encode(input);
    Require(encoded.size() == (input.size() + 2) / 3 * 4, "four characters stand for three bytes");
    Require(Decode(encoded) == input, "what was encoded is decoded");

    const std::string bytes = Decode(input);
    Require(bytes.size() <= input.size() / 4 * 3 + 2, "four characters are at most three bytes");
    Require(Decode(Base64::Encode(bytes)) == bytes, "what was decoded is encoded and decoded again");
    Require(Decode(std::string(input) + "!").empty(), "a text with another character is none");
}

const CFuzzTarget kBase64("Base64", FeedBase64);
} // namespace
