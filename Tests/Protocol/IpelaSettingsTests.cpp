#include "Protocol/IpelaSettings.h"

#include "Tests/Protocol/IpelaNames.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace
{
/// A camera inquiry reply whose pairs can be changed, added and taken away one at a time.
class CReply
{
public:
    static CReply Mpeg4()
    {
        return CReply({{L"ImageCodec", L"mpeg4"},
                       {L"M4ImageSize", L"640"},
                       {L"M4FrameRate", L"25"},
                       {L"M4BitRate", L"2048"},
                       {L"M4AutoRateCtrl", L"off"},
                       {L"McAddress", L"239.192.0.100"},
                       {L"McVideoPort", L"60000"},
                       {L"McAudioPort", L"60002"},
                       {L"UcVideoPort", L"50000"},
                       {L"UcAudioPort", L"50002"},
                       {L"AudioIn", L"on"},
                       {L"AudInCodec", L"g711_64"},
                       {L"AudioInVolume", L"-3"}});
    }
    static CReply H264()
    {
        return CReply({{L"ImageCodec1", L"h264"},
                       {L"ImageSize1", L"1280,720"},
                       {L"FrameRate1", L"30"},
                       {L"BitRate1", L"4096"},
                       {L"AutoRateCtrl1", L"off"},
                       {L"McAddress1", L"239.192.0.101"},
                       {L"McVideoPort1", L"61000"},
                       {L"McAudioPort", L"61002"},
                       {L"UcVideoPort1", L"51000"},
                       {L"UcAudioPort", L"51002"},
                       {L"AudioIn", L"on"},
                       {L"AudInCodec", L"g711_64"},
                       {L"AudioInVolume", L"10"}});
    }

    CReply With(const std::wstring& key, const std::wstring& value) const
    {
        CReply result = *this;
        result.m_pairs[key] = value;
        return result;
    }
    CReply Without(const std::wstring& key) const
    {
        CReply result = *this;
        result.m_pairs.erase(key);
        return result;
    }
    std::wstring Text() const
    {
        std::wstring result;
        for (const auto& [key, value] : m_pairs)
            result += (result.empty() ? L"" : L"&") + key + L"=" + value;
        return result;
    }

private:
    using Pairs = std::map<std::wstring, std::wstring>;
    explicit CReply(Pairs pairs) : m_pairs(std::move(pairs)) {}
    Pairs m_pairs;
};

struct ReadingRow
{
    const char* reason;
    std::wstring content;
    IpelaReading reading;
};

const IpelaModel kMpeg4Model = IpelaModel::SncEr580;
const IpelaModel kH264Model = IpelaModel::SncEp580;

/// Numbers that no reply contains, so that an untouched output shows.
IpelaCameraSettings Untouched()
{
    return {{L"untouched", 1, 2, 3, 4}, {{5, 6}, 7}, 8, 9};
}

void ExpectUntouched(const IpelaCameraSettings& settings)
{
    EXPECT_EQ(settings.targets.multicastAddress, L"untouched");
    EXPECT_EQ(settings.targets.multicastVideoPort, 1);
    EXPECT_EQ(settings.targets.unicastAudioPort, 4);
    EXPECT_EQ(settings.picture.size.width, 5);
    EXPECT_EQ(settings.picture.frameRate, 7);
    EXPECT_EQ(settings.bitRate, 8);
    EXPECT_EQ(settings.audioInVolume, 9);
}
} // namespace

TEST(IpelaSettings, Mpeg4ReplyGivesAllSettings)
{
    const std::wstring content = CReply::Mpeg4().Text();
    IpelaCameraSettings settings;
    ASSERT_EQ(IpelaSettings::ReadCameraSettings(content, kMpeg4Model, k60Hz, settings), IpelaReading::Ok);
    EXPECT_EQ(settings.targets.multicastAddress, L"239.192.0.100");
    EXPECT_EQ(settings.targets.multicastVideoPort, 60000);
    EXPECT_EQ(settings.targets.multicastAudioPort, 60002);
    EXPECT_EQ(settings.targets.unicastVideoPort, 50000);
    EXPECT_EQ(settings.targets.unicastAudioPort, 50002);
    EXPECT_EQ(settings.picture.size.width, 640);
    EXPECT_EQ(settings.picture.size.height, 480);
    EXPECT_EQ(settings.picture.frameRate, 25);
    EXPECT_EQ(settings.bitRate, 2048);
    EXPECT_EQ(settings.audioInVolume, -3);
    EXPECT_EQ(IpelaSettings::ReadImageCodec(content, kMpeg4Model), Compression::Mpeg4);
}

TEST(IpelaSettings, H264ReplyGivesTheSettingsOfTheFirstStream)
{
    // The second stream's settings stand behind those of the first in the alphabet, as they do in a reply.
    const std::wstring content = CReply::H264().With(L"McAddress2", L"x").With(L"BitRate2", L"1").Text();
    IpelaCameraSettings settings;
    ASSERT_EQ(IpelaSettings::ReadCameraSettings(content, kH264Model, k60Hz, settings), IpelaReading::Ok);
    EXPECT_EQ(settings.targets.multicastAddress, L"239.192.0.101");
    EXPECT_EQ(settings.targets.multicastVideoPort, 61000);
    EXPECT_EQ(settings.targets.multicastAudioPort, 61002);
    EXPECT_EQ(settings.targets.unicastVideoPort, 51000);
    EXPECT_EQ(settings.targets.unicastAudioPort, 51002);
    EXPECT_EQ(settings.picture.size.width, 1280);
    EXPECT_EQ(settings.picture.size.height, 720);
    EXPECT_EQ(settings.picture.frameRate, 30);
    EXPECT_EQ(settings.bitRate, 4096);
    EXPECT_EQ(settings.audioInVolume, 10);
    EXPECT_EQ(IpelaSettings::ReadImageCodec(content, kH264Model), Compression::H264);
}

TEST(IpelaSettings, EachModelReadsTheKeysOfItsFamily)
{
    for (int number = 0; number <= 9; ++number)
    {
        SCOPED_TRACE(number);
        const auto model = static_cast<IpelaModel>(number);
        const bool isH264 = number >= 6;
        IpelaCameraSettings settings;
        EXPECT_EQ(IpelaSettings::ReadCameraSettings(CReply::Mpeg4().Text(), model, k60Hz, settings),
                  isH264 ? IpelaReading::EmptySettings : IpelaReading::Ok);
        EXPECT_EQ(IpelaSettings::HasRequiredStreamSettings(CReply::Mpeg4().Text(), model), !isH264);
        EXPECT_EQ(IpelaSettings::HasRequiredStreamSettings(CReply::H264().Text(), model), isH264);
        EXPECT_EQ(IpelaSettings::ReadCameraSettings(CReply::H264().Text(), model, k60Hz, settings),
                  isH264 ? IpelaReading::Ok : IpelaReading::InvalidNumbers)
            << "first match finds the targets of stream 1, but there is no MPEG-4 picture";
    }
}

TEST(IpelaSettings, RequestAndRangeChecksOfMpeg4Replies)
{
    const CReply reply = CReply::Mpeg4();
    using enum IpelaReading;
    const ReadingRow rows[] = {
        {"no address", reply.Without(L"McAddress").Text(), EmptySettings},
        {"no multicast video port", reply.Without(L"McVideoPort").Text(), EmptySettings},
        {"no multicast audio port", reply.Without(L"McAudioPort").Text(), EmptySettings},
        {"no unicast video port", reply.Without(L"UcVideoPort").Text(), EmptySettings},
        {"no unicast audio port", reply.Without(L"UcAudioPort").Text(), EmptySettings},
        {"no pairs at all", L"hello", EmptySettings},
        {"empty port in the last pair", reply.With(L"UcVideoPort", L"").Text(), EmptySettings},
        {"empty port in another pair reads as the rest", reply.With(L"McVideoPort", L"").Text(), InvalidNumbers},
        {"empty goes before invalid", reply.Without(L"McAddress").With(L"UcVideoPort", L"7").Text(), EmptySettings},
        {"below the lowest port", reply.With(L"McVideoPort", L"1023").Text(), InvalidNumbers},
        {"lowest port", reply.With(L"McVideoPort", L"1024").Text(), Ok},
        {"highest port", reply.With(L"McAudioPort", L"65534").Text(), Ok},
        {"above the highest port", reply.With(L"McAudioPort", L"65535").Text(), InvalidNumbers},
        {"below the lowest port", reply.With(L"UcVideoPort", L"1023").Text(), InvalidNumbers},
        {"above the highest port", reply.With(L"UcAudioPort", L"65535").Text(), InvalidNumbers},
        {"would be 1024 in 16 bits", reply.With(L"UcAudioPort", L"66560").Text(), InvalidNumbers},
        {"would be 1024 in 32 bits", reply.With(L"UcAudioPort", L"4294968320").Text(), InvalidNumbers},
        {"negative port", reply.With(L"UcAudioPort", L"-5000").Text(), InvalidNumbers},
        {"port is a word", reply.With(L"UcAudioPort", L"auto").Text(), InvalidNumbers},
        {"no image size", reply.Without(L"M4ImageSize").Text(), InvalidNumbers},
        {"width that the model does not have", reply.With(L"M4ImageSize", L"1920").Text(), InvalidNumbers},
        {"no frame rate", reply.Without(L"M4FrameRate").Text(), InvalidNumbers},
        {"frame rate 0", reply.With(L"M4FrameRate", L"0").Text(), InvalidNumbers},
        {"no bit rate", reply.Without(L"M4BitRate").Text(), InvalidNumbers},
        {"bit rate 0", reply.With(L"M4BitRate", L"0").Text(), InvalidNumbers},
        {"a volume is not needed", reply.Without(L"AudioInVolume").Text(), Ok},
        {"a codec is not needed", reply.Without(L"ImageCodec").Text(), Ok},
        {"any text is an address", reply.With(L"McAddress", L"nowhere").Text(), Ok},
    };
    for (const ReadingRow& row : rows)
    {
        SCOPED_TRACE(row.reason);
        IpelaCameraSettings settings = Untouched();
        EXPECT_EQ(IpelaSettings::ReadCameraSettings(row.content, kMpeg4Model, k60Hz, settings), row.reading);
        if (row.reading != Ok)
            ExpectUntouched(settings);
    }
}

TEST(IpelaSettings, RequestAndRangeChecksOfH264Replies)
{
    const CReply reply = CReply::H264();
    using enum IpelaReading;
    const ReadingRow rows[] = {
        {"address of another stream only", reply.Without(L"McAddress1").With(L"McAddress10", L"x").Text(),
         EmptySettings},
        {"video port of another stream only", reply.Without(L"McVideoPort1").With(L"McVideoPort12", L"5000").Text(),
         EmptySettings},
        {"unicast port of another stream only", reply.Without(L"UcVideoPort1").With(L"UcVideoPort12", L"5000").Text(),
         EmptySettings},
        {"port of another stream in front", L"McVideoPort10=1&" + reply.Text(), Ok},
        {"no audio port", reply.Without(L"UcAudioPort").Text(), EmptySettings},
        {"below the lowest port", reply.With(L"McVideoPort1", L"1023").Text(), InvalidNumbers},
        {"above the highest port", reply.With(L"UcVideoPort1", L"65535").Text(), InvalidNumbers},
        {"no size", reply.Without(L"ImageSize1").Text(), InvalidNumbers},
        {"size without a comma", reply.With(L"ImageSize1", L"1280").Text(), InvalidNumbers},
        {"size without a width", reply.With(L"ImageSize1", L",720").Text(), InvalidNumbers},
        {"size without a height", reply.With(L"ImageSize1", L"1280,").Text(), InvalidNumbers},
        {"size that the model does not offer", reply.With(L"ImageSize1", L"800,600").Text(), Ok},
        {"no frame rate", reply.Without(L"FrameRate1").Text(), InvalidNumbers},
        {"bit rate of another stream in front is taken", L"BitRate10=0&" + reply.Text(), InvalidNumbers},
    };
    for (const ReadingRow& row : rows)
    {
        SCOPED_TRACE(row.reason);
        IpelaCameraSettings settings = Untouched();
        EXPECT_EQ(IpelaSettings::ReadCameraSettings(row.content, kH264Model, k60Hz, settings), row.reading);
        if (row.reading != Ok)
            ExpectUntouched(settings);
    }
}

TEST(IpelaSettings, StreamTargetsDoNotDependOnThePicture)
{
    const std::wstring content = CReply::Mpeg4().Without(L"M4ImageSize").With(L"M4BitRate", L"0").Text();
    IpelaStreamTargets targets;
    ASSERT_EQ(IpelaSettings::ReadStreamTargets(content, kMpeg4Model, targets), IpelaReading::Ok);
    EXPECT_EQ(targets.RtpPort(true, false), 60000);
    EXPECT_EQ(targets.RtpPort(true, true), 60002);
    EXPECT_EQ(targets.RtpPort(false, false), 50000);
    EXPECT_EQ(targets.RtpPort(false, true), 50002);
}

TEST(IpelaSettings, PictureDoesNotDependOnTheTargets)
{
    IpelaPicture picture;
    EXPECT_EQ(IpelaSettings::ReadPicture(L"ImageSize1=640,480&FrameRate1=5", kH264Model, k60Hz, picture),
              IpelaReading::Ok);
    EXPECT_EQ(picture.size.width, 640);
    EXPECT_EQ(picture.size.height, 480);
    EXPECT_EQ(picture.frameRate, 5);
    EXPECT_EQ(IpelaSettings::ReadPicture(L"ImageSize1=640,480", kH264Model, k60Hz, picture),
              IpelaReading::InvalidNumbers);
    EXPECT_EQ(picture.frameRate, 5) << "untouched";
}

TEST(IpelaSettings, ImageSizeOfAReply)
{
    const struct
    {
        const char* reason;
        IpelaModel model;
        VideoStandard standard;
        std::wstring_view content;
        int width;
        int height;
    } rows[] = {
        {"H.264: both numbers", IpelaModel::SncEp580, k60Hz, L"ImageSize1=640,480&A=1", 640, 480},
        {"H.264: split at the first comma", IpelaModel::SncEp580, k60Hz, L"ImageSize1=640,480,2", 640, 480},
        {"H.264: comma in front", IpelaModel::SncEp580, k60Hz, L"ImageSize1=,640,480", 0, 0},
        {"H.264: no comma", IpelaModel::SncEp580, k60Hz, L"ImageSize1=640", 0, 0},
        {"H.264: comma of the next pair", IpelaModel::SncEp580, k60Hz, L"ImageSize1=640&A=1,2", 0, 0},
        {"H.264: empty", IpelaModel::SncEp580, k60Hz, L"ImageSize1=", 0, 0},
        {"H.264: not the MPEG-4 key", IpelaModel::SncEp580, k60Hz, L"M4ImageSize=640,480", 0, 0},
        {"MPEG-4: height from the table", IpelaModel::SncRx550, k60Hz, L"M4ImageSize=640,0", 640, 480},
        {"MPEG-4: the general size when there is no other", IpelaModel::SncRz25, k60Hz, L"ImageSize=320,2", 320, 240},
        {"MPEG-4: its own size goes first", IpelaModel::SncRz25, k60Hz, L"ImageSize=320,2&M4ImageSize=640", 640, 480},
        {"MPEG-4: the size of stream 1", IpelaModel::SncEr580, k60Hz, L"ImageSize1=1280,720", 1280, 720},
        {"MPEG-4: unknown width", IpelaModel::SncRz25, k60Hz, L"ImageSize=1280,720", 1280, 0},
        {"MPEG-4: unknown model has full HD", IpelaModel::Unknown, k50Hz, L"M4ImageSize=1920", 1920, 1080},
        {"MPEG-4: nothing", IpelaModel::Unknown, k60Hz, L"A=1", 0, 0},
        {"MPEG-4: size is a word", IpelaModel::Unknown, k60Hz, L"M4ImageSize=vga&ImageSize=640", 0, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        const IpelaImageSize size = IpelaSettings::ReadImageSize(row.content, row.model, row.standard);
        EXPECT_EQ(size.width, row.width);
        EXPECT_EQ(size.height, row.height);
    }
}

TEST(IpelaSettings, CodecIsReadWithoutRegardToCase)
{
    const struct
    {
        const char* reason;
        IpelaModel model;
        std::wstring_view content;
        Compression codec;
    } rows[] = {
        {"lower case", kMpeg4Model, L"ImageCodec=mpeg4", Compression::Mpeg4},
        {"upper case", kMpeg4Model, L"ImageCodec=MPEG4&A=1", Compression::Mpeg4},
        {"mixed case", kMpeg4Model, L"ImageCodec=H264", Compression::H264},
        {"JPEG", kMpeg4Model, L"ImageCodec=jpeg", Compression::None},
        {"absent", kMpeg4Model, L"A=1", Compression::None},
        {"not the whole word", kMpeg4Model, L"ImageCodec=mpeg4v2", Compression::None},
        {"line end behind it", kMpeg4Model, L"ImageCodec=mpeg4\r\n", Compression::None},
        {"MPEG-4 family also takes the key of stream 1", kMpeg4Model, L"ImageCodec1=h264", Compression::H264},
        {"H.264 family", kH264Model, L"ImageCodec1=h264", Compression::H264},
        {"H.264 family set to MPEG-4", kH264Model, L"ImageCodec1=mpeg4&ImageCodec2=h264", Compression::Mpeg4},
        {"H.264 family, old key only", kH264Model, L"ImageCodec=h264", Compression::None},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(IpelaSettings::ReadImageCodec(row.content, row.model), row.codec);
    }
}

TEST(IpelaSettings, OnlyPalMeansFiftyHertz)
{
    EXPECT_EQ(IpelaSettings::ReadVideoStandard(L"VideoStd=PAL&A=1"), k50Hz);
    EXPECT_EQ(IpelaSettings::ReadVideoStandard(L"VideoStd=pal"), k50Hz);
    EXPECT_EQ(IpelaSettings::ReadVideoStandard(L"VideoStd=ntsc"), k60Hz);
    EXPECT_EQ(IpelaSettings::ReadVideoStandard(L"VideoStd=palm"), k60Hz);
    EXPECT_EQ(IpelaSettings::ReadVideoStandard(L"A=1"), k60Hz);
    EXPECT_EQ(IpelaSettings::ReadVideoStandard(L""), k60Hz);
}

TEST(IpelaSettings, RequiredStreamSettings)
{
    const struct
    {
        const char* reason;
        IpelaModel model;
        std::wstring content;
        bool isFine;
    } rows[] = {
        {"MPEG-4 as required", kMpeg4Model, CReply::Mpeg4().Text(), true},
        {"case does not matter", kMpeg4Model, L"AudioIn=ON&AudInCodec=G711_64&M4AutoRateCtrl=Off&", true},
        {"audio off", kMpeg4Model, CReply::Mpeg4().With(L"AudioIn", L"off").Text(), false},
        {"other audio codec", kMpeg4Model, CReply::Mpeg4().With(L"AudInCodec", L"g726_40").Text(), false},
        {"automatic rate", kMpeg4Model, CReply::Mpeg4().With(L"M4AutoRateCtrl", L"on").Text(), false},
        {"rate control absent", kMpeg4Model, CReply::Mpeg4().Without(L"M4AutoRateCtrl").Text(), false},
        {"the volume in front hides the switch", kMpeg4Model, L"AudioInVolume=1&" + CReply::Mpeg4().Text(), false},
        {"H.264 as required", kH264Model, CReply::H264().Text(), true},
        {"H.264: audio off", kH264Model, CReply::H264().With(L"AudioIn", L"off").Text(), false},
        {"H.264: automatic rate", kH264Model, CReply::H264().With(L"AutoRateCtrl1", L"on").Text(), false},
        {"H.264: rate control of another stream is passed over", kH264Model,
         L"AutoRateCtrl10=on&" + CReply::H264().Text(), true},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(IpelaSettings::HasRequiredStreamSettings(row.content, row.model), row.isFine);
    }
}
