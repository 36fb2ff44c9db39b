#!/usr/bin/env bash
# looks for misused memory, lifetimes and threads in what the tests do: [heap|lifetimes|threads], all without
source Tools/Dev/common.sh

# What goes through COM, what shares sessions, what WinInet calls back, and what unloads the library.
under_wine=(ComponentTests ComponentFaultTests ComponentStreamTests ComponentLeakTests GivenUpRequestTests ModuleTests)
# And what tests the request and the tunnel from inside.
checked_only=(HttpRequestTests TunnelTests RtspClientTests RtspSessionTests)
# What of the portable code several threads use: logging, locks, the table of cameras, and the simulator.
native=(SharedStateTests CameraSimTests)
folder=build/check
program_limit_seconds=900

# run_all NAME RUNNER... -- PROGRAM...: one after the other; what they print goes to files in the folder NAME. A program
# of which no test has passed has shown nothing, whatever it says.
run_all() {
    local logs=$folder/$1 runner=() program verdict=0
    shift
    while [[ $1 != -- ]]; do
        runner+=("$1")
        shift
    done
    shift
    rm -rf "$logs"
    mkdir -p "$logs"
    for program in "$@"; do
        local start=$SECONDS name log ended=well count
        name=$(basename "$program")
        log=$logs/$name.log
        [[ -e $program ]] || program+=.exe
        timeout "$program_limit_seconds" "${runner[@]}" "$program" >"$log" 2>&1 || ended=badly
        count=$(grep -c '^\[       OK' "$log" || true)
        if [[ $ended == well ]] && ((count > 0)); then
            echo "check: $name: $count tests passed ($((SECONDS - start)) s)"
        else
            echo "check: $name FAILED, $count tests passed; see $log" >&2
            verdict=1
        fi
    done
    return "$verdict"
}

# probe HOW TEXT COMMAND...: the check is worth nothing unless it notices one that does HOW, and nothing in one that does
# nothing
probe() {
    local how=$1 text=$2 output
    shift 2
    output=$(timeout 60 "$@" "$how" 2>&1 || true)
    grep -q "$text" <<<"$output" || fail "this check is blind: it does not notice '$how'."
    output=$(timeout 60 "$@" nothing 2>&1) || fail "the probe failed without having done anything: $output"
    ! grep -q "$text" <<<"$output" || fail "this check sees what is not there: $output"
}

check_heap() {
    configure_and_build win32 HeapProbe Quorvane camerasim "${under_wine[@]}" || return 1
    # Wine then fills what is freed and the ends of blocks; the component's tests look at all of it behind every test.
    export WINEDEBUG=fixme-all,warn+heap
    local noticed='err:heap:\|warn:heap:unsafe_block_from_ptr' how verdict=0
    for how in overrun late-write second-free; do
        probe "$how" "$noticed" Tools/Dev/run-wine build/win32/bin/HeapProbe.exe
    done
    run_all heap Tools/Dev/run-wine -- "${under_wine[@]/#/build/win32/bin/}" || verdict=1
    ! grep -ar "$noticed" "$folder/heap" || verdict=1
    unset WINEDEBUG
    return "$verdict"
}

check_lifetimes() {
    configure_and_build checked LifetimeProbe Quorvane camerasim "${under_wine[@]}" "${checked_only[@]}" || return 1
    probe second-unlock 'lifetime check failed' Tools/Dev/run-wine build/checked/bin/LifetimeProbe.exe
    local verdict=0 programs=("${under_wine[@]}" "${checked_only[@]}")
    run_all lifetimes Tools/Dev/run-wine -- "${programs[@]/#/build/checked/bin/}" || verdict=1
    ! grep -ar 'lifetime check failed' "$folder/lifetimes" || verdict=1
    return "$verdict"
}

check_threads() {
    configure_and_build tsan RaceProbe "${native[@]}" || return 1
    # Addresses that are not random: the sanitizer does not find its way in every kernel's.
    probe race 'ThreadSanitizer: data race' setarch -R build/tsan/bin/RaceProbe
    run_all threads setarch -R -- "${native[@]/#/build/tsan/bin/}"
}

usage() {
    echo "usage: ./dev check [heap|lifetimes|threads]" >&2
    exit 2
}

(($# <= 1)) || usage
case ${1:-all} in
heap | lifetimes | threads) checks=("$1") ;;
all) checks=(heap lifetimes threads) ;;
*) usage ;;
esac
ensure_setup
keep_wineserver
clean_internet_cache
mkdir -p "$folder"
status=0
for check in "${checks[@]}"; do
    if "check_$check"; then
        echo "check: $check: nothing found"
    else
        echo "check: $check: FAILED" >&2
        status=1
    fi
done
exit "$status"
