#!/usr/bin/env bash
# builds everything: build/win32 (the component and its tools) and build/native (portable parts with sanitizers)
source Tools/Dev/common.sh
ensure_setup
configure_and_build win32 all verb_programs
configure_and_build native
echo "built: build/win32/bin/Quorvane.dll, Quorvane.tlb, avcommand.exe, camerasim.exe"
echo "       build/win32/generated/Quorvane.h, Quorvane_i.c (for clients)"
echo "       build/native/bin/camerasim"
