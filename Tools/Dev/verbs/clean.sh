#!/usr/bin/env bash
# removes build/, the Wine prefix in it included
source Tools/Dev/common.sh
if [[ -d build/wineprefix ]] && command -v wineserver >/dev/null; then
    # Programs of this prefix that still run would keep files open.
    WINEPREFIX="$PWD/build/wineprefix" wineserver --kill >/dev/null 2>&1 || true
fi
rm -rf build
