#pragma once

#include "CgiCommandAxis.h"
#include "Tests/CommandSets/CommandSetFixture.h"

#include <map>

/// The requests of a connection, in the order in which they are sent.
enum class AxisStep
{
    Brand,
    Interface,
    Firmware,
    Source,
    Rtsp,
    EnableRtsp,
    Audio,
    SetAudio,
    Video,
    FixModes,
    SetPFrames,
    LowLatency
};

/// What the camera answers at each step of a connection; steps that are not listed are not expected to come.
using AxisReplies = std::map<AxisStep, ScriptedReply>;

/// A camera that is right in everything: nothing is changed but the low-latency mode.
inline AxisReplies RightAxisReplies()
{
    return {
        {AxisStep::Brand, HttpAnswer(200, "root.Brand.Brand=AXIS\r\nroot.Brand.ProdFullName=AXIS P5635-E Network Camera"
                                          "\r\nroot.Brand.ProdNbr=P5635-E\r\n")},
        {AxisStep::Interface, HttpAnswer(200, "root.Properties.API.HTTP.Version=3\r\nroot.Properties.API.RTSP.RTSPAuth="
                                              "yes\r\nroot.Properties.API.RTSP.Version=2.01\r\n")},
        {AxisStep::Firmware, HttpAnswer(200, "root.Properties.Firmware.Version=6.10.1\r\n")},
        {AxisStep::Source, HttpAnswer(200, "root.ImageSource.I0.Sensor.CaptureFrequency=60Hz\r\n")},
        {AxisStep::Rtsp, HttpAnswer(200, "root.Network.RTSP.AuthenticateRTSPOverHTTP=yes\r\n"
                                         "root.Network.RTSP.Enabled=yes\r\n")},
        {AxisStep::Audio,
         HttpAnswer(200, "root.AudioSource.A0.AudioEncoding=g711\r\nroot.AudioSource.A0.InputGain=0\r\n"
                         "root.AudioSource.A0.InputType=mic\r\n"
                         "root.AudioSource.A0.SampleRate=8000\r\n")},
        {AxisStep::Video,
         HttpAnswer(200, "root.Image.I0.MPEG.H264.Profile=main\r\nroot.Image.I0.MPEG.PCount=31\r\n"
                         "root.Image.I0.MPEG.ZFpsMode=fixed\r\nroot.Image.I0.MPEG.ZGopMode=fixed\r\n")},
        {AxisStep::LowLatency, HttpAnswer(200, "OK\r\n")},
    };
}

/// An Axis command set at a scripted camera.
class AxisTest : public CommandSetTest
{
protected:
    /// Has the private query for the camera's own sizes.
    class CCommandSet : public CCgiCommandAxis
    {
    public:
        using CCgiCommandAxis::CCgiCommandAxis;
        using CCgiCommandAxis::GetImageResolutions;
    };

    /// Connects to a camera that answers so, and holds the requests against the steps.
    HRESULT Connect(const AxisReplies& replies, const std::string& pFrames = "31")
    {
        const std::string list = "axis-cgi/param.cgi?action=list&group=";
        const std::string update = "axis-cgi/param.cgi?action=update&";
        const std::map<AxisStep, std::string> requests = {
            {AxisStep::Brand, list + "Brand"},
            {AxisStep::Interface, list + "Properties.API"},
            {AxisStep::Firmware, list + "Properties.Firmware"},
            {AxisStep::Source, list + "ImageSource.I0"},
            {AxisStep::Rtsp, list + "Network.RTSP"},
            {AxisStep::EnableRtsp, update + "Network.RTSP.Enabled=yes"},
            {AxisStep::Audio, list + "AudioSource.A0"},
            {AxisStep::SetAudio, update + "AudioSource.A0.AudioEncoding=g711&AudioSource.A0.SampleRate=8000"},
            {AxisStep::Video, list + "Image.I0.MPEG"},
            {AxisStep::FixModes, update + "Image.I0.MPEG.ZFpsMode=fixed&Image.I0.MPEG.ZGopMode=fixed"},
            {AxisStep::SetPFrames, update + "Image.I0.MPEG.PCount=" + pFrames},
            {AxisStep::LowLatency, update + "root.ImageSource.I0.Sensor.LowLatencyMode=on"},
        };
        std::vector<ScriptedReply> script;
        std::vector<std::string> expected;
        for (const auto& [step, reply] : replies)
        {
            script.push_back(reply);
            expected.push_back(requests.at(step));
        }
        Start(std::move(script));
        const HRESULT hr = m_commandSet.ConnectToCamera();
        EXPECT_EQ(expected, Sent());
        return hr;
    }

    CCommandSet m_commandSet{&m_http};
};

/// The replies up to and including a step.
inline AxisReplies UpTo(AxisReplies replies, AxisStep last)
{
    replies.erase(replies.upper_bound(last), replies.end());
    return replies;
}
