#!/usr/bin/env bash
# hand_off.sh lanes|JUDGE: the part hand-off, inside the lab: what a request costs with JUDGE at the queue. "lanes"
# tells whom there is to compare. A line of RIG_RAW is one judge with one kind of load in one placement and one
# round; the rounds called "start" tell how long a start took.
set -eu
. "$(dirname "$0")/judges.sh"
if [ "$1" = lanes ]; then
    judges none bare0 bare1 floor daemon0 daemon1 suricata
    exit
fi
. "$(dirname "$0")/turns.sh"
judge=$1
connections=8 seconds=0.3
rounds=40 starts=5
[ "$RIG_QUICK" = 0 ] || rounds=10 starts=2

# measure ROUND KIND PLACEMENT
measure() {
    local before after load
    place "$3"
    before=$(spent)
    load=$(taskset -c $client_on "$RIG_BIN/load_client" "$2" $connections $seconds 192.0.2.2 8000 allowed.example)
    after=$(spent)
    echo "$1 $judge $2 $3 $load $before $after $(resident_kib) $first_verdict_ms" | awk -v OFS='\t' '{
        print $1, $2, $3, $4, $5, $7, $8, $9, $10, $14 - $11, $15 - $12, $16 - $13, $17, $18 }' >>"$RIG_RAW"
}

await_turn
header round judge kind placement requests rate p50_us p99_us errors user_ms system_ms packets rss_kib \
    first_verdict_ms
websecctl protection blocklist on >/dev/null 2>&1
websecctl block add blocked.example >/dev/null 2>&1
prefer self
start_server
for ((n = 0; n < starts; ++n)); do
    start_judge "$judge"
    measure start kept free
    stop_judge
done
start_judge "$judge"
pass_turn
for ((round = 0; round < rounds; ++round)); do
    await_turn
    for placement in near free; do
        for kind in kept new; do measure $round $kind $placement; done
    done
    pass_turn
done
stop_judge
