#!/usr/bin/env bash
# bursts.sh lanes|all: the part bursts, inside the lab, in a single lane: requests without connections (raw_requests),
# some of them to a blocked host, with 20 microseconds of added judging for each. The other host counts what comes and
# drops it. A line of RIG_RAW is one judge with one kind of burst.
set -eu
. "$(dirname "$0")/judges.sh"
if [ "$1" = lanes ]; then
    echo all
    exit
fi
. "$(dirname "$0")/turns.sh"
rounds=3
[ "$RIG_QUICK" = 0 ] || rounds=1
kinds=("burst 1000 10" "burst 5000 10" "steady 30000 5 100")

# arrived PORT
arrived() {
    ip netns exec server iptables -t mangle -L PREROUTING -nvx | awk -v port="dpt:$1" '$0 ~ port { print $1 }'
}

# How many packets the kernel holds for a verdict.
waiting() { awk '{ n = $3 } END { print n + 0 }' /proc/net/netfilter/nfnetlink_queue; }

# Until nothing waits for a verdict any more, or for half a minute.
drain() {
    local last="" now
    for _ in $(seq 60); do
        now=$(arrived 9000)
        if [ "$now" = "$last" ] && [ "$(waiting)" = 0 ]; then return; fi
        last=$now
        sleep 0.5
    done
}

# burst ROUND JUDGE KIND...
burst() {
    local round=$1 judge=$2 sent ended=1
    shift 2
    start_judge "$judge"
    ip netns exec server iptables -t mangle -Z
    sent=$("$RIG_BIN/raw_requests" "$@")
    drain
    if [ -z "$judge_pid" ] || kill -0 "$judge_pid" 2>/dev/null; then ended=0; fi
    echo "$round $judge ${*:1:2} $sent $(arrived 9000) $(arrived 9001) $ended" | awk -v OFS='\t' '{
        print $1, $2, $3 " " $4, $5, $6, $5 - $9, $10, $7, $8, $11 }' >>"$RIG_RAW"
    stop_judge
}

cp "$RIG_BIN/spinning_urlcheck.so" "$PRODUCT/urlcheck.so"
websecctl protection blocklist on >/dev/null 2>&1
websecctl protection phishing on >/dev/null
websecctl block add blocked.example >/dev/null 2>&1
prefer self
for port in 9000 9001; do
    ip netns exec server iptables -t mangle -A PREROUTING -p tcp --dport $port -j DROP
done
header round judge kind allowed blocked allowed_lost blocked_served seconds model_lost ended
for ((round = 0; round < rounds; ++round)); do
    for kind in "${kinds[@]}"; do
        for judge in $(judges none daemon0 daemon1); do
            # shellcheck disable=SC2086
            burst $round "$judge" $kind
        done
    done
done
