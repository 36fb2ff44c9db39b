#include "Protocol/H264FormatParameters.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
using namespace std::string_literals;

struct Row
{
    const char* reason;
    const char* text;
    const char* profile;
    int mode;
    std::string set1;
    std::string set2;
};
} // namespace

TEST(H264FormatParameters, Parse)
{
    const Row rows[] = {
        {"all three", "packetization-mode=1;profile-level-id=4d4028;sprop-parameter-sets=Z0I=,aM4=", "4d4028", 1, "gB",
         "h\xCE"},
        {"white space around keys and values", " packetization-mode = 1 ;\tprofile-level-id = 42 ; ", "42", 1, "", ""},
        {"keys in any case", "PACKETIZATION-MODE=1;Profile-Level-ID=4D;Sprop-Parameter-Sets=Z0I=", "4D", 1, "gB", ""},
        {"nothing", "", "", 0, "", ""},
        {"other keys", "profile=1;level-asymmetry-allowed=1;max-mbps=108000", "", 0, "", ""},
        {"a key that only begins so", "packetization-mode2=1;xprofile-level-id=1", "", 0, "", ""},
        {"no equals sign", "packetization-mode;profile-level-id", "", 0, "", ""},
        {"empty values", "packetization-mode=;profile-level-id=;sprop-parameter-sets=", "", 0, "", ""},
        {"empty parts", ";;packetization-mode=1;;", "", 1, "", ""},
        {"the last of a key counts", "packetization-mode=2;packetization-mode=1", "", 1, "", ""},
        {"a mode that is no number", "packetization-mode=x", "", 0, "", ""},
        {"a mode with text behind it", "packetization-mode=2x", "", 2, "", ""},
        {"a negative mode", "packetization-mode=-1", "", -1, "", ""},
        {"one set", "sprop-parameter-sets=Z0I=", "", 0, "gB", ""},
        {"one set and a comma", "sprop-parameter-sets=Z0I=,", "", 0, "gB", ""},
        {"three sets: the third is ignored", "sprop-parameter-sets=Z0I=,aM4=,Zm9v", "", 0, "gB", "h\xCE"},
        {"white space between the sets", "sprop-parameter-sets=Z0I= , aM4= ", "", 0, "gB", "h\xCE"},
        {"padding of two", "sprop-parameter-sets=Zw==,aA==", "", 0, "g", "h"},
        {"no padding", "sprop-parameter-sets=Z0I,aM4", "", 0, "gB", "h\xCE"},
        {"NUL bytes", "sprop-parameter-sets=AAAA", "", 0, "\0\0\0"s, ""},
        {"a set that is not base64 is empty", "sprop-parameter-sets=Z0?I,aM4=", "", 0, "", "h\xCE"},
        {"a later value replaces both sets", "sprop-parameter-sets=Z0I=,aM4=;sprop-parameter-sets=Zm9v", "", 0, "foo",
         ""},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const H264FormatParameters parameters = H264FormatParameters::Parse(row.text);
        EXPECT_EQ(parameters.profileLevelId, row.profile);
        EXPECT_EQ(parameters.packetizationMode, row.mode);
        EXPECT_EQ(parameters.parameterSet1, row.set1);
        EXPECT_EQ(parameters.parameterSet2, row.set2);
    }
}
