# Names for places in the component, which reports of tests give as offsets into the library. Sourced by verbs.
library=build/win32/bin/Quorvane.dll

# name_functions PLACE ...: a line "PLACE NAME" for each, and for each function that was inlined there.
name_functions() {
    local place addresses=() base
    base=$(i686-w64-mingw32-objdump -p "$library" | awk '$1 == "ImageBase" { print $2 }')
    for place in "$@"; do
        # The return address stands behind the call.
        addresses+=("$(printf '0x%x' $((0x$base + place - 1)))")
    done
    i686-w64-mingw32-addr2line -e "$library" -a -f -i "${addresses[@]}" | sed 's/^Z/_Z/' | c++filt |
        awk -v list="$*" '
            BEGIN { split(list, places, " ") }
            /^0x[0-9a-f]+$/ { ++at; isName = 1; next }
            isName { print places[at], $0 }
            { isName = !isName }'
}

# name_places: gives the places of a defect, offsets into the library, their names.
name_places() {
    local line
    while IFS= read -r line; do
        printf '%s\n' "$line"
        [[ $line =~ ' at '(0x[0-9a-f x]+) ]] || continue
        # shellcheck disable=SC2086 # several places
        name_functions ${BASH_REMATCH[1]} | sed 's/^/        /'
    done
}
