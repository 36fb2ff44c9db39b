#!/usr/bin/python3
"""GStreamer's RTSP server as a camera: x264 video and mu-law audio under the path that Axis cameras use.

Runs as a process of its own, because GLib wants its own main loop, and because a crash in there must not take the
checks along. Tells what happens as one JSON object per line on standard output; the first one names the port. Takes
"size WIDTH HEIGHT RATE" lines on standard input and ends with the end of that input, so it never outlives its parent.
"""

import argparse
import json
import sys
from collections.abc import Callable

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtsp", "1.0")
gi.require_version("GstSdp", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtsp, GstRtspServer, GstSdp  # noqa: E402  (versions first)

MEDIA_PATH = "/axis-media/media.amp"
METHODS = ("options", "describe", "setup", "play", "teardown", "get-parameter")

# Before the classes below are made: they take over signals whose types come into being here.
Gst.init(None)


def tell(event: str, **facts: object) -> None:
    print(json.dumps({"event": event, **facts}), flush=True)


def launch_line(profile: str, width: int, height: int, rate: int) -> str:
    video = (
        f"videotestsrc is-live=true pattern=ball ! video/x-raw,width={width},height={height},framerate={rate}/1"
        f" ! x264enc tune=zerolatency speed-preset=superfast key-int-max={rate} bitrate=800 threads=1"
        f" ! video/x-h264,profile={profile} ! rtph264pay name=pay0 pt=96 config-interval=-1"
    )
    audio = (
        "audiotestsrc is-live=true samplesperbuffer=160 ! audio/x-raw,rate=8000,channels=1"
        " ! mulawenc ! rtppcmupay name=pay1 pt=0"
    )
    return f"( {video} {audio} )"


class AxisMedia(GstRtspServer.RTSPMedia):
    """Names the presentation and its streams by whole URLs, as real Axis cameras do. The server's own default for the
    presentation, "*", leads to a URL that it refuses itself."""

    def do_setup_sdp(self, sdp: GstSdp.SDPMessage, info: GstRtspServer.SDPInfo) -> bool:
        if not GstRtspServer.RTSPMedia.do_setup_sdp(self, sdp, info):
            return False
        presentation = f"rtsp://127.0.0.1{MEDIA_PATH}"
        replace_control(sdp, lambda _: presentation)
        for index in range(sdp.medias_len()):
            replace_control(sdp.get_media(index), lambda relative: f"{presentation}/{relative}")
        return True


def replace_control(part: GstSdp.SDPMessage | GstSdp.SDPMedia, url_of: Callable[[str], str]) -> None:
    for index in range(part.attributes_len()):
        attribute = part.get_attribute(index)
        if attribute.key == "control":
            control = GstSdp.SDPAttribute()
            control.set("control", url_of(attribute.value))
            part.replace_attribute(index, control)


class Server(GstRtspServer.RTSPServer):
    def __init__(self, options: argparse.Namespace) -> None:
        super().__init__(address="127.0.0.1", service="0")
        self._options = options
        self.connect("client-connected", self._on_client)
        self.get_session_pool().connect("session-removed", lambda _, session: tell("session-ended"))
        self._factory = GstRtspServer.RTSPMediaFactory()
        self._factory.set_launch(launch_line(options.profile, options.width, options.height, options.rate))
        self._factory.set_shared(options.shared)
        if options.control == "absolute":
            self._factory.set_media_gtype(AxisMedia.__gtype__)
        self.get_mount_points().add_factory(MEDIA_PATH, self._factory)
        if options.auth != "none":
            self._protect()

    def set_size(self, width: int, height: int, rate: int) -> None:
        """For media made from now on; a connection keeps the one that it has."""
        self._factory.set_launch(launch_line(self._options.profile, width, height, rate))

    def _on_client(self, _server: "Server", client: GstRtspServer.RTSPClient) -> None:
        client.connect("new-session", self._on_new_session)
        for method in METHODS:
            client.connect(f"{method}-request", self._on_request, method)

    def _protect(self) -> None:
        user, password = self._options.user, self._options.password
        auth = GstRtspServer.RTSPAuth()
        token = GstRtspServer.RTSPToken()
        token.set_string("media.factory.role", "user")
        if self._options.auth == "digest":
            auth.set_supported_methods(GstRtsp.RTSPAuthMethod.DIGEST)
            auth.add_digest(user, password, token)
        else:
            auth.set_supported_methods(GstRtsp.RTSPAuthMethod.BASIC)
            auth.add_basic(GstRtspServer.RTSPAuth.make_basic(user, password), token)
        permissions = GstRtspServer.RTSPPermissions()
        for permission in ("media.factory.access", "media.factory.construct"):
            permissions.add_permission_for_role("user", permission, True)
        self._factory.set_permissions(permissions)
        self.set_auth(auth)

    def _on_new_session(self, _client: GstRtspServer.RTSPClient, session: GstRtspServer.RTSPSession) -> None:
        if self._options.timeout:
            session.set_timeout(self._options.timeout)
            # The server grants five more seconds than it announces; the checks want to see the end of a session soon.
            session.set_property("extra-timeout", 1)
        tell("session-begun", timeout=session.get_timeout())

    @staticmethod
    def _on_request(_client: GstRtspServer.RTSPClient, _context: GstRtspServer.RTSPContext, method: str) -> None:
        tell("request", method=method.upper().replace("-", "_"))


def read_command(channel: GLib.IOChannel, _condition: GLib.IOCondition, server: Server, loop: GLib.MainLoop) -> bool:
    words = channel.readline().split()
    if words[:1] == ["size"]:
        server.set_size(*(int(word) for word in words[1:4]))
        tell("size-set")
        return True
    loop.quit()
    return False


def options_from_command_line() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--width", type=int, default=640)
    parser.add_argument("--height", type=int, default=360)
    parser.add_argument("--rate", type=int, default=30)
    parser.add_argument("--profile", default="main", help="H.264 profile, as GStreamer names it")
    parser.add_argument("--auth", choices=("none", "basic", "digest"), default="none")
    parser.add_argument("--user", default="")
    parser.add_argument("--password", default="")
    parser.add_argument("--timeout", type=int, default=0, help="seconds that a session lives without a sign of life")
    parser.add_argument("--control", choices=("absolute", "relative"), default="absolute")
    parser.add_argument("--shared", action="store_true", help="one encoder for all clients")
    return parser.parse_args()


def main() -> None:
    options = options_from_command_line()
    loop = GLib.MainLoop()
    server = Server(options)
    if not server.attach(None):
        sys.exit("the RTSP server cannot listen")
    pool = server.get_session_pool()
    GLib.timeout_add(250, lambda: pool.cleanup() >= 0)
    GLib.io_add_watch(
        GLib.IOChannel.unix_new(sys.stdin.fileno()),
        GLib.PRIORITY_DEFAULT,
        GLib.IOCondition.IN | GLib.IOCondition.HUP,
        read_command,
        server,
        loop,
    )
    tell("listening", port=server.get_bound_port())
    loop.run()


if __name__ == "__main__":
    main()
