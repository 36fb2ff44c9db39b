#!/usr/bin/env bash
# lets every system call of the component fail once, one by one, in whole sessions: ./dev failcalls [FUNCTION,...][@SESSION]
source Tools/Dev/common.sh
(($# <= 1)) || fail "usage: ./dev failcalls [FUNCTION,...|all][@SESSION]"
ensure_setup
configure_and_build win32 FailedCallsTests
keep_wineserver
clean_internet_cache
library=build/win32/bin/Quorvane.dll
base=$(i686-w64-mingw32-objdump -p "$library" | awk '$1 == "ImageBase" { print $2 }')

# name_places: gives the places of a defect, offsets into the library, their names.
name_places() {
    local line place
    while IFS= read -r line; do
        printf '%s\n' "$line"
        [[ $line =~ ^'    at '(0x[0-9a-f ]+x?.*)$ ]] || continue
        for place in ${BASH_REMATCH[1]}; do
            # The return address stands behind the call.
            i686-w64-mingw32-addr2line -e "$library" -f -C -s "$(printf '0x%x' $((0x$base + place - 1)))" |
                paste -d ' ' - - | sed 's/^/        /'
        done
    done
}

QUORVANE_FAILED_FUNCTION=${1:-} timeout 14400 Tools/Dev/run-wine build/win32/bin/FailedCallsTests.exe \
    --gtest_also_run_disabled_tests --gtest_filter='FailedCalls.DISABLED_*' | name_places
