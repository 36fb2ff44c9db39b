#!/usr/bin/env bash
# formats all C++ sources in place
source Tools/Dev/common.sh
ensure_setup
git ls-files -z -- '*.cpp' '*.h' | xargs -0 -r clang-format -i
