#!/usr/bin/env bash
# spoils every call with every misbehaviour of a camera: ./dev faults [--only PART] [--jobs N] [--json FILE]
source Tools/Dev/common.sh
ensure_setup
configure_and_build win32 Quorvane faults
keep_wineserver
clean_internet_cache
timeout 3000 Tools/Dev/run-wine build/win32/bin/faults.exe "$@"
