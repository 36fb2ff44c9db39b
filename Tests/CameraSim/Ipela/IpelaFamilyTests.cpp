#include "CameraSim/CameraSimulator.h"

#include "TestClient.h"

#include <gtest/gtest.h>

namespace
{

/// A camera of one model with a client at it.
struct IpelaFixture
{
    explicit IpelaFixture(std::string model, VideoStandard standard = VideoStandard::Ntsc)
        : camera({.model = std::move(model), .standard = standard}), client(camera.Start())
    {
    }

    std::string Inquire()
    {
        return client.Get("/command/inquiry.cgi?inq=camera").body;
    }
    unsigned Set(const std::string& query)
    {
        return client.Get("/command/camera.cgi?" + query).status;
    }

    CCameraSimulator camera;
    CTestClient client;
};

TEST(IpelaFamily, SystemInquiryNamesTheCamera)
{
    for (const char* model : {"SNC-RZ25", "SNC-EP580", "snc-ep550n", "WEBCAM 1"})
    {
        IpelaFixture fixture(model);
        const ClientReply reply = fixture.client.Get("/command/inquiry.cgi?inq=system");
        EXPECT_EQ(200u, reply.status);
        EXPECT_EQ("ModelName=" + std::string(model) + "&Serial=1000001&SoftVersion=1.50.00&HardVersion=1.00",
                  reply.body);
    }
}

TEST(IpelaFamily, CameraInquiryUsesTheNamesOfTheFamily)
{
    const std::string mpeg4Tail = "&M4FrameRate=30&M4BitRate=2048&M4AutoRateCtrl=off&McAddress=239.192.0.1"
                                  "&McVideoPort=60000&UcVideoPort=50000&McAudioPort=60010&UcAudioPort=50010"
                                  "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=0&VideoStd=ntsc";
    const std::string h264Tail =
        "&FrameRate1=30&BitRate1=2048&AutoRateCtrl1=off&AspectRatioConversion=squeeze&ImageCodec2=jpeg"
        "&ImageSize2=320,240&FrameRate2=5&McAddress2=239.192.0.2&McVideoPort2=60020&UcVideoPort2=50020"
        "&McAddress1=239.192.0.1&McVideoPort1=60000&UcVideoPort1=50000&McAudioPort=60010&UcAudioPort=50010"
        "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=0&VideoStd=ntsc";
    const std::pair<const char*, std::string> rows[] = {
        {"UNKNOWN", "ImageCodec=mpeg4&M4ImageSize=1280,0" + mpeg4Tail},
        {"SNC-RX550", "ImageCodec=mpeg4&M4ImageSize=640,0" + mpeg4Tail},
        {"SNC-RZ25", "ImageCodec=mpeg4&ImageSize=640,2" + mpeg4Tail},
        {"SNC-RH124", "ImageCodec=mpeg4&ImageSize1=1280,720" + mpeg4Tail},
        {"SNC-ER550", "ImageCodec=mpeg4&ImageSize1=1280,720" + mpeg4Tail},
        {"SNC-ER580", "ImageCodec=mpeg4&ImageSize1=1280,720" + mpeg4Tail},
        {"SNC-EP550", "ImageCodec1=h264&ImageSize1=1280,720" + h264Tail},
        {"SNC-EP520", "ImageCodec1=h264&ImageSize1=640,480" + h264Tail},
        {"SNC-WR600", "ImageCodec1=h264&ImageSize1=1280,720" + h264Tail},
        {"SNC-EP580", "ImageCodec1=h264&ImageSize1=1280,720" + h264Tail},
    };
    for (const auto& [model, line] : rows)
        EXPECT_EQ(line, IpelaFixture(model).Inquire()) << model;
}

TEST(IpelaFamily, PalHasItsOwnRates)
{
    IpelaFixture fixture("SNC-EP580", VideoStandard::Pal);
    EXPECT_EQ("pal", fixture.camera.Setting("VideoStd"));
    EXPECT_EQ("25", fixture.camera.Setting("FrameRate1"));
    EXPECT_EQ(200u, fixture.Set("FrameRate1=12"));
    EXPECT_EQ(400u, fixture.Set("FrameRate1=15"));
    EXPECT_EQ(200u, fixture.Set("ImageSize1=320,184"));
    EXPECT_EQ(400u, fixture.Set("ImageSize1=320,192"));
}

TEST(IpelaFamily, EachModelTakesSizesInItsOwnForm)
{
    struct Row
    {
        const char* why;
        const char* model;
        const char* query;
        unsigned status;
        const char* name;
        const char* value;
    };
    const Row rows[] = {
        {"width and 0", "SNC-RX550", "M4ImageSize=320,0&M4FrameRate=10", 200, "M4ImageSize", "320,0"},
        {"the unknown camera likewise", "X", "M4ImageSize=1920,0&M4FrameRate=20", 200, "M4ImageSize", "1920,0"},
        {"width and 2", "SNC-RZ25", "ImageSize=320,2&M4FrameRate=10", 200, "ImageSize", "320,2"},
        {"an encoded comma", "SNC-ER580", "ImageSize1=640%2C480&M4FrameRate=5", 200, "ImageSize1", "640,480"},
        {"a plain comma", "SNC-ER580", "ImageSize1=640,480", 200, "ImageSize1", "640,480"},
        {"codec, size and rate", "SNC-EP550",
         "ImageCodec1=mpeg4&AspectRatioConversion=squeeze&ImageSize1=640%2C368&FrameRate1=8", 200, "ImageSize1",
         "640,368"},
        {"a width that is not there", "SNC-RX550", "M4ImageSize=641,0", 400, "M4ImageSize", "640,0"},
        {"a height that is not there", "SNC-ER580", "ImageSize1=640%2C481", 400, "ImageSize1", "1280,720"},
        {"the name of another model", "SNC-RZ25", "M4ImageSize=320,0", 400, "ImageSize", "640,2"},
        {"a size the codec lacks", "SNC-EP580", "ImageCodec1=mpeg4&ImageSize1=1920%2C1080", 400, "ImageSize1",
         "1280,720"},
        {"no number", "SNC-EP580", "ImageSize1=big", 400, "ImageSize1", "1280,720"},
    };
    for (const Row& row : rows)
    {
        IpelaFixture fixture(row.model);
        EXPECT_EQ(row.status, fixture.Set(row.query)) << row.why;
        EXPECT_EQ(row.value, fixture.camera.Setting(row.name)) << row.why;
    }
}

TEST(IpelaFamily, ValuesAreChecked)
{
    struct Row
    {
        const char* why;
        const char* query;
        unsigned status;
    };
    const Row rows[] = {
        {"a listed bit rate", "BitRate1=512", 200},
        {"a bit rate between two steps", "BitRate1=500", 400},
        {"the lowest volume", "AudioInVolume=-10", 200},
        {"the highest volume", "AudioInVolume=10", 200},
        {"one too loud", "AudioInVolume=11", 400},
        {"one too quiet", "AudioInVolume=-11", 400},
        {"no number", "AudioInVolume=loud", 400},
        {"a codec in capitals", "ImageCodec1=MPEG4", 200},
        {"a codec that is not there", "ImageCodec1=mpeg2", 400},
        {"an audio codec", "AudInCodec=g726_32", 200},
        {"a switch", "AudioIn=off", 200},
        {"a switch position that is not there", "AudioIn=maybe", 400},
        {"a frame rate of the other standard", "FrameRate1=12", 400},
        {"a port", "McAudioPort=1024", 200},
        {"a port below the range", "McAudioPort=1023", 400},
        {"a port above the range", "McAudioPort=65535", 400},
        {"a multicast address", "McAddress1=239.1.2.3", 200},
        {"an address that is not multicast", "McAddress1=192.168.0.1", 400},
        {"half an address", "McAddress1=239.1.2", 400},
        {"too much of an address", "McAddress1=239.1.2.3.4", 400},
        {"the video standard is no setting", "VideoStd=pal", 400},
        {"a setting that is not there", "Bogus=1", 400},
        {"nothing", "", 400},
        {"broken percent encoding", "BitRate1=%5", 400},
    };
    for (const Row& row : rows)
    {
        IpelaFixture fixture("SNC-EP580");
        EXPECT_EQ(row.status, fixture.Set(row.query)) << row.why;
    }
}

TEST(IpelaFamily, ARefusedRequestChangesNothingAtAll)
{
    IpelaFixture fixture("SNC-EP580");
    const std::string before = fixture.Inquire();
    const ClientReply reply = fixture.client.Get("/command/camera.cgi?BitRate1=64&AudioIn=off&AudioInVolume=99");
    EXPECT_EQ(400u, reply.status);
    EXPECT_EQ("impossible value AudioInVolume=99", reply.body);
    EXPECT_EQ(before, fixture.Inquire());
}

TEST(IpelaFamily, TheWiFiModelHasNoMpeg4)
{
    IpelaFixture fixture("SNC-WR600");
    EXPECT_EQ(400u, fixture.Set("ImageCodec1=mpeg4"));
    EXPECT_EQ(200u, fixture.Set("ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off"));
}

TEST(IpelaFamily, AnotherCodecBringsASizeThatItHas)
{
    IpelaFixture fixture("SNC-EP580");
    EXPECT_EQ(200u, fixture.Set("ImageSize1=1920,1080"));
    EXPECT_EQ(200u, fixture.Set("ImageCodec1=mpeg4"));
    EXPECT_EQ("1280,720", fixture.camera.Setting("ImageSize1"));
}

TEST(IpelaFamily, TheRateIsCutToWhatTheSizeAllows)
{
    IpelaFixture fixture("UNKNOWN");
    EXPECT_EQ(200u, fixture.Set("M4ImageSize=1920,0&M4FrameRate=30"));
    EXPECT_EQ("20", fixture.camera.Setting("M4FrameRate"));
}

TEST(IpelaFamily, FactorySettingsNeedTheSetupOfBothFamilies)
{
    struct Row
    {
        const char* model;
        const char* codecName;
        const char* rateControlName;
        const char* setup;
    };
    const Row rows[] = {
        {"SNC-RZ25", "ImageCodec", "M4AutoRateCtrl",
         "ImageCodec=mpeg4&AudioIn=on&AudInCodec=g711_64&M4AutoRateCtrl=off"},
        {"SNC-EP580", "ImageCodec1", "AutoRateCtrl1",
         "ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64&AutoRateCtrl1=off"},
    };
    for (const Row& row : rows)
    {
        CCameraSimulator camera({.model = row.model, .factorySettings = true});
        CTestClient client(camera.Start());
        EXPECT_EQ("jpeg", camera.Setting(row.codecName));
        EXPECT_EQ("on", camera.Setting(row.rateControlName));
        EXPECT_EQ("off", camera.Setting("AudioIn"));
        EXPECT_NE("g711_64", camera.Setting("AudInCodec"));
        EXPECT_EQ(200u, client.Get("/command/camera.cgi?" + std::string(row.setup)).status);
        EXPECT_NE("jpeg", camera.Setting(row.codecName));
        EXPECT_EQ("off", camera.Setting(row.rateControlName));
        EXPECT_EQ("on", camera.Setting("AudioIn"));
        EXPECT_EQ("g711_64", camera.Setting("AudInCodec"));
    }
}

TEST(IpelaFamily, AnswersOnlyWhatTheCameraHas)
{
    struct Row
    {
        const char* why;
        const char* model;
        const char* target;
        unsigned status;
    };
    const Row rows[] = {
        {"another maker's path", "SNC-EP580", "/axis-cgi/param.cgi?action=list", 404},
        {"the root", "SNC-EP580", "/", 404},
        {"an unknown inquiry", "SNC-EP580", "/command/inquiry.cgi?inq=weather", 400},
        {"no inquiry", "SNC-EP580", "/command/inquiry.cgi", 400},
        {"the older family's video", "SNC-EP580", "/mpeg4?UdpMode=unicast&UdpPort=5000", 404},
        {"the newer family's video", "SNC-RZ25", "/image1?UdpMode=unicast&UdpPort=5000", 404},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.status, IpelaFixture(row.model).client.Get(row.target).status) << row.why;
}

TEST(IpelaFamily, TakesAPostedFormAndRefusesOtherMethods)
{
    IpelaFixture fixture("SNC-EP580");
    EXPECT_EQ(200u, FetchWith(fixture.camera.Port(), "POST", "/command/camera.cgi", "BitRate1=64").status);
    EXPECT_EQ("64", fixture.camera.Setting("BitRate1"));
    const ClientReply refused = FetchWith(fixture.camera.Port(), "DELETE", "/command/camera.cgi", "BitRate1=128");
    EXPECT_EQ(405u, refused.status);
    EXPECT_EQ("GET, HEAD, POST", refused.Header("Allow"));
    EXPECT_EQ("64", fixture.camera.Setting("BitRate1"));
}

TEST(IpelaFamily, AHeadRequestGetsNoBody)
{
    IpelaFixture fixture("SNC-EP580");
    fixture.client.SendRequest("HEAD", "/command/inquiry.cgi?inq=system");
    const ClientReply head = fixture.client.Receive(CTestClient::kPatience, true);
    EXPECT_EQ(200u, head.status);
    EXPECT_EQ("71", head.Header("Content-Length"));
    // Had a body followed, it would stand before this answer.
    EXPECT_EQ(200u, fixture.client.Get("/command/inquiry.cgi?inq=system").status);
}

TEST(IpelaFamily, ForcedSettingsAreAnsweredAsTheyAre)
{
    IpelaFixture fixture("SNC-RX550");
    CameraChange change;
    change.settings = {{"McVideoPort", "1023"}, {"UcAudioPort", std::nullopt}, {"Extra", "x"}};
    fixture.camera.Change(change);
    const std::string line = fixture.Inquire();
    EXPECT_NE(std::string::npos, line.find("&McVideoPort=1023&")) << line;
    EXPECT_EQ(std::string::npos, line.find("UcAudioPort")) << line;
    EXPECT_TRUE(line.ends_with("&Extra=x")) << line;
}

TEST(IpelaFamily, TheModelCanBeChangedWhileRunning)
{
    IpelaFixture fixture("SNC-EP580");
    CameraChange change;
    change.model = "SNC-RZ25";
    change.standard = VideoStandard::Pal;
    fixture.camera.Change(change);
    const std::string line = fixture.Inquire();
    EXPECT_TRUE(line.starts_with("ImageCodec=mpeg4&ImageSize=640,2&M4FrameRate=25&")) << line;
    EXPECT_EQ("SNC-RZ25", fixture.camera.State().model);
}

} // namespace
