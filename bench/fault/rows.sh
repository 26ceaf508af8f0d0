# shellcheck shell=bash
# A row for each fault: what was seen, counted and printed.

rows=0 bad=0
seen=""

result() { # NAME, with what was seen in $seen
    rows=$((rows + 1))
    case $seen in *BAD* | *left* | *"did not"* | *never* | *NOT*) bad=$((bad + 1)) ;; esac
    printf '%-42s%s\n' "$1" "$seen"
}

heading() { printf '\n%-42s | %-27s | %s\n' "$1" "at the start" "at a reload"; }

note() { # STATE-EXPECTED STATE PAGE BLOCKS HEALED
    seen="$seen$(printf ' | %-7s %-6s %-5s %-7s' "$2" "$3" "$4" "$5")"
    [ "$2" = "$1" ] && [ "$3" = loads ] && [ "$5" = healed ] || seen="$seen BAD"
}

# row NAME EXPECTED-AT-START BREAK MEND: the two are shell commands. EXPECTED is rests or ended; a reload must
# always end with a daemon that rests.
row() {
    local name=$1 expected=$2 state page kept
    [[ $name == *"$only"* ]] || return
    seen=""
    eval "$3"
    launch
    state=$(settle) page=$(loads) kept=$(blocks)
    eval "$4"
    if [ "$state" = rests ]; then
        reload
        settle >/dev/null
        note "$expected" "$state" "$page" "$kept" "$(healed)"
    else
        end_daemon >/dev/null
        launch
        settle >/dev/null
        note "$expected" "$state" "$page" "$kept" "$(healed)"
    fi
    seen="$seen$(clean_up)"

    restore
    launch
    settle >/dev/null
    eval "$3"
    reload
    state=$(settle) page=$(loads) kept=$(blocks)
    eval "$4"
    reload
    settle >/dev/null
    note rests "$state" "$page" "$kept" "$(healed)"
    seen="$seen$(clean_up)"
    restore
    result "$name"
}
