#pragma once

#include "CgiCommandIpela.h"
#include "Tests/CommandSets/CommandSetFixture.h"

/// An IPELA command set at a scripted camera, with the tick count in the test's hand, too.
class IpelaTest : public CommandSetTest
{
protected:
    IpelaTest()
    {
        s_tickMs = 1000;
    }

    /// Starts a camera of that name, which answers the probe and then plays the script, and probes it.
    void Probe(const std::string& modelName, std::vector<ScriptedReply> script = {HttpAnswer(200, "OK")})
    {
        script.insert(script.begin(), HttpAnswer(200, "ModelName=" + modelName + "&Serial=4711&SoftVersion=1.10"));
        Start(std::move(script));
        ASSERT_EQ(S_OK, m_commandSet.TryTalkToCamera());
        m_log.Clear();
        m_countSeen = 1;
    }

    static DWORD WINAPI TickMs()
    {
        return s_tickMs;
    }

    static inline DWORD s_tickMs = 0;
    static constexpr wchar_t kUseCache[] = L"IPELAUseCachedCameraSettings";
    static constexpr wchar_t kSetupCommand[] = L"CameraSetupCGICommand";
    static constexpr wchar_t kSetupCommandWr600[] = L"CameraSetupCGICommand_WR600";

    CCgiCommandIpela m_commandSet{&m_http, &TickMs};
};

/// Replies to the camera inquiry that are right in everything.
inline const std::string kMpeg4Settings =
    "VideoStd=ntsc&ImageCodec=mpeg4&M4ImageSize=640&M4FrameRate=15&M4BitRate=2048&M4AutoRateCtrl=off"
    "&McAddress=239.192.0.100&McVideoPort=60000&McAudioPort=60002&UcVideoPort=50000&UcAudioPort=50002"
    "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=-3";
inline const std::string kH264Settings =
    "VideoStd=ntsc&ImageCodec1=h264&ImageSize1=1280,720&FrameRate1=30&BitRate1=4096&AutoRateCtrl1=off"
    "&McAddress1=239.192.0.101&McVideoPort1=61000&McAudioPort=61002&UcVideoPort1=51000&UcAudioPort=51002"
    "&AudioIn=on&AudInCodec=g711_64&AudioInVolume=10";

inline const std::string kInquiry = "command/inquiry.cgi?inq=camera";
