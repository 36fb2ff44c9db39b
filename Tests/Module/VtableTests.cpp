// The slots of the five interfaces, called as a client in any language would: by index, through the raw table.

#include "Tests/Support/ComponentLibrary.h"

#include <Quorvane.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace
{
/// Calls one slot of an object's table. Function pointers of the standard calling convention clean up their own
/// arguments, so a wrong number of them would ruin the caller's stack.
template <class... Arguments>
HRESULT CallSlot(IUnknown* object, unsigned slot, Arguments... arguments)
{
    using Method = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, Arguments...);
    void** const table = *reinterpret_cast<void***>(object);
    return reinterpret_cast<Method>(table[slot])(object, arguments...);
}

std::string Show(std::int64_t number)
{
    return std::to_string(number);
}

std::string Show(const void* pointer)
{
    return "*" + std::to_string(reinterpret_cast<std::uintptr_t>(pointer));
}

template <class T>
T* Pointer(std::uintptr_t number)
{
    return reinterpret_cast<T*>(number);
}

/// Implements the newest interface by writing down what was called with what.
class CRecorder final : public IAVCommand5
{
public:
    std::string last;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override
    {
        return Record("QueryInterface");
    }
    ULONG STDMETHODCALLTYPE AddRef() override
    {
        return static_cast<ULONG>(Record("AddRef"));
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        return static_cast<ULONG>(Record("Release"));
    }
    HRESULT STDMETHODCALLTYPE OpenConnection(BSTR serverName, unsigned short port, BSTR userName,
                                             BSTR password) override
    {
        return Record("OpenConnection", serverName, port, userName, password);
    }
    HRESULT STDMETHODCALLTYPE CloseConnection() override
    {
        return Record("CloseConnection");
    }
    HRESULT STDMETHODCALLTYPE IsConnected() override
    {
        return Record("IsConnected");
    }
    HRESULT STDMETHODCALLTYPE ConnectToCamera() override
    {
        return Record("ConnectToCamera");
    }
    HRESULT STDMETHODCALLTYPE StartMpeg4Video() override
    {
        return Record("StartMpeg4Video");
    }
    HRESULT STDMETHODCALLTYPE StartAudio() override
    {
        return Record("StartAudio");
    }
    HRESULT STDMETHODCALLTYPE GetSupportedImageSizes(ImageSize** ppSizes, long* pCount) override
    {
        return Record("GetSupportedImageSizes", ppSizes, pCount);
    }
    HRESULT STDMETHODCALLTYPE IsImageSizeSupported(long width, long height, long frameRate) override
    {
        return Record("IsImageSizeSupported", width, height, frameRate);
    }
    HRESULT STDMETHODCALLTYPE GetCameraSettings(CameraSettings* pSettings) override
    {
        return Record("GetCameraSettings", pSettings);
    }
    HRESULT STDMETHODCALLTYPE SetImageSize(long width, long height, long frameRate) override
    {
        return Record("SetImageSize", width, height, frameRate);
    }
    HRESULT STDMETHODCALLTYPE SetBitRate(long bitRate) override
    {
        return Record("SetBitRate", bitRate);
    }
    HRESULT STDMETHODCALLTYPE SendPTZCommand(PTZCommand command, PTDistance distance) override
    {
        return Record("SendPTZCommand", command, distance);
    }
    HRESULT STDMETHODCALLTYPE SendPTZAreaZoomCommand(long x, long y, long width, long height) override
    {
        return Record("SendPTZAreaZoomCommand", x, y, width, height);
    }
    HRESULT STDMETHODCALLTYPE SendPTZStartCommand(PTZCommand command, long speed) override
    {
        return Record("SendPTZStartCommand", command, speed);
    }
    HRESULT STDMETHODCALLTYPE SendPTZStopCommand(PTZCommand command) override
    {
        return Record("SendPTZStopCommand", command);
    }
    HRESULT STDMETHODCALLTYPE StartMpeg4Video2(BOOL bMulticast, unsigned short udpPort) override
    {
        return Record("StartMpeg4Video2", bMulticast, udpPort);
    }
    HRESULT STDMETHODCALLTYPE StartAudio2(BOOL bMulticast, unsigned short udpPort) override
    {
        return Record("StartAudio2", bMulticast, udpPort);
    }
    HRESULT STDMETHODCALLTYPE GetSupportedFrameRates(long** ppFrameRate, long* pCount) override
    {
        return Record("GetSupportedFrameRates", ppFrameRate, pCount);
    }
    HRESULT STDMETHODCALLTYPE SetAudioInVolume(long volume) override
    {
        return Record("SetAudioInVolume", volume);
    }
    HRESULT STDMETHODCALLTYPE GetCameraSettings2(CameraSettings2* pSettings) override
    {
        return Record("GetCameraSettings2", pSettings);
    }
    HRESULT STDMETHODCALLTYPE GetSupportedImageSizes2(ImageSize2** ppSizes, long* pCount) override
    {
        return Record("GetSupportedImageSizes2", ppSizes, pCount);
    }
    HRESULT STDMETHODCALLTYPE IsImageSizeSupported2(long width, long height, long frameRate,
                                                    VideoCodec videoEncoding) override
    {
        return Record("IsImageSizeSupported2", width, height, frameRate, videoEncoding);
    }
    HRESULT STDMETHODCALLTYPE SetImageSize2(long width, long height, long frameRate, VideoCodec videoEncoding) override
    {
        return Record("SetImageSize2", width, height, frameRate, videoEncoding);
    }
    HRESULT STDMETHODCALLTYPE SetupTransport(long streamId, TransportParameters* pParameters) override
    {
        return Record("SetupTransport", streamId, pParameters);
    }
    HRESULT STDMETHODCALLTYPE GetCameraImageSize(ImageSize2* pImageSize) override
    {
        return Record("GetCameraImageSize", pImageSize);
    }
    HRESULT STDMETHODCALLTYPE GetCameraSettings3(CameraSettings3* pSettings) override
    {
        return Record("GetCameraSettings3", pSettings);
    }
    HRESULT STDMETHODCALLTYPE GetH264Parameters(H264Parameters* pParameters) override
    {
        return Record("GetH264Parameters", pParameters);
    }
    HRESULT STDMETHODCALLTYPE PauseStreaming() override
    {
        return Record("PauseStreaming");
    }
    HRESULT STDMETHODCALLTYPE StopStreaming() override
    {
        return Record("StopStreaming");
    }
    HRESULT STDMETHODCALLTYPE ConnectToRtspServer(BOOL joinRtspSession) override
    {
        return Record("ConnectToRtspServer", joinRtspSession);
    }

private:
    template <class... Arguments>
    HRESULT Record(const char* name, Arguments... arguments)
    {
        last = name;
        ((last += " " + Show(arguments)), ...);
        return S_OK;
    }
};

/// What the recorder saw of a call through one slot.
template <class... Arguments>
std::string ThroughSlot(unsigned slot, Arguments... arguments)
{
    CRecorder recorder;
    CallSlot(&recorder, slot, arguments...);
    return recorder.last;
}

TEST(Vtable, SlotsOfIUnknownAndIAVCommand)
{
    EXPECT_EQ("QueryInterface", ThroughSlot(0, &IID_IUnknown, Pointer<void*>(2)));
    EXPECT_EQ("AddRef", ThroughSlot(1));
    EXPECT_EQ("Release", ThroughSlot(2));
    EXPECT_EQ("OpenConnection *1 80 *2 *3", ThroughSlot(3, Pointer<wchar_t>(1), static_cast<unsigned short>(80),
                                                        Pointer<wchar_t>(2), Pointer<wchar_t>(3)));
    EXPECT_EQ("CloseConnection", ThroughSlot(4));
    EXPECT_EQ("IsConnected", ThroughSlot(5));
    EXPECT_EQ("ConnectToCamera", ThroughSlot(6));
    EXPECT_EQ("StartMpeg4Video", ThroughSlot(7));
    EXPECT_EQ("StartAudio", ThroughSlot(8));
    EXPECT_EQ("GetSupportedImageSizes *1 *2", ThroughSlot(9, Pointer<void*>(1), Pointer<std::int32_t>(2)));
    EXPECT_EQ("IsImageSizeSupported 640 480 30", ThroughSlot(10, 640, 480, 30));
    EXPECT_EQ("GetCameraSettings *1", ThroughSlot(11, Pointer<void>(1)));
    EXPECT_EQ("SetImageSize 640 480 30", ThroughSlot(12, 640, 480, 30));
    EXPECT_EQ("SetBitRate 512", ThroughSlot(13, 512));
    EXPECT_EQ("SendPTZCommand 9 10", ThroughSlot(14, 9, 10));
    EXPECT_EQ("SendPTZAreaZoomCommand 1 2 3 4", ThroughSlot(15, 1, 2, 3, 4));
    EXPECT_EQ("SendPTZStartCommand 11 -5", ThroughSlot(16, 11, -5));
    EXPECT_EQ("SendPTZStopCommand 5", ThroughSlot(17, 5)) << "a value that is no member passes as it is";
}

TEST(Vtable, SlotsOfIAVCommand2)
{
    EXPECT_EQ("StartMpeg4Video2 1 65535", ThroughSlot(18, 1, static_cast<unsigned short>(65535)));
    EXPECT_EQ("StartAudio2 0 5004", ThroughSlot(19, 0, static_cast<unsigned short>(5004)));
    EXPECT_EQ("GetSupportedFrameRates *1 *2", ThroughSlot(20, Pointer<std::int32_t*>(1), Pointer<std::int32_t>(2)));
    EXPECT_EQ("SetAudioInVolume -1", ThroughSlot(21, -1));
}

TEST(Vtable, SlotsOfIAVCommand3)
{
    EXPECT_EQ("GetCameraSettings2 *1", ThroughSlot(22, Pointer<void>(1)));
    EXPECT_EQ("GetSupportedImageSizes2 *1 *2", ThroughSlot(23, Pointer<void*>(1), Pointer<std::int32_t>(2)));
    EXPECT_EQ("IsImageSizeSupported2 640 480 30 2", ThroughSlot(24, 640, 480, 30, 2));
    EXPECT_EQ("SetImageSize2 640 480 30 1", ThroughSlot(25, 640, 480, 30, 1));
}

TEST(Vtable, SlotsOfIAVCommand4)
{
    EXPECT_EQ("SetupTransport 7 *1", ThroughSlot(26, 7, Pointer<void>(1)));
    EXPECT_EQ("GetCameraImageSize *1", ThroughSlot(27, Pointer<void>(1)));
}

TEST(Vtable, SlotsOfIAVCommand5)
{
    EXPECT_EQ("GetCameraSettings3 *1", ThroughSlot(28, Pointer<void>(1)));
    EXPECT_EQ("GetH264Parameters *1", ThroughSlot(29, Pointer<void>(1)));
    EXPECT_EQ("PauseStreaming", ThroughSlot(30));
    EXPECT_EQ("StopStreaming", ThroughSlot(31));
    EXPECT_EQ("ConnectToRtspServer 1", ThroughSlot(32, 1));
}

TEST(Vtable, ComponentsOwnTableAnswers)
{
    const CComponentLibrary library;
    CComPointer<IUnknown> camera;
    ASSERT_EQ(S_OK, library.Factory(CLSID_AVCommand)->CreateInstance(nullptr, IID_IAVCommand5, camera.putVoid()));
    void* queried = nullptr;
    EXPECT_EQ(S_OK, CallSlot(camera.get(), 0, &IID_IAVCommand2, &queried));
    EXPECT_EQ(static_cast<void*>(camera.get()), queried);
    EXPECT_EQ(3, CallSlot(camera.get(), 1));
    EXPECT_EQ(2, CallSlot(camera.get(), 2));
    EXPECT_EQ(1, CallSlot(camera.get(), 2));
    EXPECT_EQ(S_OK, CallSlot(camera.get(), 4)) << "CloseConnection";
    EXPECT_EQ(S_FALSE, CallSlot(camera.get(), 5)) << "IsConnected";
    EXPECT_EQ(E_INVALIDARG, CallSlot(camera.get(), 11, Pointer<void>(0))) << "GetCameraSettings";
}
} // namespace
