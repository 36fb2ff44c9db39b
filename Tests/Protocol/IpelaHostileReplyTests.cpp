#include "Protocol/IpelaReply.h"
#include "Protocol/IpelaSettings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>

/// Replies that no camera sends on purpose: every lookup must stay inside the content, keep its promises and take time
/// in proportion to the length.
namespace
{
constexpr std::wstring_view kKeys[] = {
    L"ImageCodec",   L"ImageCodec1",   L"M4ImageSize",    L"ImageSize",     L"ImageSize1",  L"M4FrameRate",
    L"FrameRate1",   L"M4BitRate",     L"BitRate1",       L"McAddress",     L"McAddress1",  L"McVideoPort",
    L"McVideoPort1", L"UcVideoPort",   L"M4AutoRateCtrl", L"AutoRateCtrl1", L"McAudioPort", L"UcVideoPort1",
    L"UcAudioPort",  L"AudioInVolume", L"AudioIn",        L"AudInCodec",    L"VideoStd",    L"ModelName",
};

constexpr std::wstring_view kReplyPieces[] = {
    L"=",   L"=",   L"=",  L"&",   L"&",   L"&",    L"&",     L",",    L" ",           L"\r\n",      L"\t",
    L"-",   L"+",   L"0",  L"640", L"480", L"1024", L"65534", L"1023", L"99999999999", L"h264",      L"mpeg4",
    L"pal", L"off", L"on", L"1",   L"%2C", L"==",   L"&&",    L"Mc",   L"Image",       L"239.1.1.1",
};

/// Seeded, so that a failure can be repeated.
class CHostileText
{
public:
    explicit CHostileText(std::uint32_t seed) : m_random(seed) {}

    std::wstring Next()
    {
        std::wstring result;
        for (std::uint32_t count = Below(120); count > 0; --count)
        {
            switch (Below(8))
            {
            case 0:
                result += static_cast<wchar_t>(Below(0x10000));
                break;
            case 1:
                result += L'\0';
                break;
            case 2:
            case 3:
                result += std::wstring(Any(kKeys)) + L"=" + std::wstring(Any(kReplyPieces)) + L"&";
                break;
            case 4:
                result += Any(kKeys);
                break;
            default:
                result += Any(kReplyPieces);
            }
        }
        return result;
    }

private:
    // Not a std:: distribution: those differ between standard libraries.
    std::uint32_t Below(std::uint32_t limit)
    {
        return static_cast<std::uint32_t>(m_random() % limit);
    }
    template <std::size_t Count>
    std::wstring_view Any(const std::wstring_view (&choices)[Count])
    {
        return choices[Below(Count)];
    }

    std::mt19937 m_random;
};

/// The lookups as they are described, one step at a time, without regard to speed.
std::wstring SlowLookup(const std::wstring& content, const std::wstring& key, bool isExact)
{
    std::size_t from = 0;
    for (;;)
    {
        const std::size_t position = content.find(key, from);
        if (position == std::wstring::npos)
            return {};
        from = position + key.size();
        const std::size_t equalsSign = content.find(L'=', from);
        if (equalsSign == std::wstring::npos)
            return {};
        if (isExact && equalsSign != from)
            continue;
        std::wstring value = content.substr(equalsSign + 1);
        value.erase(0, std::min(value.find_first_not_of(L" \t\n\v\f\r"), value.size()));
        const std::size_t end = value.find(L'&');
        if (end != std::wstring::npos && end > 0)
            value.resize(end);
        return value;
    }
}

bool IsInside(std::wstring_view part, std::wstring_view whole)
{
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

bool IsPort(int number)
{
    return number >= 1024 && number <= 65534;
}

void CheckSettings(const std::wstring& content, IpelaModel model, VideoStandard standard)
{
    IpelaCameraSettings settings;
    settings.bitRate = -77;
    const IpelaReading reading = IpelaSettings::ReadCameraSettings(content, model, standard, settings);
    if (reading != IpelaReading::Ok)
    {
        ASSERT_EQ(settings.bitRate, -77);
        ASSERT_TRUE(settings.targets.multicastAddress.empty());
        return;
    }
    const IpelaStreamTargets& targets = settings.targets;
    ASSERT_FALSE(targets.multicastAddress.empty());
    ASSERT_TRUE(IsInside(targets.multicastAddress, content));
    ASSERT_TRUE(IsPort(targets.multicastVideoPort) && IsPort(targets.multicastAudioPort));
    ASSERT_TRUE(IsPort(targets.unicastVideoPort) && IsPort(targets.unicastAudioPort));
    ASSERT_TRUE(settings.picture.size.width != 0 && settings.picture.size.height != 0);
    ASSERT_TRUE(settings.picture.frameRate != 0 && settings.bitRate != 0);
}

using Clock = std::chrono::steady_clock;

/// The best of several runs, so that a busy machine does not count.
Clock::duration TimeOf(const std::wstring& content, int rounds)
{
    Clock::duration best = Clock::duration::max();
    for (int attempt = 0; attempt < 5; ++attempt)
    {
        const Clock::time_point start = Clock::now();
        for (int round = 0; round < rounds; ++round)
        {
            for (const IpelaModel model : {IpelaModel::Unknown, IpelaModel::SncEp580})
            {
                IpelaCameraSettings settings;
                (void)IpelaSettings::ReadCameraSettings(content, model, VideoStandard::Ntsc60Hz, settings);
                (void)IpelaSettings::HasRequiredStreamSettings(content, model);
                (void)IpelaReply::GetExactValue(content, L"McAddress1");
                (void)IpelaReply::ToNumber(content);
            }
        }
        best = std::min(best, Clock::now() - start);
    }
    return best;
}

std::wstring Repeat(std::wstring_view piece, std::size_t countChars)
{
    std::wstring result;
    result.reserve(countChars + piece.size());
    while (result.size() < countChars)
        result += piece;
    return result;
}
} // namespace

TEST(IpelaHostileReply, LookupsAgreeWithTheSlowOnesAndStayInside)
{
    CHostileText texts(20240611);
    std::size_t countFound = 0;
    for (int round = 0; round < 4000; ++round)
    {
        const std::wstring content = texts.Next();
        for (const std::wstring_view key : kKeys)
        {
            const std::wstring_view first = IpelaReply::GetValue(content, key);
            const std::wstring_view exact = IpelaReply::GetExactValue(content, key);
            ASSERT_EQ(first, SlowLookup(content, std::wstring(key), false)) << "round " << round;
            ASSERT_EQ(exact, SlowLookup(content, std::wstring(key), true)) << "round " << round;
            ASSERT_TRUE(IsInside(first, content) && IsInside(exact, content));
            countFound += exact.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(countFound, 1000u) << "the texts must contain pairs, or the test proves nothing";
}

TEST(IpelaHostileReply, SettingsKeepTheirPromisesForEveryModelAndStandard)
{
    // Most texts fail at the first check; the well-formed tail lets the rest reach the later ones.
    const std::wstring tail =
        L"&McAddress=239.1.1.1&McVideoPort=6000&McAudioPort=6002&UcVideoPort=5000&UcAudioPort=5002"
        L"&McAddress1=239.1.1.2&McVideoPort1=6010&UcVideoPort1=5010&ImageSize1=640,480"
        L"&M4ImageSize=640&FrameRate1=15&M4FrameRate=15&BitRate1=512&M4BitRate=512";
    CHostileText texts(77);
    for (int round = 0; round < 1500; ++round)
    {
        const std::wstring content = texts.Next() + (round % 2 == 0 ? tail : L"");
        for (int model = 0; model <= 9; ++model)
        {
            for (const VideoStandard standard : {VideoStandard::Ntsc60Hz, VideoStandard::Pal50Hz})
                ASSERT_NO_FATAL_FAILURE(CheckSettings(content, static_cast<IpelaModel>(model), standard)) << round;
            (void)IpelaSettings::ReadImageCodec(content, static_cast<IpelaModel>(model));
            (void)IpelaSettings::HasRequiredStreamSettings(content, static_cast<IpelaModel>(model));
        }
        (void)IpelaSettings::ReadVideoStandard(content);
        (void)IpelaReply::ToNumber(content);
    }
}

TEST(IpelaHostileReply, TimeGrowsWithTheLengthNotWithItsSquare)
{
    const struct
    {
        const char* reason;
        std::wstring_view piece;
    } rows[] = {
        {"key without an equals sign", L"McAddress1"},
        {"key inside longer keys", L"McAddress10=x&"},
        {"key, space, equals sign", L"AutoRateCtrl1 =&"},
        {"beginnings of keys", L"McAddressMcAddressMcVideo"},
        {"equals signs", L"="},
        {"ampersands", L"&"},
        {"white space", L" "},
        {"digits", L"9"},
        {"zeros", L"0"},
        {"empty values", L"McAddress1=&McVideoPort1=&UcVideoPort1=&McAudioPort=&UcAudioPort=&"},
    };
    constexpr std::size_t kShortChars = 32 * 1024;
    constexpr std::size_t kLengthRatio = 32;
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        // The short text is read as often as it takes to do the same linear work, so the two times should be equal;
        // quadratic work would make the long one 32 times slower.
        const auto shortTime = TimeOf(Repeat(row.piece, kShortChars), kLengthRatio);
        const auto longTime = TimeOf(Repeat(row.piece, kShortChars * kLengthRatio), 1);
        EXPECT_LT(longTime, shortTime * 8 + std::chrono::milliseconds(2));
    }
}
