// Every slot of the newest interface, called by its number as any language would, and what then reaches the camera.

#include "Tests/Component/ScriptedCameraFixture.h"

#include <functional>

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

/// A method of the standard calling convention takes its own arguments off the stack, so a wrong number of them would
/// ruin the caller's.
template <class... Arguments>
HRESULT CallSlot(IUnknown* object, unsigned slot, Arguments... arguments)
{
    using Method = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, Arguments...);
    void** const table = *reinterpret_cast<void***>(object);
    return reinterpret_cast<Method>(table[slot])(object, arguments...);
}

/// Right in everything, so that nothing has to be set up.
const std::string kSoundSettings =
    "VideoStd=ntsc&ImageCodec1=h264&ImageSize1=1280,720&FrameRate1=30&BitRate1=4096&AutoRateCtrl1=off"
    "&McAddress1=239.192.0.101&McVideoPort1=61000&McAudioPort=61002&UcVideoPort1=51000&UcAudioPort=51002"
    "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=10";

class VtableCall : public ScriptedCameraTest
{
};

TEST_F(VtableCall, ConnectionSlots)
{
    m_camera.emplace(std::vector<ScriptedReply>{ProbeReply()});
    m_command = CreateCommand();
    IUnknown* const object = m_command.get();
    const CBstr server = MakeBstr(L"127.0.0.1");
    EXPECT_EQ(S_FALSE, CallSlot(object, 5));
    EXPECT_EQ(S_OK, CallSlot(object, 3, server.get(), static_cast<unsigned>(m_camera->Port()), BSTR(), BSTR()));
    EXPECT_EQ(S_OK, CallSlot(object, 5));
    EXPECT_EQ(S_OK, CallSlot(object, 4));
    EXPECT_EQ(S_FALSE, CallSlot(object, 5));
}

TEST_F(VtableCall, SlotsThatSendRequests)
{
    using Call = std::function<HRESULT(IUnknown*)>;
    const std::string inquiry = "command/inquiry.cgi?inq=camera";
    CameraSettings settings = {};
    CameraSettings2 settings2 = {};
    CameraSettings3 settings3 = {};
    TransportParameters transport = {};
    transport.Multicast = TRUE;
    ImageSize2 size = {};
    const struct
    {
        unsigned slot;
        Call call;
        std::string request;
    } rows[] = {
        {6, [](IUnknown* o) { return CallSlot(o, 6); }, inquiry},
        {7, [](IUnknown* o) { return CallSlot(o, 7); }, "image1?UdpMode=multicast"},
        {8, [](IUnknown* o) { return CallSlot(o, 8); }, "audio?udpMode=multicast"},
        {11, [&](IUnknown* o) { return CallSlot(o, 11, &settings); }, inquiry},
        {12, [](IUnknown* o) { return CallSlot(o, 12, 640, 480, 15); },
         "command/camera.cgi?ImageCodec1=mpeg4&ImageSize1=640%2C480&FrameRate1=15"},
        {13, [](IUnknown* o) { return CallSlot(o, 13, 512); }, "command/camera.cgi?BitRate1=512"},
        {14, [](IUnknown* o) { return CallSlot(o, 14, 3, 7); }, "command/ptzf.cgi?Relative=0307"},
        {15, [](IUnknown* o) { return CallSlot(o, 15, 1, 2, 3, 4); }, "command/ptzf.cgi?AreaZoom=1,2,3,4"},
        {16, [](IUnknown* o) { return CallSlot(o, 16, 4, 100); }, "command/ptzf.cgi?Move=left,24"},
        {17, [](IUnknown* o) { return CallSlot(o, 17, 10); }, "command/ptzf.cgi?Move=stop,zoom"},
        {18, [](IUnknown* o) { return CallSlot(o, 18, 0, 5000u); }, "image1?UdpMode=unicast&UdpPort=5000"},
        {19, [](IUnknown* o) { return CallSlot(o, 19, 0, 65535u); }, "audio?UdpMode=unicast&UdpPort=65535"},
        {21, [](IUnknown* o) { return CallSlot(o, 21, -7); }, "command/camera.cgi?AudioInVolume=-7"},
        {22, [&](IUnknown* o) { return CallSlot(o, 22, &settings2); }, inquiry},
        {25, [](IUnknown* o) { return CallSlot(o, 25, 640, 480, 15, 2); },
         "command/camera.cgi?ImageCodec1=h264&ImageSize1=640%2C480&FrameRate1=15"},
        {26, [&](IUnknown* o) { return CallSlot(o, 26, 1, &transport); }, inquiry},
        {27, [&](IUnknown* o) { return CallSlot(o, 27, &size); }, inquiry},
        {28, [&](IUnknown* o) { return CallSlot(o, 28, &settings3); }, inquiry},
    };
    m_registry.SetDword(kUseCache, 0);
    StartProbed({HttpAnswer(200, kSoundSettings)});
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.slot);
        EXPECT_EQ(S_OK, row.call(m_command.get()));
        EXPECT_THAT(Sent(), ElementsAre(row.request));
    }
    for (const CameraSettings2* read : {&settings2, reinterpret_cast<CameraSettings2*>(&settings3)})
        EXPECT_EQ(VC_H264, read->VideoEncoding);
    EXPECT_EQ(61002, transport.RtpPort);
    EXPECT_EQ(1280, size.ImageWidth);
    for (BSTR text : {settings.MulticastAddress, settings2.MulticastAddress, settings3.MulticastAddress,
                      transport.MulticastAddress})
    {
        EXPECT_STREQ(L"239.192.0.101", text);
        ::SysFreeString(text);
    }
}

TEST_F(VtableCall, SlotsThatAnswerByThemselves)
{
    StartProbed({HttpAnswer(500, "nothing is to be sent")});
    IUnknown* const object = m_command.get();
    CTaskMemory<ImageSize> sizes;
    CTaskMemory<ImageSize2> sizes2;
    CTaskMemory<long> rates;
    long count = 0;
    EXPECT_EQ(S_OK, CallSlot(object, 9, sizes.put(), &count));
    EXPECT_EQ(7, count);
    EXPECT_EQ(1920, sizes.get()->ImageWidth);
    EXPECT_EQ(S_FALSE, CallSlot(object, 10, 1920, 1080, 30)) << "in MPEG-4";
    EXPECT_EQ(S_OK, CallSlot(object, 10, 1280, 720, 30));
    EXPECT_EQ(S_OK, CallSlot(object, 20, rates.put(), &count));
    EXPECT_EQ(12, count);
    EXPECT_EQ(1, *rates.get());
    EXPECT_EQ(S_OK, CallSlot(object, 23, sizes2.put(), &count));
    EXPECT_EQ(7, count);
    EXPECT_EQ(VC_H264, sizes2.get()->VideoEncoding);
    EXPECT_EQ(S_OK, CallSlot(object, 24, 1920, 1080, 30, 2));
    EXPECT_EQ(S_FALSE, CallSlot(object, 24, 1920, 1080, 30, 1));
    H264Parameters parameters = {nullptr, 5, 5, 5, nullptr};
    EXPECT_EQ(S_OK, CallSlot(object, 29, &parameters));
    EXPECT_EQ(-1, parameters.PacketizationMode);
    EXPECT_EQ(S_OK, CallSlot(object, 30));
    EXPECT_EQ(S_OK, CallSlot(object, 31));
    EXPECT_EQ(S_FALSE, CallSlot(object, 32, 1));
    EXPECT_THAT(Sent(), IsEmpty());
}
} // namespace
