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
} // namespace
