#!/usr/bin/env bash
# measures against a yardstick in the same run: ./dev bench request|setup|parsers [ROUNDS]
source Tools/Dev/common.sh

usage() {
    echo "usage: ./dev bench request [ROUNDS]   SendRequest, COM call and Digest against the smallest WinInet loop" >&2
    echo "       ./dev bench setup [ROUNDS]     how soon a camera plays, against GStreamer and ffmpeg" >&2
    echo "       ./dev bench parsers [ROUNDS]   SDP and H.264 parameter sets against GStreamer's parsers" >&2
    exit 2
}

# unpack PACKAGE FOLDER: puts the package's files there, once, instead of installing it
unpack() {
    local package=$1 folder=$2
    [[ ! -e $folder/$package.unpacked ]] || return 0
    mkdir -p "$folder"
    (cd "$folder" && apt-get download "$package" >apt.log 2>&1) ||
        fail "cannot download '$package': $(tail -n 1 "$folder/apt.log")"
    dpkg -x "$folder"/"$package"_*.deb "$folder"
    touch "$folder/$package.unpacked"
}

# A server of a benchmark is unpacked into the build folder, not installed: an installed one would start as a service.
# unpacked_server PACKAGE PROGRAM -> the path of the program
unpacked_server() {
    unpack "$1" "build/bench/$1"
    echo "build/bench/$1/$2"
}

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

wait_for_port() {
    local attempt
    for ((attempt = 0; attempt < 100; ++attempt)); do
        ! (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null || return 0
        sleep 0.05
    done
    fail "the server did not open port $1 within 5 seconds."
}

bench_request() {
    local rounds=${1:-400}
    [[ $rounds =~ ^[1-9][0-9]*$ ]] || usage
    configure_and_build win32 RequestBenchmark Quorvane
    clean_internet_cache

    local nginx folder openPort digestPort
    nginx=$(unpacked_server nginx usr/sbin/nginx)
    folder=$PWD/build/bench/request
    openPort=$(free_port)
    digestPort=$(free_port)
    mkdir -p "$folder/pages/command"
    local page='ModelName=SNC-EP580&Serial=100001&SoftVersion=1.00&Padding='
    printf '%s%s' "$page" "$(printf 'x%.0s' $(seq $((1024 - ${#page}))))" >"$folder/pages/command/inquiry.cgi"
    cp "$folder/pages/command/inquiry.cgi" "$folder/pages/command/camera.cgi"
    sed -e "s#@FOLDER@#$folder#g" -e "s/@OPEN_PORT@/$openPort/; s/@DIGEST_PORT@/$digestPort/" \
        Benchmarks/nginx.conf.in >"$folder/nginx.conf"
    "$nginx" -c "$folder/nginx.conf" -e "$folder/error.log" &
    serverPid=$! # global, for the trap
    trap 'kill "$serverPid" 2>/dev/null || true; wait "$serverPid" 2>/dev/null || true' EXIT
    wait_for_port "$openPort"
    timeout 300 Tools/Dev/run-wine build/win32/bin/RequestBenchmark.exe "$openPort" "$digestPort" "$rounds"
}

bench_setup() {
    configure_and_build win32 InteropClient Quorvane
    keep_wineserver
    clean_internet_cache
    # Debian's interpreter, to which the GStreamer bindings belong; another one may come first in the path.
    timeout 900 /usr/bin/python3 -B Benchmarks/Setup/setup_benchmark.py "$@"
}

# Only the libraries are installed: the packages of the headers bring half a desktop with them.
gstreamer_libraries=(libgstreamer1.0-0 libgstreamer-plugins-base1.0-0 libgstreamer-plugins-bad1.0-0 libglib2.0-0)
gstreamer_headers=(libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev libgstreamer-plugins-bad1.0-dev libglib2.0-dev)

bench_parsers() {
    local rounds=${1:-400} folder=$PWD/build/bench/gstreamer package
    [[ $rounds =~ ^[1-9][0-9]*$ ]] || usage
    for package in "${gstreamer_headers[@]}"; do
        unpack "$package" "$folder"
    done
    # As Debian builds the libraries that the parsers are compared with.
    local flags="-g -O2 -fstack-protector-strong -D_FORTIFY_SOURCE=2"
    cmake -G Ninja -S . -B build/bench/parsers -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="$flags" \
        -DQUORVANE_GSTREAMER_HEADERS="$folder" >build/bench/parsers.log 2>&1 || {
        cat build/bench/parsers.log >&2
        fail "configuring the benchmark failed; the messages are above."
    }
    cmake --build build/bench/parsers --target ParserBenchmark -- -j "$jobs" --quiet
    timeout 300 build/bench/parsers/bin/ParserBenchmark "$rounds"
}

case ${1:-} in
request)
    ensure_setup
    shift
    bench_request "$@"
    ;;
setup)
    ensure_setup "${peer_packages[@]}"
    shift
    bench_setup "$@"
    ;;
parsers)
    ensure_setup "${gstreamer_libraries[@]}"
    shift
    bench_parsers "$@"
    ;;
*) usage ;;
esac
