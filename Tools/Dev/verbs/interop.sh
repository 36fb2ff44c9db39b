#!/usr/bin/env bash
# runs the component against GStreamer's RTSP server, and ffmpeg and GStreamer against the simulator
source Tools/Dev/common.sh
ensure_setup "${peer_packages[@]}"
configure_and_build win32 Quorvane InteropClient camerasim
keep_wineserver
clean_internet_cache
# Debian's interpreter, to which the GStreamer bindings belong; another one may come first in the path.
timeout 600 /usr/bin/python3 -B Tests/Interop/interop.py "$@"
