"""The component against GStreamer's RTSP server, from connecting to the last packet."""

import asyncio

from media_tools import VideoFacts, decode_video, probe_stream, profile_of, tone_of
from rtp import Receiver, elementary_stream
from stage import MEDIA_PATH, Abandoned, Camera, Stage, now
from tunnel_client import TunnelClient

HOST = "127.0.0.1"
# As the front's parameters are named; what the component leaves behind once it is connected.
NEEDED_SETTINGS = {
    "AudioSource.A0.AudioEncoding": "g711",
    "AudioSource.A0.SampleRate": "8000",
    "Image.I0.MPEG.ZFpsMode": "fixed",
    "ImageSource.I0.Sensor.LowLatencyMode": "on",
}
PLAY_SECONDS = 2.5
SESSION_SECONDS = 3
QUIET_SECONDS = 1.0


async def stream_everything(stage: Stage, auth: str, profile: str, width: int, height: int) -> None:
    """The whole way, twice: every time connect, describe, set up, play, receive, stop, and once more in between."""
    label = f"{width}x{height}, {auth} authentication"
    print(f"{label}:")
    async with stage.camera(auth=auth, profile=profile) as camera:
        if auth != "none":
            probed, _, messages = await probe_stream(camera.port, MEDIA_PATH)
            is_refused = probed is None and "401" in messages
            stage.checks.that(is_refused, f"{label}: the server asks for a password", messages)
        await connect(stage, camera, "a", label)
        await stage.succeeds(f"{label}: SetImageSize2", "a", "set-size", width, height, 30)
        seen = await look_from_outside(stage, camera, label)
        for round in ("first time", "second time"):
            await describe(stage, "a", seen, (width, height), f"{label}, {round}")
            await play_and_stop(stage, camera, "a", seen, f"{label}, {round}")
            await play_and_stop(stage, camera, "a", seen, f"{label}, {round}, in the same session")
            await stage.succeeds(f"{label}, {round}: CloseConnection", "a", "close")
            if round == "first time":
                await connect(stage, camera, "a", f"{label}, second time")


async def connect(stage: Stage, camera: Camera, name: str, label: str) -> None:
    arguments = (HOST, camera.port, camera.user, camera.password)
    await stage.succeeds(f"{label}: OpenConnection", name, "open", *arguments)
    await stage.succeeds(f"{label}: ConnectToCamera", name, "connect")
    front = camera.front
    stage.checks.that(
        any(request.startswith("/axis-cgi/com/ptz.cgi?whoami") for request in front.requests),
        f"{label}: the component asks whether it is an Axis camera",
        front.requests,
    )
    settings = {setting: front.parameters[setting] for setting in NEEDED_SETTINGS}
    stage.checks.equal(settings, NEEDED_SETTINGS, f"{label}: the camera is set as the component needs it")


async def look_from_outside(stage: Stage, camera: Camera, label: str) -> VideoFacts:
    """What ffprobe sees through the same port."""
    password = camera.password.replace(":", "%3A").replace(" ", "%20")
    credentials = f"{camera.user}:{password}" if camera.user else ""
    facts, codecs, messages = await probe_stream(camera.port, MEDIA_PATH, credentials)
    if not stage.checks.that(facts, f"{label}: ffprobe reads the stream through the tunnel", messages):
        raise Abandoned
    stage.checks.equal(codecs, ["h264", "pcm_mulaw"], f"{label}: it is H.264 and mu-law")
    return facts


async def describe(stage: Stage, name: str, seen: VideoFacts, size: tuple[int, int], label: str) -> None:
    await stage.succeeds(f"{label}: ConnectToRtspServer", name, "rtsp", 1)
    answer = await stage.succeeds(f"{label}: GetH264Parameters", name, "h264")
    sets = [bytes.fromhex(answer.get(key, "")) for key in ("parameterSet1", "parameterSet2")]
    stage.checks.equal(sets, seen.parameter_sets, f"{label}: the parameter sets are those that ffprobe reports")
    profile = profile_of(answer.get("profileLevelId") or "000000")
    stage.checks.equal(profile, (seen.profile, seen.level), f"{label}: so are profile and level")
    stage.checks.equal(answer.get("packetizationMode"), 1, f"{label}: the packetization mode is GStreamer's")
    picture = await stage.succeeds(f"{label}: GetCameraImageSize", name, "size")
    both = (picture.get("width"), picture.get("height")), (seen.width, seen.height)
    stage.checks.equal(both, (size, size), f"{label}: the component and ffprobe see the size that was set")


async def set_up_and_play(stage: Stage, name: str, video: Receiver, audio: Receiver, label: str) -> None:
    for stream, receiver in enumerate((video, audio)):
        kind = "audio" if stream else "video"
        granted = await stage.succeeds(f"{label}: SetupTransport, {kind}", name, "setup", stream, receiver.port)
        stage.checks.that(
            granted.get("clientPort") == receiver.port
            and granted.get("rtcpPort") == granted.get("rtpPort", 0) + 1 > 1
            and granted.get("ssrc"),
            f"{label}: the server grants the port asked for, and names its own ({kind})",
            granted,
        )
    await stage.succeeds(f"{label}: StartMpeg4Video2", name, "play")


async def play_and_stop(stage: Stage, camera: Camera, name: str, seen: VideoFacts, label: str) -> None:
    mark = camera.server.mark()
    async with stage.receivers() as (video, audio):
        await set_up_and_play(stage, name, video, audio, label)
        await asyncio.sleep(PLAY_SECONDS)
        await check_media(stage, video, audio, seen, label)
        await stage.succeeds(f"{label}: StopStreaming", name, "stop")
        await check_silence(stage, video, audio, label)
    methods = [method for method in camera.server.methods(mark) if method not in ("DESCRIBE", "OPTIONS")]
    stage.checks.equal(methods, ["SETUP", "SETUP", "PLAY", "TEARDOWN"], f"{label}: the server saw one whole session")
    has_ended = await camera.server.wait_for("session-ended", mark, QUIET_SECONDS)
    stage.checks.that(has_ended, f"{label}: and ended it", camera.server.events)


async def check_media(stage: Stage, video: Receiver, audio: Receiver, seen: VideoFacts, label: str) -> None:
    checks = stage.checks
    if not checks.that(video.packets and audio.packets, f"{label}: RTP packets of both streams arrive"):
        raise Abandoned
    checks.equal((video.lost(), audio.lost()), (0, 0), f"{label}: none is missing")
    # The decoder gets the reported sets; the stream's own are taken out before.
    stream = elementary_stream(video.packets, seen.parameter_sets)
    decoded, messages = await decode_video(stream, stage.file(".h264"))
    if checks.that(decoded, f"{label}: ffmpeg decodes the video without an error", messages):
        size = (decoded.width, decoded.height)
        checks.equal(size, (seen.width, seen.height), f"{label}: the pictures have the size that was announced")
        # A part of the first second may lie before the first whole picture.
        least = int((PLAY_SECONDS - 1.2) * 30)
        checks.that(decoded.frames >= least, f"{label}: there are at least {least} of them", decoded.frames)
    tone, messages = await tone_of(b"".join(p.payload for p in audio.packets), stage.file(".ul"))
    checks.that(abs(tone - 440) < 5, f"{label}: ffmpeg decodes the audio, a tone of 440 Hz", (tone, messages))


async def check_silence(stage: Stage, video: Receiver, audio: Receiver, label: str) -> None:
    """What was on its way when the answer came is let in; then nothing more may come."""
    await asyncio.sleep(0.2)
    moment = now()
    await asyncio.sleep(QUIET_SECONDS)
    late = (video.since(moment), audio.since(moment))
    stage.checks.equal(late, (0, 0), f"{label}: no packet comes after StopStreaming")


async def keep_alive(stage: Stage) -> None:
    """A session that lives three seconds (and one of grace) is held for four times as long. Beside it a client without
    keep-alive shows that the server means it."""
    label = f"keep-alive, a session of {SESSION_SECONDS} s"
    print(f"{label}:")
    async with (
        stage.camera(timeout=SESSION_SECONDS) as camera,
        stage.receivers() as (video, audio),
        stage.receivers() as (bare_video, bare_audio),
    ):
        await connect(stage, camera, "k", label)
        await stage.succeeds(f"{label}: ConnectToRtspServer", "k", "rtsp", 1)
        bare = TunnelClient(camera.port, MEDIA_PATH)
        await bare.open()
        reply = await bare.play(bare_video.port, bare_audio.port)
        mark = camera.server.mark()
        await set_up_and_play(stage, "k", video, audio, label)
        await asyncio.sleep(4 * SESSION_SECONDS)
        moment = now()
        await asyncio.sleep(0.5)
        stage.checks.equal(reply.status, 200, f"{label}: a client without keep-alive may play too")
        stage.checks.equal(bare_video.since(moment), 0, f"{label}: but its packets have stopped")
        stage.checks.that(video.since(moment) and audio.since(moment), f"{label}: the component's still come")
        stage.checks.equal(camera.server.count("session-ended", mark), 1, f"{label}: one session has ended")
        beats = camera.server.methods(mark).count("OPTIONS")
        # The first after 1 s, then one each 2.4 s.
        stage.checks.that(4 <= beats <= 7, f"{label}: the component sent OPTIONS again and again", beats)
        await stage.succeeds(f"{label}: StopStreaming", "k", "stop")
        mark = camera.server.mark()
        await asyncio.sleep(SESSION_SECONDS)
        stage.checks.equal(camera.server.methods(mark), [], f"{label}: after the end nothing is kept alive")
        await stage.succeeds(f"{label}: CloseConnection", "k", "close")
        await bare.close()


async def two_objects(stage: Stage) -> None:
    """Two objects of one process share one RTSP session: one sets up the video, the other the audio."""
    label = "two objects"
    print(f"{label}:")
    async with stage.camera() as camera, stage.receivers() as (video, audio):
        for name in ("x", "y"):
            await connect(stage, camera, name, f"{label}, {name}")
            await stage.succeeds(f"{label}, {name}: ConnectToRtspServer", name, "rtsp", 1)
        seen = await look_from_outside(stage, camera, label)
        mark = camera.server.mark()
        await stage.succeeds(f"{label}: SetupTransport of x, video", "x", "setup", 0, video.port)
        await stage.succeeds(f"{label}: StartMpeg4Video2 of x, while y is not ready", "x", "play")
        stage.checks.that("PLAY" not in camera.server.methods(mark), f"{label}: nothing is played yet")
        await stage.succeeds(f"{label}: SetupTransport of y, audio", "y", "setup", 1, audio.port)
        await stage.succeeds(f"{label}: StartMpeg4Video2 of y", "y", "play")
        await asyncio.sleep(PLAY_SECONDS)
        await check_media(stage, video, audio, seen, label)
        stage.checks.equal(camera.server.count("session-begun", mark), 1, f"{label}: the server has one session")
        await stage.succeeds(f"{label}: CloseConnection of x", "x", "close")
        moment = now()
        await asyncio.sleep(QUIET_SECONDS)
        both = video.since(moment) and audio.since(moment)
        stage.checks.that(both, f"{label}: the session goes on without x")
        await stage.succeeds(f"{label}: StopStreaming of y", "y", "stop")
        await check_silence(stage, video, audio, label)
        await stage.succeeds(f"{label}: CloseConnection of y", "y", "close")


async def server_defaults(stage: Stage) -> None:
    """GStreamer's own presentation URL, "*", is refused by its own server once it is combined with the base."""
    label = "GStreamer's defaults"
    print(f"{label}:")
    async with stage.camera(control="relative") as camera, stage.receivers() as (video, _):
        await connect(stage, camera, "d", label)
        await stage.succeeds(f"{label}: ConnectToRtspServer", "d", "rtsp", 1)
        await stage.succeeds(f"{label}: SetupTransport", "d", "setup", 0, video.port)
        answer = await stage.component.call("d", "play")
        stage.checks.equal(answer["hresult"], "0x80004005", f"{label}: StartMpeg4Video2 fails")
        told = stage.logged("CRtspClient::StartPlay, failed, status code: 460")
        stage.checks.that(told, f"{label}: the log says why: the server answered 460")
        stage.checks.equal(len(video.packets), 0, f"{label}: and nothing is sent")
        await stage.succeeds(f"{label}: CloseConnection", "d", "close")
