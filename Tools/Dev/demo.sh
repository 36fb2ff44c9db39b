#!/usr/bin/env bash
# The main job against a simulated camera of each family, in the project's own Wine prefix: registers the DLL, starts
# camerasim with Digest authentication, walks through it with avcommand, and puts everything back. What is given on the
# command line goes to `avcommand demo` (for instance --verbose); with --json the output is an array with one object for
# each family. Needs build/win32; `./dev demo` builds it first.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
wine=$root/Tools/Dev/run-wine
bin=$root/build/win32/bin

user=admin
password=s3cret
simulator_life_seconds=300
start_limit_seconds=60
stop_limit_seconds=10

fail() {
    echo "demo: $*" >&2
    exit 1
}

for file in avcommand.exe camerasim.exe Quorvane.dll; do
    [[ -e $bin/$file ]] || fail "build/win32/bin/$file is missing; './dev build' makes it."
done

work=$(mktemp -d "$root/build/demo.XXXXXX")
simulator=
control_port=
is_registered=no

is_running() {
    [[ -n $simulator ]] && kill -0 "$simulator" 2>/dev/null
}

# wait_until SECONDS COMMAND...: false when the time is over first.
wait_until() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < deadline)) || return 1
        sleep 0.1
    done
}

has_ended() {
    ! is_running
}

stop_simulator() {
    is_running || return 0
    if [[ -n $control_port ]] && { exec 3<>"/dev/tcp/127.0.0.1/$control_port"; } 2>/dev/null; then
        printf 'POST /stop HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 0\r\nConnection: close\r\n\r\n' >&3 || true
        exec 3>&-
    fi
    wait_until "$stop_limit_seconds" has_ended || kill "$simulator" 2>/dev/null || true
}

clean_up() {
    local verdict=$?
    trap - EXIT
    stop_simulator
    if [[ $is_registered == yes ]] && ! "$wine" "$bin/avcommand.exe" unregister >"$work/unregister.log" 2>&1; then
        cat "$work/unregister.log" >&2
        ((verdict != 0)) || verdict=1
    fi
    rm -rf "$work"
    exit "$verdict"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

has_ports() {
    [[ -s $work/ports.json ]] || ! is_running
}

# Everything but the demo's own report goes to standard error, so that --json stays one JSON object.
"$wine" "$bin/avcommand.exe" register >&2 || fail "the DLL could not be registered."
is_registered=yes

cd "$work"

# walk MODEL OPTION...: one camera from its start to its end.
walk() {
    local model=$1 verdict=0
    shift
    rm -f ports.json
    control_port=
    "$wine" "$bin/camerasim.exe" --model "$model" --auth digest --user "$user" --password "$password" \
        --port-file ports.json --seconds "$simulator_life_seconds" >camerasim.log 2>&1 &
    simulator=$!
    if ! wait_until "$start_limit_seconds" has_ports || [[ ! -s ports.json ]]; then
        cat camerasim.log >&2
        fail "the camera simulator did not start."
    fi
    control_port=$(sed -n 's/.*"controlPort": *\([0-9]*\).*/\1/p' ports.json)
    [[ $control_port =~ ^[0-9]+$ ]] || fail "camerasim wrote no control port: $(cat ports.json)"
    "$wine" "$bin/avcommand.exe" demo --sim-control "127.0.0.1:$control_port" "$@" || verdict=$?
    stop_simulator
    return "$verdict"
}

is_json=no
for option in "$@"; do
    [[ $option != --json ]] || is_json=yes
done
# title TEXT: what only people read.
title() {
    [[ $is_json == yes ]] || echo "$1"
}
# mark TEXT: what only the array needs.
mark() {
    [[ $is_json == no ]] || echo "$1"
}

verdict=0
mark '['
title "== An IPELA camera (SNC-EP580)"
walk SNC-EP580 "$@" || verdict=$?
mark ','
title ""
title "== An Axis camera (AXIS P5635-E), streaming over RTSP"
walk "AXIS P5635-E" "$@" || verdict=$?
mark ']'
exit "$verdict"
