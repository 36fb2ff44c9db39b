#include "Fuzz/FuzzTarget.h"
#include "TextEncoding/Encoding.h"

using Fuzz::Require;

namespace
{
/// Whatever a camera sends becomes wide text first.
void FeedBytes(std::string_view input)
{
    const CIso88591Encoding latin1;
    Require(latin1.EncodeString(latin1.DecodeString(input)) == input, "every byte is an ISO-8859-1 character");

    const CUTF8Encoding utf8;
    const std::wstring text = utf8.DecodeString(input);
    Require(text.size() <= input.size(), "no character has less than a byte");
    Require(utf8.DecodeString(utf8.EncodeString(text)) == text, "what was decoded is encoded and decoded again");
}

const CFuzzTarget kTextEncoding("TextEncoding", FeedBytes);
} // namespace
