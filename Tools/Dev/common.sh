# Shared by the verbs of ./dev, which source it; the project's root is the current folder.
set -euo pipefail
jobs=${QUORVANE_JOBS:-$(nproc)}

fail() {
    echo "dev: $*" >&2
    exit 1
}

# Every verb that builds calls this; it costs a few milliseconds when nothing is missing. Packages that only some verbs
# need are given.
ensure_setup() {
    bash Tools/Dev/verbs/setup.sh "$@"
}

# Real servers and clients for RTSP: GStreamer's server with x264, its command-line client, ffmpeg and ffprobe.
peer_packages=(gir1.2-gst-rtsp-server-1.0 python3-gi gstreamer1.0-plugins-ugly gstreamer1.0-tools ffmpeg)

# configure_and_build PRESET [TARGET ...]
configure_and_build() {
    local preset=$1
    shift
    local targets=()
    (($# == 0)) || targets=(--target "$@")
    # Ninja reconfigures by itself when a CMake file changes.
    [[ -f build/$preset/build.ninja ]] || { mkdir -p build && cmake --preset "$preset" >build/configure.log 2>&1; } || {
        cat build/configure.log >&2
        fail "configuring '$preset' failed; the messages are above."
    }
    cmake --build --preset "$preset" "${targets[@]}" -- -j "$jobs" --quiet
}

# Processes that died with requests open leave files in the Internet cache that slow down every later request.
clean_internet_cache() {
    local users
    for users in build/wineprefix*/drive_c/users; do
        [[ -d $users ]] || continue
        find "$users" -type d \( -name 'Temporary Internet Files' -o -name INetCache \) -prune -exec rm -rf {} +
    done
}

# make_prefixes PREFIX ...: one after the other
make_prefixes() {
    local name
    for name in "$@"; do
        QUORVANE_WINEPREFIX=$PWD/build/$name Tools/Dev/run-wine cmd /c exit >/dev/null 2>&1
    done
}

# keep_wineserver [PREFIX ...]
# Keeps each prefix's server alive between programs, until this script ends; without it every program of Windows starts
# the whole prefix anew. What still runs in our own prefixes then is ended with it.
kept_prefixes=()
keep_wineserver() {
    (($#)) || set -- wineprefix
    local name prefix
    for name in "$@"; do
        prefix=$PWD/build/$name
        make_prefixes "$name"
        # A server that is about to end by itself cannot be made to stay. One that does not end was made to stay before.
        WINEPREFIX=$prefix timeout 30 wineserver --wait || true
        WINEPREFIX=$prefix wineserver --persistent
        kept_prefixes+=("$prefix")
        trap end_wineservers EXIT
        # The prefix's services stay too, and keep the output of the program that started them: not that of a test,
        # whose end CTest would wait for.
        QUORVANE_WINEPREFIX=$prefix Tools/Dev/run-wine cmd /c exit >/dev/null 2>&1
    done
}

end_wineservers() {
    local prefix
    for prefix in "${kept_prefixes[@]}"; do
        WINEPREFIX=$prefix wineserver --kill || true
    done
}
