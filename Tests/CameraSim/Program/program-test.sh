#!/usr/bin/env bash
# usage: program-test.sh CAMERASIM [LAUNCHER]
# Starts the camerasim program as a user would, by LAUNCHER if given, and looks at what it says and how it ends.
set -uo pipefail
program=$(realpath "$1")
launcher=()
(($# > 1)) && launcher=("$(realpath "$2")")
work=$(mktemp -d)
started=
failures=0

finish() {
    [[ -n $started ]] && kill "$started" 2>/dev/null
    rm -rf "$work"
}
trap finish EXIT

check() { # check WHAT CONDITION...
    local what=$1
    shift
    if "$@"; then
        echo "ok    $what"
    else
        echo "FAIL  $what"
        failures=$((failures + 1))
    fi
}

run() { # run SECONDS ARGUMENTS...: leaves out, err and code
    timeout "$1" "${launcher[@]}" "$program" "${@:2}" >"$work/out" 2>"$work/err"
    code=$?
    tr -d '\r' <"$work/out" >"$work/out.text"
    tr -d '\r' <"$work/err" >"$work/err.text"
}

says() { grep -qF -- "$2" "$work/$1.text"; }

answer=
http() { # http METHOD PORT TARGET: leaves the whole answer in $answer
    exec 3<>"/dev/tcp/127.0.0.1/$2" || return 1
    printf '%s %s HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n' "$1" "$3" >&3
    answer=$(timeout 20 cat <&3 | tr -d '\0\r')
    exec 3<&- 3>&-
}

run 60 --help
check "help ends with 0" test "$code" = 0
check "help shows the options" says out --control-port

run 60 --port 70000
check "a bad port ends with 2" test "$code" = 2
check "a bad port is explained" says err 'is no port'
check "nothing goes to standard output" test ! -s "$work/out"

run 60 --model SNC-NOSUCH
check "an unknown model ends with 2" test "$code" = 2
check "an unknown model is explained" says err 'Known are SNC-RZ25'

run 60 --seconds 1 --no-control
check "it ends by itself with 0" test "$code" = 0
check "it says what it was" says out 'SNC-EP580 (ntsc) at http://127.0.0.1:'
check "it says how many requests it served" says out '0 requests served'

# A relative path means the same to this script and to a Windows program.
cd "$work" || exit 1
"${launcher[@]}" "$program" --model SNC-RZ25 --standard pal --verbose --seconds 60 --port-file ports.json \
    --set AudioInVolume=7 --fault status:503@nowhere >started.out 2>&1 &
started=$!
for ((i = 0; i < 300; i++)); do
    [[ -e ports.json ]] && break
    sleep 0.1
done
check "the port file appears" test -e ports.json
[[ -e ports.json ]] || exit 1
port=$(sed -n 's/.*"port": \([0-9]*\).*/\1/p' ports.json)
controlPort=$(sed -n 's/.*"controlPort": \([0-9]*\).*/\1/p' ports.json)

http GET "$port" '/command/inquiry.cgi?inq=camera'
check "the camera answers" grep -q 'VideoStd=pal' <<<"$answer"
check "--set is in force" grep -q 'AudioInVolume=7&' <<<"$answer"
http GET "$port" /nowhere
check "--fault is in force" grep -q '^HTTP/1.1 503 ' <<<"$answer"
http GET "$controlPort" /state
check "the control interface answers" grep -q '"model": "SNC-RZ25"' <<<"$answer"
http GET "$controlPort" /journal
check "the journal holds the request" grep -q '"target": "/command/inquiry.cgi?inq=camera"' <<<"$answer"

run 60 --port "$port"
check "a port in use ends with 1" test "$code" = 1
check "a port in use is explained" says err 'Another program may be using the port'

http POST "$controlPort" /stop
check "the stop is confirmed" grep -q '"stopping": true' <<<"$answer"
wait "$started"
check "it ends with 0 when told to" test "$?" = 0
started=
check "it printed the request" grep -q 'GET /command/inquiry.cgi?inq=camera -> 200' started.out
check "it printed the fault" grep -q 'GET /nowhere -> 503.*fault status' started.out

echo "$failures failed"
exit $((failures != 0))
