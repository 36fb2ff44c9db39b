#!/usr/bin/env bash
# runs the component against GStreamer's RTSP server, and ffmpeg and GStreamer against the simulator
source Tools/Dev/common.sh
ensure_setup "${peer_packages[@]}"
configure_and_build win32 Quorvane InteropClient avcommand camerasim
keep_wineserver
clean_internet_cache
# Debian's interpreter, to which the GStreamer bindings belong; another one may come first in the path.
python=(/usr/bin/python3 -B)
# First the yardstick: what receives, answers and records in the checks has tests of its own.
for folder in Tests/Interop Benchmarks/Setup; do
    timeout 60 "${python[@]}" -m unittest discover -q -s "$folder" || fail "the tests of $folder failed."
done
timeout 600 "${python[@]}" Tests/Interop/interop.py "$@"
