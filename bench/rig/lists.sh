#!/usr/bin/env bash
# lists.sh lanes|LENGTH-JUDGE: the part lists, inside the lab: kept-alive requests while the daemon has ever longer
# lists. "trusted" are for a host that the scanner finds and the last entry of the trust list lifts, "allowed" for
# one of a blocked category that the last entry of the allow list lifts: together they pass every list to its end.
# A line of RIG_RAW is one length with one LiveTraffic and one of the two in one round; the rounds called "start" and
# "resolved" tell how long a start took, the latter with the system's resolver and a name server. The length "million" is one
# entry in each list, and a million names in each mapped file, where the others have one.
set -eu
here=$(dirname "$0")
. "$here/judges.sh"
if [ "$1" = lanes ]; then
    for judge in $(judges daemon0 daemon1); do
        printf "%s-$judge\n" 1 10000 100000 million
    done
    exit
fi
. "$here/turns.sh"
length=${1%-*} judge=${1#*-}
connections=8 seconds=0.3
rounds=40 starts=5
[ "$RIG_QUICK" = 0 ] || rounds=10 starts=2

# names COUNT LAST: the last one is the host that is asked for.
names() {
    seq -f 'name%.0f.mapped.example' 2 "$1"
    echo "$2"
}

# Store and mapped lists.
prepare() {
    local entries=1 mapped=1
    if [ "$length" = million ]; then mapped=1000000; else entries=$length; fi
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

# measure ROUND HOST
measure() {
    local load
    place near
    load=$(taskset -c $client_on "$RIG_BIN/load_client" kept $connections $seconds 192.0.2.2 8000 "$2.example")
    echo "$1 $length $judge $2 $load $(resident_kib) $first_verdict_ms" | awk -v OFS='\t' '{
        print $1, $2, $3, $4, $7, $8, $9, $10, $11, $12 }' >>"$RIG_RAW"
}

# start ROUND
start() {
    start_judge "$judge"
    measure "$1" allowed
    stop_judge
}

await_turn
header round length judge host rate p50_us p99_us errors rss_kib first_verdict_ms
prefer self
export WEBSEC_DB=$LAB_DIR/rig.db WEBSEC_LISTS=$LAB_DIR/rig.lists
mkdir -p "$WEBSEC_LISTS"
prepare
start_server
echo "hosts: files dns" >/etc/nsswitch.conf
echo "nameserver 192.0.2.2" >/etc/resolv.conf
ip netns exec server python3 "$here/dns_stand_in.py" 192.0.2.2 &
dns_pid=$!
sleep 0.3
start resolved
kill $dns_pid
export LD_PRELOAD=$RIG_BIN/instant_resolver.so
for ((n = 0; n < starts; ++n)); do start start; done
start_judge "$judge"
unset LD_PRELOAD
pass_turn
for ((round = 0; round < rounds; ++round)); do
    await_turn
    for host in allowed trusted; do measure $round $host; done
    pass_turn
done
stop_judge
