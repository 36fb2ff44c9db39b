#!/usr/bin/env bash
# builds and runs all tests, the native ones and those under Wine; --filter REGEX takes some of them
source Tools/Dev/common.sh
filter=()
if [[ ${1:-} == --filter && -n ${2:-} ]]; then
    filter=(-R "$2")
elif (($# > 0)); then
    echo "usage: ./dev test [--filter REGEX]" >&2
    exit 2
fi
ensure_setup
prefixes=(wineprefix wineprefix-second wineprefix-third)
# New Wine prefixes take a while, most of it waiting: they are made beside the build, and outside of the tests' limits.
make_prefixes "${prefixes[@]}" &
prefixMaker=$!
configure_and_build win32
wait "$prefixMaker" || fail "no Wine prefix could be made."

run_tests() {
    local preset=$1 parallel=$2
    rm -f "build/$preset/Testing/Temporary/LastTest.log"
    ctest --preset "$preset" -j "$parallel" --no-tests=ignore "${filter[@]}"
}

# The tests under Wine mostly wait. What they leave of the processors is enough to build the native ones meanwhile, at
# the lowest priority, so that no time limit is missed for it.
build_and_run_native() {
    renice -n 19 "$BASHPID" >/dev/null
    configure_and_build native && run_tests native "$jobs"
}

keep_wineserver "${prefixes[@]}"
clean_internet_cache
status=0
native=build/native-tests.log
build_and_run_native >"$native" 2>&1 &
nativeTests=$!
# The long ones of these run beside each other, each in a prefix of its own.
run_tests win32 $((jobs + 1)) || status=1
wait "$nativeTests" || status=1
cat "$native"
logs=()
for preset in native win32; do
    [[ ! -f build/$preset/Testing/Temporary/LastTest.log ]] || logs+=("build/$preset/Testing/Temporary/LastTest.log")
done
((${#logs[@]})) || fail "no test was run."
# One count over all programs. A failing script that no program's own summary explains (a crash, a time-out) is one
# failed test.
awk -f Tools/Dev/count-tests.awk "${logs[@]}" || status=1
exit "$status"
