#!/usr/bin/env bash
# The part lists, inside the lab: kept-alive requests while the daemon has ever longer lists. "trusted" are for a
# host that the scanner finds and the last entry of the trust list lifts, "allowed" for one of a blocked category
# that the last entry of the allow list lifts: together they pass every list to its end. A line of RIG_RAW is
# one length with one LiveTraffic and one of the two in one round. The length "million" is one entry in each
# list, and a million names in each mapped file, where the others have one.
set -eu
. "$(dirname "$0")/judges.sh"
here=$(dirname "$0")
rounds=7 seconds=2
lengths=(1 10000 100000 million)
[ "$RIG_QUICK" = 0 ] || rounds=2 seconds=1
[ "$RIG_QUICK" = 0 ] || lengths=(1 10000 million)

# names COUNT LAST: the last one is the host that is asked for.
names() {
    seq -f 'name%.0f.mapped.example' 2 "$1"
    echo "$2"
}

# prepare LENGTH: store and mapped lists of their own.
prepare() {
    local entries=1 mapped=1
    if [ "$1" = million ]; then mapped=1000000; else entries=$1; fi
    choose "$1"
    mkdir -p "$WEBSEC_LISTS"
    websecctl protection blocklist on >/dev/null 2>&1
    for what in phishing browsing category; do websecctl protection $what on >/dev/null; done
    websecctl category block gambling >/dev/null
    names $mapped trusted.example >"$LAB_DIR/phishing.txt"
    names $mapped harmful.example >"$LAB_DIR/harmful.txt"
    names $mapped allowed.example >"$LAB_DIR/gambling.txt"
    websecctl import phishing "$LAB_DIR/phishing.txt" >/dev/null
    websecctl import harmful "$LAB_DIR/harmful.txt" >/dev/null
    websecctl import category gambling "$LAB_DIR/gambling.txt" >/dev/null
    python3 "$here/fill_lists.py" "$WEBSEC_DB" "$entries"
}

choose() { export WEBSEC_DB=$LAB_DIR/$1.db WEBSEC_LISTS=$LAB_DIR/$1.lists; }

# resolver none|stand-in: without one no name is known, so none is looked up in vain.
resolver() {
    [ "$1" = none ] && echo "hosts: files" >/etc/nsswitch.conf && return
    echo "hosts: files dns" >/etc/nsswitch.conf
    echo "nameserver 192.0.2.2" >/etc/resolv.conf
}

# measure ROUND LENGTH JUDGE HOST
measure() {
    local load
    load=$("$RIG_BIN/load_client" kept 8 $seconds 192.0.2.2 8000 "$4.example")
    echo "$1 $2 $3 $4 $load $(resident_kib) $first_verdict_ms" | awk -v OFS='\t' '{
        print $1, $2, $3, $4, $7, $8, $9, $10, $11, $12, "" }' >>"$RIG_RAW"
}

prefer self
for length in "${lengths[@]}"; do prepare "$length"; done
start_server
ip netns exec server python3 "$here/dns_stand_in.py" 192.0.2.2 &
printf '%s\t' round length judge host rate p50_us p99_us errors rss_kib first_verdict_ms >"$RIG_RAW"
echo resolved_verdict_ms >>"$RIG_RAW"
for ((round = 0; round < rounds; ++round)); do
    for judge in $(judges daemon0 daemon1); do
        for length in "${lengths[@]}"; do
            choose "$length"
            resolver none
            start_judge "$judge"
            measure $round "$length" "$judge" allowed
            measure $round "$length" "$judge" trusted
            stop_judge
            [ $round = 0 ] || continue
            resolver stand-in
            start_judge "$judge"
            printf '0\t%s\t%s\tresolved\t0\t0\t0\t0\t\t\t%s\n' "$length" "$judge" "$first_verdict_ms" \
                >>"$RIG_RAW"
            stop_judge
        done
    done
done
