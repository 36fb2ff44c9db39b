#!/usr/bin/env bash
# the main job in one go: build, register, start a simulated camera with Digest authentication, drive it through COM
source Tools/Dev/common.sh
ensure_setup
configure_and_build win32 Quorvane avcommand camerasim
clean_internet_cache
exec bash Tools/Dev/demo.sh "$@"
