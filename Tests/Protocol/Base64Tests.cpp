#include "Protocol/Base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
using namespace std::string_literals;

struct EncodeCase
{
    const char* reason;
    std::string bytes;
    std::string expected;
};

TEST(Base64, EncodesAsRfc4648Does)
{
    const std::vector<EncodeCase> cases = {
        {"nothing", "", ""},
        {"one byte, two pads", "f", "Zg=="},
        {"two bytes, one pad", "fo", "Zm8="},
        {"three bytes, no pad", "foo", "Zm9v"},
        {"four bytes", "foob", "Zm9vYg=="},
        {"five bytes", "fooba", "Zm9vYmE="},
        {"six bytes", "foobar", "Zm9vYmFy"},
        {"the last two characters of the alphabet", "\xFB\xFF\xBF", "+/+/"},
        {"bytes above 127 carry no sign", "\xFF\xFE\x80", "//6A"},
        {"NUL bytes", "\0\0\0\0"s, "AAAAAA=="},
        {"credentials", "user:pass", "dXNlcjpwYXNz"},
        {"no line breaks however long", std::string(60, 'a'),
         "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh"},
    };
    for (const EncodeCase& each : cases)
        EXPECT_EQ(Base64::Encode(each.bytes), each.expected) << each.reason;
}

struct DecodeCase
{
    const char* reason;
    std::string text;
    std::string expected;
};

TEST(Base64, DecodesWhatTheLengthPromises)
{
    const std::vector<DecodeCase> cases = {
        {"nothing", "", ""},
        {"two pads", "Zg==", "f"},
        {"one pad", "Zm8=", "fo"},
        {"no pad", "Zm9v", "foo"},
        {"several groups", "Zm9vYmE=", "fooba"},
        {"the last two characters of the alphabet", "+/+/", "\xFB\xFF\xBF"},
        {"NUL bytes", "AAAAAA==", "\0\0\0\0"s},
        {"bits behind the last byte do not count", "Zh==", "f"},
        {"padding left out, two", "Zm9vYg", "foob"},
        {"padding left out, one", "Zm9vYmE", "fooba"},
        {"one of two pads left out", "Zg=", "f"},
        {"a character that begins no byte", "Zm9vY", "foo"},
        {"one character", "Z", ""},
        {"pads alone", "==", ""},
        {"one pad alone", "=", ""},
        {"four pads: two count as zero bits", "====", "\0"s},
        {"a pad in the middle is zero bits", "Zg==Zg==", "f\0\0f"s},
        {"a pad as the third from the end is zero bits", "Z===", "d"},
        {"a blank", "Zm 9v", ""},
        {"a line end", "Zm9v\r\n", ""},
        {"a character of the URL alphabet", "-_-_", ""},
        {"NUL", "Zm9\0"s, ""},
        {"a byte above 127", "Zm9\xFF", ""},
    };
    for (const DecodeCase& each : cases)
    {
        SCOPED_TRACE(each.reason);
        // Blocks of exactly the length, so that the sanitizers see a read or a write beyond.
        const std::vector<char> text(each.text.begin(), each.text.end());
        const std::size_t lengthBytes = Base64::Decode({text.data(), text.size()});
        ASSERT_EQ(lengthBytes, each.expected.size());
        std::vector<char> buffer(lengthBytes);
        EXPECT_EQ(Base64::Decode({text.data(), text.size()}, buffer.data()), lengthBytes);
        EXPECT_EQ(std::string(buffer.begin(), buffer.end()), each.expected);
    }
}

TEST(Base64, DecodesWhatItEncoded)
{
    std::string bytes;
    for (int length = 0; length < 300; ++length)
    {
        const std::string text = Base64::Encode(bytes);
        std::string decoded(Base64::Decode(text), '\0');
        Base64::Decode(text, decoded.data());
        EXPECT_EQ(decoded, bytes);
        bytes.push_back(static_cast<char>(length * 37));
    }
}
} // namespace
