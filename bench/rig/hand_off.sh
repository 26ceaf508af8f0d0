#!/usr/bin/env bash
# The part hand-off, inside the lab: what a request costs with each judge at the queue, in rounds in which the
# judges take turns. A line of RIG_RAW is one judge with one kind of load in one round.
set -eu
. "$(dirname "$0")/judges.sh"
connections=8
rounds=15 seconds=2
[ "$RIG_QUICK" = 0 ] || rounds=5 seconds=1
mapfile -t judges < <(judges none bare0 bare1 floor daemon0 daemon1 suricata)

# measure ROUND JUDGE KIND
measure() {
    local before after load
    before=$(spent)
    load=$("$RIG_BIN/load_client" "$3" $connections $seconds 192.0.2.2 8000 allowed.example)
    after=$(spent)
    echo "$1 $2 $3 $load $before $after $(resident_kib) $first_verdict_ms" | awk -v OFS='\t' '{
        print $1, $2, $3, $4, $6, $7, $8, $9, $13 - $10, $14 - $11, $15 - $12, $16, $17 }' >>"$RIG_RAW"
}

websecctl protection blocklist on >/dev/null 2>&1
websecctl block add blocked.example >/dev/null 2>&1
prefer self
keep_rules
start_server
printf '%s\t' round judge kind requests rate p50_us p99_us errors user_ms system_ms packets rss_kib >"$RIG_RAW"
echo first_verdict_ms >>"$RIG_RAW"
for ((round = 0; round < rounds; ++round)); do
    for ((n = 0; n < ${#judges[@]}; ++n)); do
        judge=${judges[(n + round) % ${#judges[@]}]}
        start_judge "$judge"
        measure $round "$judge" kept
        measure $round "$judge" new
        stop_judge
    done
done
