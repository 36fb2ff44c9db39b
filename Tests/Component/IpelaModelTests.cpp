// Every model at both video standards: what the client is told, what the camera is asked, and what is read back.

#include "Tests/Component/SimulatedCameraFixture.h"

#include <array>
#include <sstream>

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;

struct Model
{
    const char* name;
    const char* sizes60; ///< rows of width x height @ most frames per second, 4 for MPEG-4 and H for H.264
    const char* sizes50;
    const char* setSize; ///< the request for a size: {c} codec, {w} width, {h} height, {r} frame rate
};

constexpr char kOldSizes60[] = "640x480@30/4 320x240@30/4";
constexpr char kOldSizes50[] = "640x480@25/4 320x240@25/4";
constexpr char kHdSizes60[] = "1280x720@30/4 640x480@30/4 320x240@30/4";
constexpr char kHdSizes50[] = "1280x720@25/4 640x480@25/4 320x240@25/4";
constexpr char kTwoNumbers[] = "command/camera.cgi?ImageSize1={w}%2C{h}&M4FrameRate={r}";
constexpr char kNewest[] = "command/camera.cgi?ImageCodec1={c}&ImageSize1={w}%2C{h}&FrameRate1={r}";

constexpr Model kModels[] = {
    {"SNC-XX1 of no known kind", "1920x1080@20/4 1280x720@30/4 640x480@30/4 320x240@30/4",
     "1920x1080@20/4 1280x720@25/4 640x480@25/4 320x240@25/4", "command/camera.cgi?M4ImageSize={w},0&M4FrameRate={r}"},
    {"SNC-RX550", kOldSizes60, kOldSizes50, "command/camera.cgi?M4ImageSize={w},0&M4FrameRate={r}"},
    {"SNC-RZ25", kOldSizes60, kOldSizes50, "command/camera.cgi?ImageSize={w},2&M4FrameRate={r}"},
    {"SNC-RH124", kHdSizes60, kHdSizes50, kTwoNumbers},
    {"SNC-ER550", kHdSizes60, kHdSizes50, kTwoNumbers},
    {"SNC-ER580", kHdSizes60, kHdSizes50, kTwoNumbers},
    {"SNC-EP550",
     "1280x720@30/4 640x368@30/4 640x480@30/4 320x192@30/4 320x240@30/4 "
     "1280x720@30/H 640x368@30/H 640x480@30/H 320x192@30/H 320x240@30/H",
     "1280x720@25/4 640x368@25/4 640x480@25/4 320x192@25/4 320x240@25/4 "
     "1280x720@25/H 640x368@25/H 640x480@25/H 320x192@25/H 320x240@25/H",
     "command/camera.cgi?ImageCodec1={c}&AspectRatioConversion=squeeze&ImageSize1={w}%2C{h}&FrameRate1={r}"},
    {"SNC-EP520", "640x480@30/4 320x240@30/4 640x480@30/H 320x240@30/H",
     "640x480@25/4 320x240@25/4 640x480@25/H 320x240@25/H", kNewest},
    {"SNC-WR600", "1280x720@30/H 640x480@30/H 320x184@30/H", "1280x720@25/H 640x480@25/H 320x184@25/H", kNewest},
    {"SNC-EP580", "1920x1080@30/H 1280x720@30/4 640x480@30/4 320x192@30/4 1280x720@30/H 640x480@30/H 320x192@30/H",
     "1920x1080@25/H 1280x720@25/4 640x480@25/4 320x192@25/4 1280x720@25/H 640x480@25/H 320x184@25/H", kNewest},
};

std::string Replaced(std::string text, const std::string& part, const std::string& by)
{
    const std::size_t position = text.find(part);
    return position == std::string::npos ? text : text.replace(position, part.size(), by);
}

std::string ShownRow(long width, long height, long frameRate, VideoCodec codec)
{
    return std::to_string(width) + "x" + std::to_string(height) + "@" + std::to_string(frameRate) + "/" +
           (codec == VC_H264    ? "H"
            : codec == VC_MPEG4 ? "4"
                                : "?");
}

class IpelaModels : public SimulatedCameraTest, public testing::WithParamInterface<std::tuple<Model, VideoStandard>>
{
protected:
    void SetUp() override
    {
        StartConnected({.model = GetModel().name, .standard = Standard()});
    }
    static Model GetModel()
    {
        return std::get<0>(GetParam());
    }
    static VideoStandard Standard()
    {
        return std::get<1>(GetParam());
    }
    static std::string ExpectedSizes()
    {
        return Standard() == VideoStandard::Ntsc ? GetModel().sizes60 : GetModel().sizes50;
    }

    std::vector<ImageSize2> Sizes()
    {
        CTaskMemory<ImageSize2> sizes;
        long count = 0;
        EXPECT_EQ(S_OK, m_command->GetSupportedImageSizes2(sizes.put(), &count));
        return {sizes.get(), sizes.get() + count};
    }
};

TEST_P(IpelaModels, SupportsTheseSizes)
{
    std::string shown;
    for (const ImageSize2& size : Sizes())
    {
        shown += (shown.empty() ? "" : " ") +
                 ShownRow(size.ImageWidth, size.ImageHeight, size.FrameRate, size.VideoEncoding);
    }
    EXPECT_EQ(ExpectedSizes(), shown);
}

TEST_P(IpelaModels, SupportsTheseFrameRates)
{
    CTaskMemory<long> rates;
    long count = 0;
    ASSERT_EQ(S_OK, m_command->GetSupportedFrameRates(rates.put(), &count));
    ASSERT_EQ(12, count);
    constexpr std::array<long, 12> k60{1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30};
    constexpr std::array<long, 12> k50{1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 25};
    EXPECT_THAT(std::vector<long>(rates.get(), rates.get() + count),
                ElementsAreArray(Standard() == VideoStandard::Ntsc ? k60 : k50));
    const long size[] = {640, 480};
    const VideoCodec codec = ExpectedSizes().find("640x480@30/4") != std::string::npos ||
                                     ExpectedSizes().find("640x480@25/4") != std::string::npos
                                 ? VC_MPEG4
                                 : VC_H264;
    for (long rate = -1; rate <= 32; ++rate)
    {
        const auto& table = Standard() == VideoStandard::Ntsc ? k60 : k50;
        const bool isListed = std::find(table.begin(), table.end(), rate) != table.end();
        EXPECT_EQ(isListed ? S_OK : S_FALSE, m_command->IsImageSizeSupported2(size[0], size[1], rate, codec)) << rate;
    }
}

TEST_P(IpelaModels, TakesEverySizeAndReadsItBack)
{
    for (const ImageSize2& size : Sizes())
    {
        SCOPED_TRACE(ShownRow(size.ImageWidth, size.ImageHeight, 10, size.VideoEncoding));
        EXPECT_EQ(S_OK, m_command->IsImageSizeSupported2(size.ImageWidth, size.ImageHeight, 10, size.VideoEncoding));
        EXPECT_EQ(S_OK, m_command->SetImageSize2(size.ImageWidth, size.ImageHeight, 10, size.VideoEncoding));
        std::string request = Replaced(GetModel().setSize, "{w}", std::to_string(size.ImageWidth));
        request = Replaced(request, "{h}", std::to_string(size.ImageHeight));
        request = Replaced(request, "{c}", size.VideoEncoding == VC_H264 ? "h264" : "mpeg4");
        request = Replaced(request, "{r}", "10");
        EXPECT_THAT(Sent(), ElementsAre(request));

        ImageSize2 read = {};
        EXPECT_EQ(S_OK, m_command->GetCameraImageSize(&read));
        EXPECT_EQ(ShownRow(size.ImageWidth, size.ImageHeight, 10, size.VideoEncoding),
                  ShownRow(read.ImageWidth, read.ImageHeight, read.FrameRate, read.VideoEncoding));
        EXPECT_THAT(Sent(), ElementsAre("command/inquiry.cgi?inq=camera"));
    }
}

TEST_P(IpelaModels, ChangesItsBitRate)
{
    EXPECT_EQ(S_OK, m_command->SetBitRate(700));
    CameraSettings3 settings = {};
    EXPECT_EQ(S_OK, m_command->GetCameraSettings3(&settings));
    ::SysFreeString(settings.MulticastAddress);
    EXPECT_EQ(768, settings.BitRate);
    const bool isNewest = std::string(GetModel().setSize).find("ImageCodec1") != std::string::npos;
    EXPECT_THAT(Sent(), ElementsAre(std::string("command/camera.cgi?") + (isNewest ? "BitRate1" : "M4BitRate") + "=768",
                                    "command/inquiry.cgi?inq=camera"));
}

TEST_P(IpelaModels, RefusesWhatIsInNoRow)
{
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported2(800, 600, 10, VC_MPEG4));
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported2(640, 480, 7, VC_MPEG4));
    EXPECT_EQ(S_FALSE, m_command->IsImageSizeSupported2(640, 480, 10, VC_None));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize2(800, 600, 10, VC_MPEG4));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize2(640, 480, 7, VC_MPEG4));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize2(640, 480, 10, VC_None));
    EXPECT_EQ(E_INVALIDARG, m_command->SetImageSize(640, 481, 10));
    EXPECT_THAT(Sent(), testing::IsEmpty());
}

TEST_P(IpelaModels, OutOfTheBoxIsMadeReadyToStream)
{
    Start({.model = GetModel().name, .standard = Standard(), .factorySettings = true});
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    const bool isNewest = std::string(GetModel().setSize).find("ImageCodec1") != std::string::npos;
    EXPECT_THAT(Sent(), ElementsAre("command/inquiry.cgi?inq=system", "command/inquiry.cgi?inq=camera",
                                    isNewest ? "command/camera.cgi?ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64"
                                               "&AutoRateCtrl1=off"
                                             : "command/camera.cgi?ImageCodec=mpeg4&AudioIn=on&AudInCodec=g711_64"
                                               "&M4AutoRateCtrl=off"));
    EXPECT_EQ("on", m_camera->Setting("AudioIn"));
    EXPECT_EQ("g711_64", m_camera->Setting("AudInCodec"));
    EXPECT_EQ(1u, m_log.Count("4 CCgiCommandIpela::ConnectToCamera, SetRequiredSettings called"));
    Forget();
    EXPECT_EQ(S_OK, m_command->ConnectToCamera());
    EXPECT_THAT(Sent(), ElementsAre("command/inquiry.cgi?inq=camera")) << "asked anew, and then nothing is missing";
    EXPECT_EQ(0u, m_log.Count("SetRequiredSettings"));
}

INSTANTIATE_TEST_SUITE_P(All, IpelaModels,
                         testing::Combine(testing::ValuesIn(kModels),
                                          testing::Values(VideoStandard::Ntsc, VideoStandard::Pal)),
                         [](const auto& test) {
                             std::string name = std::get<0>(test.param).name;
                             name = name.substr(4, name.find(' ') - 4);
                             return name + (std::get<1>(test.param) == VideoStandard::Ntsc ? "_60Hz" : "_50Hz");
                         });
} // namespace
