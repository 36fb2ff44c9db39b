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
prefixes=(wineprefix wineprefix-second wineprefix-third wineprefix-fourth wineprefix-fifth)
# New Wine prefixes take a while, most of it waiting: they are made beside the build, and outside of the tests' limits.
make_prefixes "${prefixes[@]}" &
prefixMaker=$!
configure_and_build native
configure_and_build win32
wait "$prefixMaker" || fail "no Wine prefix could be made."

run_tests() {
    local preset=$1 parallel=$2
    rm -f "build/$preset/Testing/Temporary/LastTest.log"
    ctest --preset "$preset" -j "$parallel" --no-tests=ignore "${filter[@]}"
}
status=0
run_tests native "$jobs" || status=1
keep_wineserver "${prefixes[@]}"
clean_internet_cache
# These wait as much as they work, the long ones each in a prefix of its own.
run_tests win32 $((jobs + 2)) || status=1
logs=()
for preset in native win32; do
    [[ ! -f build/$preset/Testing/Temporary/LastTest.log ]] || logs+=("build/$preset/Testing/Temporary/LastTest.log")
done
((${#logs[@]})) || fail "no test was run."
# One count over all programs. A failing script that no program's own summary explains (a crash, a time-out) is one
# failed test.
awk -f Tools/Dev/count-tests.awk "${logs[@]}" || status=1
exit "$status"
