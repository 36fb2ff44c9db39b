#!/usr/bin/env bash
# feeds the parsers what libFuzzer makes up: ./dev fuzz [TARGET ...] [--seconds N] [--minimise]
source Tools/Dev/common.sh

known=()
for source in Tests/Fuzz/Targets/*.cpp; do
    known+=("$(basename "$source" .cpp)")
done

usage() {
    echo "usage: ./dev fuzz [TARGET ...] [--seconds N]    each target for N seconds (60); all targets without a name" >&2
    echo "       ./dev fuzz [TARGET ...] --minimise       keeps of all inputs so far what shows something new" >&2
    echo "targets: ${known[*]}" >&2
    exit 2
}

seconds=60
minimise=
targets=()
while (($#)); do
    case $1 in
    --seconds)
        [[ ${2:-} =~ ^[1-9][0-9]*$ ]] || usage
        seconds=$2
        shift
        ;;
    --minimise) minimise=1 ;;
    *)
        [[ -f Tests/Fuzz/Targets/$1.cpp ]] || usage
        targets+=("$1")
        ;;
    esac
    shift
done
((${#targets[@]})) || targets=("${known[@]}")

ensure_setup clang-14 libclang-rt-14-dev
configure_and_build fuzz "${targets[@]/#/fuzz_}"
work=$PWD/build/fuzz/run
mkdir -p "$work"

# An input that takes 10 s or 512 MB is a finding, too.
limits=(-max_len=4096 -timeout=10 -rss_limit_mb=512)

# fuzz TARGET: prints what was done; the inputs that show something new go to the work folder.
fuzz() {
    local target=$1 log=$work/$1.log found=ok
    mkdir -p "$work/$target"
    "build/fuzz/bin/fuzz_$target" "${limits[@]}" -max_total_time="$seconds" -print_final_stats=1 \
        -dict=Tests/Fuzz/words.dict -artifact_prefix="$work/$target-" \
        "$work/$target" "Tests/Corpus/$target" >"$log" 2>&1 || found=FAILED
    local done_line
    done_line=$(grep -E '^#[0-9]+\s+(DONE|pulse|NEW|REDUCE|INITED|RELOAD)' "$log" | tail -n 1)
    printf '%-22s %12s %8s %10s  %s\n' "$target" \
        "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" \
        "$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<<"$done_line")" \
        "$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<<"$done_line")" "$found"
    [[ $found == ok ]] || {
        grep -E 'what\(\)|ERROR|runtime error|Test unit written' "$log" >&2
        return 1
    }
}

# minimise TARGET: inputs with a name of their own stay; of all others those that reach something that no smaller one does.
minimise() {
    local target=$1 kept=Tests/Corpus/$1
    mkdir -p "$work/$target"
    find "$kept" -regextype posix-extended -regex '.*/[0-9a-f]{40}' -exec mv -t "$work/$target" {} +
    # By edges, not by how often they are passed: a fraction of the files.
    "build/fuzz/bin/fuzz_$target" "${limits[@]}" -use_counters=0 -merge=1 "$kept" "$work/$target" \
        >"$work/$target.merge.log" 2>&1 || fail "the merge failed; see $work/$target.merge.log"
    printf '%-22s %4d files %8d bytes\n' "$target" "$(find "$kept" -type f | wc -l)" \
        "$(find "$kept" -type f -printf '%s\n' | awk '{ sum += $1 } END { print sum }')"
}

status=0
[[ -n $minimise ]] || printf '%-22s %12s %8s %10s  %s\n' target executions edges features result
for target in "${targets[@]}"; do
    if [[ -n $minimise ]]; then minimise "$target"; else fuzz "$target" || status=1; fi
done
exit "$status"
