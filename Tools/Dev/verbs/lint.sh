#!/usr/bin/env bash
# checks formatting, the ban list and, with --tidy, clang-tidy on the portable sources
source Tools/Dev/common.sh
ensure_setup
status=0
git ls-files -z -- '*.cpp' '*.h' | xargs -0 -r clang-format --dry-run -Werror || status=1
bash Tools/Dev/check-bans.sh || status=1
if [[ ${1:-} == --tidy ]]; then
    configure_and_build native
    git ls-files -z -- 'Backend/*.cpp' 'Tools/*.cpp' |
        while IFS= read -r -d '' file; do
            ! grep -q "$PWD/$file" build/native/compile_commands.json || printf '%s\0' "$file"
        done | xargs -0 -r -n 4 -P "$jobs" clang-tidy -p build/native --quiet --warnings-as-errors='*' || status=1
fi
((status == 0)) && echo "lint: clean"
exit "$status"
