#pragma once

#include <string_view>

/// Answers to DESCRIBE in the shapes that cameras give them, composed for these tests, with the parameter sets of real
/// encoders. Controls are given as they stand there.
namespace SdpCorpus
{
struct SessionDescription
{
    const char* shape;
    std::string_view text;
    std::string_view sessionControl;
    std::string_view h264Control; ///< of the first video media that can be streamed
    std::string_view pcmuControl; ///< of the first audio media that can be streamed
    std::string_view profileLevelId;
    int width;
    int height;
};

inline constexpr SessionDescription kCameras[] = {
    {"Axis: absolute controls, a bandwidth per media",
     "v=0\r\n"
     "o=- 1188340656180883 1 IN IP4 192.168.0.90\r\n"
     "s=Session streamed with GStreamer\r\n"
     "i=rtsp-server\r\n"
     "t=0 0\r\n"
     "a=tool:GStreamer\r\n"
     "a=type:broadcast\r\n"
     "a=range:npt=now-\r\n"
     "a=control:rtsp://192.168.0.90/axis-media/media.amp?videocodec=h264&audio=1\r\n"
     "m=video 0 RTP/AVP 96\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "b=AS:50000\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=fmtp:96 "
     "packetization-mode=1;profile-level-id=4d4028;sprop-parameter-sets=Z01AKOygPAET8uAiAAADAAIAAAMAZB4wYyw=,aO+PyA=="
     "\r\n"
     "a=ts-refclk:local\r\n"
     "a=mediaclk:sender\r\n"
     "a=recvonly\r\n"
     "a=control:rtsp://192.168.0.90/axis-media/media.amp/stream=0?videocodec=h264&audio=1\r\n"
     "a=framerate:30.000000\r\n"
     "a=transform:1.000000,0.000000,0.000000;0.000000,1.000000,0.000000;0.000000,0.000000,1.000000\r\n"
     "m=audio 0 RTP/AVP 0\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "b=AS:64\r\n"
     "a=rtpmap:0 PCMU/8000/1\r\n"
     "a=recvonly\r\n"
     "a=control:rtsp://192.168.0.90/axis-media/media.amp/stream=1?videocodec=h264&audio=1\r\n",
     "rtsp://192.168.0.90/axis-media/media.amp?videocodec=h264&audio=1",
     "rtsp://192.168.0.90/axis-media/media.amp/stream=0?videocodec=h264&audio=1",
     "rtsp://192.168.0.90/axis-media/media.amp/stream=1?videocodec=h264&audio=1", "4d4028", 1920, 1080},
    {"Axis, older firmware: relative track numbers",
     "v=0\r\n"
     "o=- 1272052389382023 1272052389382023 IN IP4 0.0.0.0\r\n"
     "s=Media Presentation\r\n"
     "e=NONE\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "b=AS:50032\r\n"
     "t=0 0\r\n"
     "a=control:*\r\n"
     "a=range:npt=now-\r\n"
     "m=video 0 RTP/AVP 96\r\n"
     "b=AS:50000\r\n"
     "a=framerate:25.0\r\n"
     "a=transform:1,0,0;0,1,0;0,0,1\r\n"
     "a=control:trackID=1\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=fmtp:96 packetization-mode=1; profile-level-id=640020; "
     "sprop-parameter-sets=Z2QAH6zZQFAFuwEQAAADABAAAAMDIPGDGWA=,aO+Pyw==\r\n"
     "m=audio 0 RTP/AVP 0\r\n"
     "b=AS:32\r\n"
     "a=control:trackID=2\r\n",
     "*", "trackID=1", "", "640020", 1280, 720},
    {"server library: a tool, a session name of its own, no session bandwidth",
     "v=0\r\n"
     "o=- 1609459200123456 1 IN IP4 10.10.4.27\r\n"
     "s=Session streamed by the media server\r\n"
     "i=ch0_0.264\r\n"
     "t=0 0\r\n"
     "a=tool:LIVE555 Streaming Media v2014.07.25\r\n"
     "a=type:broadcast\r\n"
     "a=control:*\r\n"
     "a=range:npt=0-\r\n"
     "a=x-qt-text-nam:Session streamed by the media server\r\n"
     "a=x-qt-text-inf:ch0_0.264\r\n"
     "m=video 0 RTP/AVP 96\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "b=AS:500\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=fmtp:96 "
     "packetization-mode=1;profile-level-id=42C01E;sprop-parameter-sets=Z0LAHtoCwPbARAAAAwAEAAADAMg8WLqA,aM4PyA==\r\n"
     "a=control:track1\r\n"
     "m=audio 0 RTP/AVP 0\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "b=AS:64\r\n"
     "a=rtpmap:0 PCMU/8000\r\n"
     "a=control:track2\r\n",
     "*", "track1", "track2", "42C01E", 704, 480},
    {"network recorder: video, audio and metadata, a media header attribute",
     "v=0\r\n"
     "o=- 1109162014219182 1109162014219192 IN IP4 192.0.0.64\r\n"
     "s=Media Server V3.4.5\r\n"
     "e=NONE\r\n"
     "c=IN IP4 192.0.0.64\r\n"
     "t=0 0\r\n"
     "a=control:*\r\n"
     "b=AS:4104\r\n"
     "a=packetization-supported:DH\r\n"
     "a=rtppayload-supported:DH\r\n"
     "a=range:npt=now-\r\n"
     "m=video 0 RTP/AVP 96\r\n"
     "i=Video Media\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=fmtp:96 "
     "profile-level-id=4D0014;packetization-mode=0;sprop-parameter-sets=Z01AHuygWAk2AiAAAAMAIAAABkHixbLA,aO+PyA==\r\n"
     "a=control:trackID=video\r\n"
     "b=AS:4096\r\n"
     "m=audio 0 RTP/AVP 0\r\n"
     "i=Audio Media\r\n"
     "a=rtpmap:0 PCMU/8000\r\n"
     "a=control:trackID=audio\r\n"
     "b=AS:8\r\n"
     "m=application 0 RTP/AVP 107\r\n"
     "a=rtpmap:107 vnd.onvif.metadata/90000\r\n"
     "a=control:trackID=metadata\r\n"
     "a=Media_header:MEDIAINFO=494D4B48010100000400010010710110401F000000FA000000000000000000000000000000000000;\r\n"
     "a=appversion:1.0\r\n",
     "*", "trackID=video", "trackID=audio", "4D0014", 704, 576},
    {"GStreamer's server with its defaults",
     "v=0\r\n"
     "o=- 8537246107632155721 1 IN IP4 127.0.0.1\r\n"
     "s=Session streamed with GStreamer\r\n"
     "i=rtsp-server\r\n"
     "t=0 0\r\n"
     "a=tool:GStreamer\r\n"
     "a=type:broadcast\r\n"
     "a=control:*\r\n"
     "a=range:npt=now-\r\n"
     "m=video 0 RTP/AVP 96\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=framerate:25\r\n"
     "a=fmtp:96 "
     "packetization-mode=1;profile-level-id=64001e;sprop-parameter-sets=Z2QAHqzZQKA9sBEAAAMAAQAAAwAyDxYtlg==,aO+Pyw=="
     "\r\n"
     "a=control:stream=0\r\n"
     "a=ts-refclk:local\r\n"
     "a=mediaclk:sender\r\n"
     "m=audio 0 RTP/AVP 0\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "a=rtpmap:0 PCMU/8000\r\n"
     "a=control:stream=1\r\n"
     "a=ts-refclk:local\r\n"
     "a=mediaclk:sender\r\n",
     "*", "stream=0", "stream=1", "64001e", 640, 480},
    {"multicast dome: connections with a ttl, several formats",
     "v=0\r\n"
     "o=- 2890844526 2890842807 IN IP4 192.168.10.21\r\n"
     "s=RTP Session\r\n"
     "i=Live stream\r\n"
     "u=http://192.168.10.21/\r\n"
     "c=IN IP4 239.192.17.5/127\r\n"
     "b=AS:6064\r\n"
     "t=0 0\r\n"
     "a=charset:utf-8\r\n"
     "a=control:rtsp://192.168.10.21:554/live\r\n"
     "m=video 5004 RTP/AVP 97 96\r\n"
     "c=IN IP4 239.192.17.5/127\r\n"
     "b=AS:6000\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=fmtp:96 "
     "profile-level-id=42C028;packetization-mode=1;sprop-parameter-sets=Z0LAKNoB4AiflwEQAAADABAAAAMDIPGDKg==,aM4PyA=="
     "\r\n"
     "a=rtpmap:97 MP4V-ES/90000\r\n"
     "a=fmtp:97 profile-level-id=3;config=000001B003000001B50EA020202F\r\n"
     "a=framerate:25\r\n"
     "a=quality:10\r\n"
     "a=control:rtsp://192.168.10.21:554/live/video\r\n"
     "m=audio 5006 RTP/AVP 98 0\r\n"
     "c=IN IP4 239.192.17.6/127/1\r\n"
     "b=AS:64\r\n"
     "a=rtpmap:98 L16/16000/2\r\n"
     "a=rtpmap:0 PCMU/8000\r\n"
     "a=control:rtsp://192.168.10.21:554/live/audio\r\n",
     "rtsp://192.168.10.21:554/live", "rtsp://192.168.10.21:554/live/video", "rtsp://192.168.10.21:554/live/audio",
     "42C028", 1920, 1080},
    {"panoramic camera: four video media and a talk-back",
     "v=0\r\n"
     "o=StreamingServer 3331435948 1116907222000 IN IP4 10.0.3.11\r\n"
     "s=RTSP Session\r\n"
     "c=IN IP4 0.0.0.0\r\n"
     "t=0 0\r\n"
     "a=control:*\r\n"
     "m=video 0 RTP/AVP 26\r\n"
     "a=control:trackID=0\r\n"
     "m=video 0 RTP/AVP 98\r\n"
     "b=AS:8192\r\n"
     "a=rtpmap:98 H265/90000\r\n"
     "a=fmtp:98 profile-space=0;profile-id=1;tier-flag=0;level-id=120;interop-constraints=B00000000000\r\n"
     "a=control:trackID=1\r\n"
     "m=video 0 RTP/AVP 97\r\n"
     "b=AS:8192\r\n"
     "a=rtpmap:97 H264/90000\r\n"
     "a=fmtp:97 "
     "profile-level-id=640033;packetization-mode=1;sprop-parameter-sets=Z2QAM6zZQDwAQ+wEQAAAAwBAAAAMg8YMZYA=,aO+Pyw=="
     "\r\n"
     "a=framerate:12.5\r\n"
     "a=cliprect:0,0,2160,3840\r\n"
     "a=control:trackID=2\r\n"
     "m=video 0 RTP/AVP 96\r\n"
     "b=AS:1024\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=fmtp:96 "
     "profile-level-id=4D4020;packetization-mode=1;sprop-parameter-sets=Z01AIOygKwMPN4CIAAADAAgAAAMBkHjBjLA=,aO+PyA=="
     "\r\n"
     "a=control:trackID=3\r\n"
     "m=audio 0 RTP/AVP 97 8 0\r\n"
     "a=rtpmap:97 MPEG4-GENERIC/16000/1\r\n"
     "a=fmtp:97 "
     "streamtype=5;profile-level-id=1;mode=AAC-hbr;sizelength=13;indexlength=3;indexdeltalength=3;config=1408\r\n"
     "a=rtpmap:8 PCMA/8000\r\n"
     "a=rtpmap:0 PCMU/8000\r\n"
     "a=control:trackID=4\r\n"
     "m=audio 0 RTP/AVP 0\r\n"
     "a=rtpmap:0 PCMU/8000\r\n"
     "a=sendonly\r\n"
     "a=control:trackID=5\r\n",
     "*", "trackID=2", "trackID=4", "640033", 3840, 2160},
    {"small board: hardly more than it must send",
     "v=0\r\n"
     "o=- 0 0 IN IP4 192.168.1.10\r\n"
     "s=cam\r\n"
     "t=0 0\r\n"
     "m=video 0 RTP/AVP 96\r\n"
     "a=rtpmap:96 H264/90000\r\n"
     "a=fmtp:96 sprop-parameter-sets=Z0LADYyNQKD5APCIRqA=,aM48gA==\r\n"
     "a=control:video\r\n",
     "", "video", "", "", 320, 240},
};
} // namespace SdpCorpus
