# shellcheck shell=bash
# Clocks and disks, while pages are asked for.

# Pages are asked for all the time; prints how many of them failed.
browse_while() { # COMMAND
    local browser
    : >"$LAB_DIR/browse"
    while [ -e "$LAB_DIR/browse" ]; do
        curl -s -m 6 -o /dev/null http://allowed.example/ || echo x >>"$LAB_DIR/browse.failed"
        sleep 0.02
    done &
    browser=$!
    : >"$LAB_DIR/browse.failed"
    eval "$1"
    rm "$LAB_DIR/browse"
    wait $browser
    wc -l <"$LAB_DIR/browse.failed"
}

leap() {
    local shift
    for shift in 86400 -86400 2000000000 -1500000000 0; do
        shift_clock $shift
        kept="$kept $(blocks)"
        reload
        kept="$kept $(blocks)"
    done
}

# The wall clock leaps under the daemon, there and back; then a rule is taken away, which the watchdog puts back.
leaping_clock_row() {
    local name="LiveTraffic $1: the clock leaps" failed kept=""
    [[ $name == *"$only"* ]] || return
    sed -i "s/LiveTraffic=.*/LiveTraffic=$1/" "$product/websec.cfg"
    prefix="LD_PRELOAD=$build/tests/libshifted_clock.so SHIFTED_CLOCK_FILE=$LAB_DIR/clock"
    launch
    prefix=""
    settle >/dev/null
    browse_while leap >"$LAB_DIR/failed"
    failed=$(cat "$LAB_DIR/failed")
    shift_clock -86400
    iptables-save -t mangle | grep -e NFQUEUE | head -1 | sed 's/^-A/-D/' | xargs iptables -t mangle
    seen=" | pages failed: $failed, rules back after $(seconds_until 65 all_rules) s $(healed)"
    [ "$failed" = 0 ] || seen="$seen BAD"
    shift_clock 0
    seen="$seen$(clean_up)"
    restore
    result "$name"
}

# The machine has been up for long, so the monotonic clock is far on.
long_uptime_row() {
    local name="up for $1 years"
    [[ $name == *"$only"* ]] || return
    prefix="unshare --time --fork --monotonic $(($1 * 31557600)) --boottime $(($1 * 31557600))"
    launch
    prefix=""
    seen=" | $(settle) $(loads) $(healed)$(clean_up)"
    [[ $seen == " | rests loads healed"* ]] || seen="$seen BAD"
    result "$name"
}

fill() {
    cat /dev/zero >/var/lib/websec/ballast 2>/dev/null
    for try in $(seq 20); do
        blocks >/dev/null
        websecctl block add "full$try.example" >/dev/null 2>&1
    done
    reload
    kept=$(blocks)
}

# The disk of the store and the lists fills while it runs; what could be kept afterwards is reported.
filling_disk_row() {
    local name="LiveTraffic $1: the disk fills" failed kept="" reported
    [[ $name == *"$only"* ]] || return
    sed -i "s/LiveTraffic=.*/LiveTraffic=$1/" "$product/websec.cfg"
    small_disk 2m
    rm /var/lib/websec/ballast
    launch
    settle >/dev/null
    browse_while fill >"$LAB_DIR/failed"
    failed=$(cat "$LAB_DIR/failed")
    rm /var/lib/websec/ballast
    sleep 2
    reported=$(websecctl report --csv --limit 0 | awk -F, 'NR > 1 { n += $NF } END { print n + 0 }')
    seen=" | pages failed: $failed, reported $reported $(healed)"
    [ "$failed" = 0 ] && [ "$reported" -ge 60 ] || seen="$seen BAD"
    seen="$seen$(clean_up)"
    no_disk
    restore
    result "$name"
}

traffic_rows() {
    printf '\n%s\n' "under traffic"
    for live in 1 0; do
        leaping_clock_row $live
        filling_disk_row $live
    done
    long_uptime_row 1
    long_uptime_row 70
}
