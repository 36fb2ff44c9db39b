#include "CameraSim/Axis/AxisFamily.h"

#include "CameraSim/CameraSimulator.h"
#include "TestClient.h"

#include <gtest/gtest.h>

namespace
{

/// An Axis camera with a client at it.
struct FamilyFixture
{
    explicit FamilyFixture(CameraSimulatorOptions options = {.model = "AXIS M5525-E"})
        : camera(std::move(options)), client(camera.Start())
    {
    }

    std::string Param(const std::string& query)
    {
        const ClientReply reply = client.Get("/axis-cgi/param.cgi?" + query);
        EXPECT_EQ(200u, reply.status) << "refusals have it, too";
        EXPECT_EQ("text/plain", reply.Header("Content-Type"));
        return reply.body;
    }
    std::string List(const std::string& group)
    {
        return Param("action=list&group=" + group);
    }
    std::string Update(const std::string& query)
    {
        return Param("action=update&" + query);
    }

    CCameraSimulator camera;
    CTestClient client;
};

CameraSimulatorOptions Factory(const char* model, VideoStandard standard = VideoStandard::Ntsc)
{
    return {.model = model, .standard = standard, .factorySettings = true};
}

TEST(AxisFamily, GroupsAreListedLineByLine)
{
    const struct
    {
        const char* group;
        const char* lines;
    } rows[] = {
        {"Brand", "root.Brand.Brand=AXIS\r\nroot.Brand.ProdFullName=AXIS M5525-E Network Camera\r\n"
                  "root.Brand.ProdNbr=M5525-E\r\nroot.Brand.ProdShortName=AXIS M5525-E\r\n"
                  "root.Brand.ProdType=Network Camera\r\n"},
        {"Properties.API", "root.Properties.API.HTTP.Version=3\r\nroot.Properties.API.RTSP.RTSPAuth=yes\r\n"
                           "root.Properties.API.RTSP.Version=2.01\r\n"},
        {"Properties.Firmware", "root.Properties.Firmware.BuildDate=Jan 20 2016 10:04\r\n"
                                "root.Properties.Firmware.Version=6.10.1\r\n"},
        {"ImageSource.I0", "root.ImageSource.I0.Name=Camera\r\nroot.ImageSource.I0.Sensor.CaptureFrequency=60Hz\r\n"
                           "root.ImageSource.I0.Sensor.LowLatencyMode=on\r\n"},
        {"Network.RTSP", "root.Network.RTSP.AuthenticateRTSPOverHTTP=yes\r\nroot.Network.RTSP.Enabled=yes\r\n"
                         "root.Network.RTSP.Port=554\r\n"},
        {"AudioSource.A0", "root.AudioSource.A0.AudioEncoding=g711\r\nroot.AudioSource.A0.InputGain=0\r\n"
                           "root.AudioSource.A0.InputType=mic\r\nroot.AudioSource.A0.SampleRate=8000\r\n"},
        {"Image.I0.MPEG", "root.Image.I0.MPEG.H264.Profile=main\r\nroot.Image.I0.MPEG.PCount=31\r\n"
                          "root.Image.I0.MPEG.ZFpsMode=fixed\r\nroot.Image.I0.MPEG.ZGopMode=fixed\r\n"},
    };
    FamilyFixture fixture;
    for (const auto& row : rows)
    {
        EXPECT_EQ(row.lines, fixture.List(row.group)) << row.group;
        EXPECT_EQ(row.lines, fixture.List(std::string("root.") + row.group)) << row.group;
    }
}

TEST(AxisFamily, OneParameterIsListedUnderTheNameItWasAskedFor)
{
    FamilyFixture fixture;
    EXPECT_EQ("Image.I0.Stream.FPS=30\r\n", fixture.List("Image.I0.Stream.FPS"));
    EXPECT_EQ("root.Image.I0.Stream.FPS=30\r\n", fixture.List("root.Image.I0.Stream.FPS"));
    EXPECT_EQ("root.Image.I0.Stream.FPS=30\r\n", fixture.List("Image.I0.Stream")) << "a group, if of one";
    EXPECT_EQ("Properties.Image.Resolution=1920x1080,1280x720,800x450,480x270\r\n",
              fixture.List("Properties.Image.Resolution"));
}

TEST(AxisFamily, SeveralGroupsOrAllAreListed)
{
    FamilyFixture fixture;
    EXPECT_EQ(fixture.List("Network.RTSP") + fixture.List("AudioSource"), fixture.List("Network.RTSP,AudioSource"));
    const std::string all = fixture.Param("action=list");
    EXPECT_TRUE(all.starts_with("root.Brand.Brand=AXIS\r\n"));
    EXPECT_NE(std::string::npos, all.find("root.Properties.PTZ.PTZ=yes\r\n"));
    EXPECT_EQ(all, fixture.List("root"));
}

TEST(AxisFamily, WhatIsNotThereIsAnsweredWithAText)
{
    FamilyFixture fixture;
    const std::pair<std::string, std::string> rows[] = {
        {"action=list&group=Image.I9", "# Error: Error -1 getting param in group 'Image.I9'\r\n"},
        {"action=list&group=Bra", "# Error: Error -1 getting param in group 'Bra'\r\n"},
        {"action=list&group=brand", "# Error: Error -1 getting param in group 'brand'\r\n"},
        {"action=update&Foo.Bar=1", "# Error: Error setting 'Foo.Bar' to '1'!\r\n"},
        {"action=update&Brand.ProdNbr=X", "# Error: Error setting 'Brand.ProdNbr' to 'X'!\r\n"},
        {"action=shout", "# Error: Unknown action 'shout'\r\n"},
        {"group=Brand", "# Error: Unknown action ''\r\n"},
    };
    for (const auto& [query, text] : rows)
        EXPECT_EQ(text, fixture.Param(query)) << query;
    EXPECT_EQ("M5525-E", fixture.camera.Setting("Brand.ProdNbr"));
}

TEST(AxisFamily, UpdatesAreCheckedAndKept)
{
    const struct
    {
        const char* why;
        const char* name;
        const char* value;
        bool isTaken;
    } rows[] = {
        {"a size", "Image.I0.Appearance.Resolution", "1920x1080", true},
        {"a size of another model", "Image.I0.Appearance.Resolution", "2688x1512", false},
        {"no size", "Image.I0.Appearance.Resolution", "large", false},
        {"a rate", "Image.I0.Stream.FPS", "12", true},
        {"as many as it can", "Image.I0.Stream.FPS", "0", true},
        {"more than it can", "Image.I0.Stream.FPS", "31", false},
        {"a group length", "Image.I0.MPEG.PCount", "26", true},
        {"too long a group", "Image.I0.MPEG.PCount", "1023", false},
        {"a mode", "Image.I0.MPEG.ZFpsMode", "dynamic", true},
        {"no mode", "Image.I0.MPEG.ZGopMode", "sometimes", false},
        {"a profile", "Image.I0.MPEG.H264.Profile", "baseline", true},
        {"a bit rate", "Image.I0.RateControl.TargetBitrate", "9000", true},
        {"no bit rate", "Image.I0.RateControl.TargetBitrate", "0", false},
        {"an encoding", "AudioSource.A0.AudioEncoding", "g726", true},
        {"no encoding", "AudioSource.A0.AudioEncoding", "mp3", false},
        {"a gain", "AudioSource.A0.InputGain", "-10", true},
        {"no gain", "AudioSource.A0.InputGain", "loud", false},
        {"a switch", "Network.RTSP.Enabled", "no", true},
        {"a switch in capitals", "Network.RTSP.Enabled", "YES", false},
        {"not for clients to change", "ImageSource.I0.Sensor.CaptureFrequency", "50Hz", false},
        {"with the root in front", "root.ImageSource.I0.Sensor.LowLatencyMode", "off", true},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.why);
        FamilyFixture fixture;
        const std::string name = std::string(row.name).starts_with("root.") ? row.name + 5 : row.name;
        const std::string before = fixture.camera.Setting(name);
        const std::string reply = fixture.Update(std::string(row.name) + "=" + row.value);
        EXPECT_EQ(row.isTaken ? "OK\r\n" : "# Error: Error setting '" + name + "' to '" + row.value + "'!\r\n", reply);
        EXPECT_EQ(row.isTaken ? row.value : before, fixture.camera.Setting(name));
        EXPECT_NE(std::string::npos, fixture.List(name).find("=" + (row.isTaken ? row.value : before) + "\r\n"));
    }
}

TEST(AxisFamily, EachParameterOfAnUpdateIsItsOwn)
{
    FamilyFixture fixture;
    EXPECT_EQ("# Error: Error setting 'Foo' to '1'!\r\n",
              fixture.Update("Image.I0.MPEG.PCount=10&Foo=1&Image.I0.Stream.FPS=5"));
    EXPECT_EQ("10", fixture.camera.Setting("Image.I0.MPEG.PCount"));
    EXPECT_EQ("5", fixture.camera.Setting("Image.I0.Stream.FPS"));
}

TEST(AxisFamily, ImageSizeFollowsTheResolution)
{
    FamilyFixture fixture;
    EXPECT_EQ("image width = 1280\r\nimage height = 720\r\n",
              fixture.client.Get("/axis-cgi/imagesize.cgi?camera=1").body);
    fixture.Update("Image.I0.Appearance.Resolution=480x270");
    EXPECT_EQ("image width = 480\r\nimage height = 270\r\n",
              fixture.client.Get("/axis-cgi/imagesize.cgi?camera=1").body);
    EXPECT_EQ("Error: imagesize.cgi needs camera=1\r\n", fixture.client.Get("/axis-cgi/imagesize.cgi?camera=2").body);
}

TEST(AxisFamily, ModelsDifferInNameSizesAndLowLatencyMode)
{
    const struct
    {
        const char* model;
        const char* number;
        bool hasLowLatencyMode;
        bool isLarge;
    } rows[] = {
        {"AXIS M5526-E", "M5526-E", false, true},     {"M5525-E", "M5525-E", true, false},
        {"AXIS P5635-E", "P5635-E", true, false},     {"axis V5915", "V5915", true, false},
        {"AXIS Q6055 PTZ", "Q6055 PTZ", true, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.model);
        FamilyFixture fixture({.model = row.model});
        EXPECT_EQ("axis", fixture.camera.State().family);
        EXPECT_EQ(row.model, fixture.camera.State().model);
        EXPECT_EQ("Brand.ProdNbr=" + std::string(row.number) + "\r\n", fixture.List("Brand.ProdNbr"));
        EXPECT_EQ(row.hasLowLatencyMode,
                  fixture.Update("root.ImageSource.I0.Sensor.LowLatencyMode=on").starts_with("OK"));
        EXPECT_EQ(row.isLarge, fixture.Update("Image.I0.Appearance.Resolution=2688x1512").starts_with("OK"));
        EXPECT_EQ("AXIS " + std::string(row.number) + "\r\n",
                  fixture.client.Get("/axis-cgi/com/ptz.cgi?whoami=yes").body);
    }
}

TEST(AxisFamily, PalHasItsOwnFrequencyRateAndGroupLength)
{
    FamilyFixture fixture({.model = "AXIS V5915", .standard = VideoStandard::Pal});
    EXPECT_EQ("50Hz", fixture.camera.Setting("ImageSource.I0.Sensor.CaptureFrequency"));
    EXPECT_EQ("25", fixture.camera.Setting("Image.I0.Stream.FPS"));
    EXPECT_EQ("26", fixture.camera.Setting("Image.I0.MPEG.PCount"));
    EXPECT_TRUE(fixture.Update("Image.I0.Stream.FPS=30").starts_with("# Error"));
}

TEST(AxisFamily, FactorySettingsAreNotThoseOfClients)
{
    FamilyFixture fixture(Factory("AXIS P5635-E"));
    const std::pair<const char*, const char*> rows[] = {
        {"Network.RTSP.Enabled", "no"},         {"AudioSource.A0.AudioEncoding", "g726"},
        {"AudioSource.A0.InputType", "line"},   {"Image.I0.MPEG.ZFpsMode", "dynamic"},
        {"Image.I0.MPEG.ZGopMode", "dynamic"},  {"Image.I0.MPEG.PCount", "61"},
        {"Image.I0.MPEG.H264.Profile", "high"}, {"Image.I0.Stream.FPS", "0"},
        {"Image.I0.RateControl.Mode", "vbr"},   {"ImageSource.I0.Sensor.LowLatencyMode", "off"},
    };
    for (const auto& [name, value] : rows)
        EXPECT_EQ(value, fixture.camera.Setting(name)) << name;
}

TEST(AxisFamily, SettingsAreForcedWithOrWithoutRoot)
{
    FamilyFixture fixture;
    fixture.camera.SetSetting("root.Properties.API.RTSP.Version", "1.9");
    fixture.camera.SetSetting("Image.I0.MPEG.PCount", "many");
    fixture.camera.SetSetting("root.Image.I0.New", "1");
    CameraChange change;
    change.settings.emplace_back("root.Brand.ProdNbr", std::nullopt);
    fixture.camera.Change(change);
    EXPECT_EQ("Properties.API.RTSP.Version=1.9\r\n", fixture.List("Properties.API.RTSP.Version"));
    EXPECT_EQ("Image.I0.MPEG.PCount=many\r\n", fixture.List("Image.I0.MPEG.PCount"));
    EXPECT_EQ("Image.I0.New=1\r\n", fixture.List("Image.I0.New"));
    EXPECT_TRUE(fixture.List("Brand.ProdNbr").starts_with("# Error"));
}

TEST(AxisFamily, RequestsOfOtherCamerasAreUnknown)
{
    FamilyFixture fixture;
    for (const char* target : {"/command/inquiry.cgi?inq=system", "/axis-cgi/foo.cgi", "/"})
        EXPECT_EQ(404u, fixture.client.Get(target).status) << target;
    EXPECT_EQ(400u, fixture.client.Get("/axis-cgi/param.cgi?action=%zz").status);
    EXPECT_EQ(405u, FetchWith(fixture.camera.Port(), "PUT", "/axis-cgi/param.cgi", "").status);
    EXPECT_EQ(
        "OK\r\n",
        FetchWith(fixture.camera.Port(), "POST", "/axis-cgi/param.cgi", "action=update&Image.I0.Stream.FPS=8").body);
    EXPECT_EQ("8", fixture.camera.Setting("Image.I0.Stream.FPS"));
}

TEST(AxisFamily, ACameraCanBecomeAnAxisOneAndBack)
{
    FamilyFixture fixture({.model = "SNC-EP580"});
    CameraChange change;
    change.model = "M5526-E";
    fixture.camera.Change(change);
    EXPECT_EQ("axis", fixture.camera.State().family);
    EXPECT_EQ(404u, fixture.client.Get("/command/inquiry.cgi?inq=system").status);
    change.model = "SNC-EP580";
    fixture.camera.Change(change);
    EXPECT_EQ("ipela", fixture.camera.State().family);
    EXPECT_EQ(404u, fixture.client.Get("/axis-cgi/com/ptz.cgi?whoami=yes").status);
}

/// A family object by itself, as the RTSP server sees it.
struct Bare
{
    explicit Bare(AxisOptions options = {}) : family(std::move(options), head) {}

    CPtzHead head;
    CAxisFamily family;
};

TEST(AxisRtspConfiguration, FollowsTheParameters)
{
    Bare bare({.modelName = "AXIS M5526-E"});
    RtspConfiguration now = bare.family.Rtsp().value();
    EXPECT_TRUE(now.isEnabled);
    EXPECT_TRUE(now.needsCredentials);
    EXPECT_EQ(1280, now.width);
    EXPECT_EQ(720, now.height);
    EXPECT_EQ(30, now.framesPerSecond);
    EXPECT_EQ(32, now.framesPerGroup) << "31 P pictures behind a key picture";
    EXPECT_EQ("main", now.h264Profile);
    EXPECT_EQ(2048, now.kilobitsPerSecond);
    EXPECT_TRUE(now.hasPcmuAudio);
    const std::pair<const char*, const char*> changes[] = {
        {"Image.I0.Appearance.Resolution", "2688x1512"},
        {"Image.I0.Stream.FPS", "10"},
        {"Image.I0.MPEG.PCount", "9"},
        {"Image.I0.MPEG.H264.Profile", "baseline"},
        {"Image.I0.RateControl.TargetBitrate", "500"},
        {"AudioSource.A0.SampleRate", "16000"},
        {"Network.RTSP.AuthenticateRTSPOverHTTP", "no"},
        {"Network.RTSP.Enabled", "no"},
    };
    for (const auto& [name, value] : changes)
        bare.family.ForceSetting(name, value);
    now = bare.family.Rtsp().value();
    EXPECT_FALSE(now.isEnabled);
    EXPECT_FALSE(now.needsCredentials);
    EXPECT_EQ(2688, now.width);
    EXPECT_EQ(1512, now.height);
    EXPECT_EQ(10, now.framesPerSecond);
    EXPECT_EQ(10, now.framesPerGroup);
    EXPECT_EQ("baseline", now.h264Profile);
    EXPECT_EQ(500, now.kilobitsPerSecond);
    EXPECT_FALSE(now.hasPcmuAudio);
}

TEST(AxisRtspConfiguration, HasNoImpossibleNumbers)
{
    Bare bare({.modelName = "V5915", .standard = VideoStandard::Pal});
    bare.family.ForceSetting("Image.I0.Stream.FPS", "0");
    EXPECT_EQ(25, bare.family.Rtsp()->framesPerSecond) << "unlimited is as many as the standard has";
    bare.family.ForceSetting("Image.I0.Stream.FPS", "fast");
    bare.family.ForceSetting("Image.I0.MPEG.PCount", "-7");
    EXPECT_EQ(25, bare.family.Rtsp()->framesPerSecond);
    EXPECT_EQ(1, bare.family.Rtsp()->framesPerGroup);
    for (const char* none : {"", "x", "12", "12x", "x34", "ax2"})
    {
        bare.family.ForceSetting("Image.I0.Appearance.Resolution", none);
        EXPECT_EQ(0, bare.family.Rtsp()->width) << none;
        EXPECT_EQ(0, bare.family.Rtsp()->height) << none;
    }
}

TEST(AxisRtspConfiguration, IsAlwaysOnForLenientStreams)
{
    Bare bare({.factorySettings = true});
    EXPECT_FALSE(bare.family.Rtsp()->isEnabled);
    bare.family.RequireStreamSettings(false);
    EXPECT_TRUE(bare.family.Rtsp()->isEnabled);
}

} // namespace
