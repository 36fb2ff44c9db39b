#!/usr/bin/env bash
# removes build/, the Wine prefixes in it included
source Tools/Dev/common.sh
if command -v wineserver >/dev/null; then
    # Programs of our prefixes that still run would keep files open.
    for prefix in "$PWD"/build/wineprefix*; do
        [[ ! -d $prefix ]] || WINEPREFIX=$prefix wineserver --kill >/dev/null 2>&1 || true
    done
fi
rm -rf build
