#!/usr/bin/env bash
# lets every system call of the component fail once, one by one, in whole sessions: ./dev failcalls [FUNCTION,...][@SESSION]
source Tools/Dev/common.sh
source Tools/Dev/places.sh
(($# <= 1)) || fail "usage: ./dev failcalls [FUNCTION,...|all][@SESSION]"
calls=${1:-all}
ensure_setup
configure_and_build win32 FailedCallsTests

# Sessions mostly wait: more of them at once than there are processors, each in a Wine prefix of its own, because they
# change the registry.
countWorkers=${QUORVANE_FAILCALLS_WORKERS:-$((2 * $(nproc)))}
prefixes=()
for ((share = 1; share <= countWorkers; ++share)); do
    prefixes+=("wineprefix-failcalls-$share")
done
keep_wineserver "${prefixes[@]}"
clean_internet_cache

# Kept until the next run: what an interrupted one has found stands in the records.
folder=build/failcalls
rm -rf "$folder"
mkdir -p "$folder"

# run_test PREFIX RECORDS CALLS TEST
run_test() {
    QUORVANE_WINEPREFIX=$PWD/build/$1 QUORVANE_FAILED_RECORDS=$2 QUORVANE_FAILED_CALLS=$3 timeout 14500 \
        Tools/Dev/run-wine build/win32/bin/FailedCallsTests.exe \
        --gtest_also_run_disabled_tests --gtest_filter="FailedCalls.DISABLED_$4"
}

# A line for each function of a script, when the last share has done it.
tell_progress() {
    awk -F '\t' -v shares="$countWorkers" '
        $1 == "defect" { printf "    %s, call %s of %s: %s\n", $2, $4, $3, $5; fflush() }
        $1 == "died" { print "    " $2; fflush() }
        $1 == "done" && ++done[$2, $3] == shares { printf "%s: %s, %d calls\n", $2, $3, $4; fflush() }'
}

workers=()
records=()
for ((share = 1; share <= countWorkers; ++share)); do
    records+=("$folder/records-$share")
    touch "${records[-1]}"
    run_test "${prefixes[share - 1]}" "${records[-1]}" "$calls#$share/$countWorkers" OneShareOfTheCallsFails \
        >"$folder/output-$share" 2>&1 &
    workers+=($!)
done
tail --pid=$$ -q -n +1 -F "${records[@]}" 2>/dev/null > >(tell_progress) &
tail=$!
wait "${workers[@]}" || echo "a share has not ended well, see $folder" >&2
kill "$tail"

# Where calls were that nobody has noticed.
mapfile -t places < <(awk -F '\t' '$1 == "unnoticed" { print $6 }' "${records[@]}" | tr -d '\r' |
    tr ' ' '\n' | sort -u)
((${#places[@]} == 0)) || name_functions "${places[@]}" >"$folder/places"

QUORVANE_FAILED_PLACES=$folder/places run_test "${prefixes[0]}" "${records[*]}" "$calls" EveryCallFailsWithoutHarm | name_places
