#!/usr/bin/env bash
# Calls and words that do not belong in the sources; each ban with its reason, each exception with its own.
set -euo pipefail
status=0

# ban REASON PATTERN PATHSPEC...
ban() {
    local reason=$1 pattern=$2 found
    shift 2
    # A line that says "allowed:" carries its own reason.
    found=$(git grep -nE "$pattern" -- "$@" | grep -v 'allowed:' || true)
    [[ -z $found ]] || {
        printf '%s\n  -> %s\n' "$found" "$reason" >&2
        status=1
    }
}

sources=('Backend/*.cpp' 'Backend/*.h' 'Tools/*.cpp' 'Tools/*.h')
tests=('Tests/*.cpp' 'Tests/*.h' 'Benchmarks/*.cpp')

ban "no bound on the buffer; build a std::string" '\b(sprintf|strcpy|strcat|strtok|gets)\s*\(' "${sources[@]}" "${tests[@]}"
ban "undefined for text that is no number; TextUtil has a conversion" '\b(atoi|atol|_wtoi)\s*\(' "${sources[@]}"
ban "every wait has a limit" '\bINFINITE\b' "${sources[@]}" "${tests[@]}"
ban "wait for the event that you mean" '\b(Sleep|sleep_for|usleep)\s*\(' "${tests[@]}"
ban "close through a RAII type of Backend/Common" \
    '\b(CloseHandle|InternetCloseHandle|RegCloseKey|SysFreeString|CoTaskMemFree|CryptReleaseContext|CryptDestroyHash|FreeLibrary)\s*\(' \
    'Backend/Common/Components/*.cpp' 'Backend/Common/Components/*.h'
ban "the portable core includes no Windows header" '#include <(windows|winsock2|wininet|objbase|oleauto|wincrypt)\.h>' \
    'Backend/Common/Components/Quorvane/Protocol/*' 'Backend/Common/TextEncoding/*' 'Backend/Filters/*'
ban "winpthreads leaves a handle on every foreign thread that meets it" \
    'std::(mutex|recursive_mutex|condition_variable|call_once|thread)\b' 'Backend/*.cpp' 'Backend/*.h'
exit "$status"
