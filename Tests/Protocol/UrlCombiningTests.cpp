#include "Protocol/UrlCombining.h"

#include <gtest/gtest.h>

#include <string>

TEST(UrlCombining, CountsThreeCharactersForWhatMayBeEscaped)
{
    const struct
    {
        const char* reason;
        std::string url;
        std::size_t length;
    } rows[] = {
        {"nothing", "", 0},
        {"what no function escapes", "rtsp://127.0.0.1/a-b._~/AZ?az=09", 32},
        {"blanks and quotes", " \"", 6},
        {"a percent sign, which may be escaped again", "%20", 5},
        {"a fragment and an ampersand", "#&", 6},
        {"control characters, a NUL among them", std::string("\0\n", 2), 6},
        {"bytes beyond ASCII", "\x80\xFF", 6},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.length, UrlCombining::LongestEscapedLength(row.url)) << row.reason;
}

TEST(UrlCombining, RoomIsForBothAndANull)
{
    const std::size_t most = UrlCombining::kRoomChars - 1;
    EXPECT_TRUE(UrlCombining::IsWithinRoom("", ""));
    EXPECT_TRUE(UrlCombining::IsWithinRoom(std::string(1000, 'b'), std::string(most - 1000, 'r')));
    EXPECT_FALSE(UrlCombining::IsWithinRoom(std::string(1000, 'b'), std::string(most - 999, 'r')));
    EXPECT_FALSE(UrlCombining::IsWithinRoom(std::string(most + 1, 'b'), ""));
    EXPECT_TRUE(UrlCombining::IsWithinRoom("b", std::string((most - 1) / 3, ' ')));
    EXPECT_FALSE(UrlCombining::IsWithinRoom("b", std::string(most / 3 + 1, ' ')))
        << "short, but not when it is escaped";
}
