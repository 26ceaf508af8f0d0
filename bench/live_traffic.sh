#!/usr/bin/env bash
# What a request costs without the daemon, with LiveTraffic 0 and with 1, in alternated rounds of one run:
#
#     sudo tests/support/lab.sh build bench/live_traffic.sh [ROUNDS [SECONDS]]
#
# Needs wrk. Prints the medians: requests a second, and the 50th and 99th percentile of their latency.
set -u
rounds=${1:-5}
seconds=${2:-3}
product=/usr/lib/Morvane/Morvane
figures=$(mktemp -d)

run_wrk() { # MODE KIND WRK-ARGUMENT...
    local file=$figures/$1.$2
    shift 2
    wrk -t1 -c8 -d"${seconds}s" --latency "$@" http://allowed.example/ |
        awk '/50%/ { p50 = $2 } /99%/ { p99 = $2 } /Requests\/sec/ { print $2, p50, p99 }' >>"$file"
}

round() { # MODE
    local pid=""
    if [ "$1" != none ]; then
        printf '[ServiceConfigurations]\nLiveTraffic=%s\n' "$1" >$product/websec.cfg
        websec
        sleep 1
        pid=$(pgrep -x websec)
    fi
    run_wrk "$1" kept
    run_wrk "$1" new -H 'Connection: close'
    [ -z "$pid" ] && return
    kill -TERM "$pid"
    while kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
}

median() { sort -n "$1" | awk '{ line[NR] = $0 } END { print line[int((NR + 1) / 2)] }'; }

websecctl protection blocklist on >/dev/null
websecctl block add blocked.example >/dev/null 2>&1
# Connections that wait for their end would take the ports, and whoever comes last would pay for it.
sysctl -qw net.ipv4.tcp_max_tw_buckets=500
ip netns exec server sysctl -qw net.ipv4.tcp_max_tw_buckets=500
for n in $(seq "$rounds"); do
    case $((n % 3)) in
        0) order="none 0 1" ;;
        1) order="0 1 none" ;;
        2) order="1 none 0" ;;
    esac
    for mode in $order; do round "$mode"; done
done
printf '%-8s %-6s %12s %10s %10s\n' mode kind requests/s p50 p99
for kind in kept new; do
    for mode in none 0 1; do
        # shellcheck disable=SC2046
        printf '%-8s %-6s %12s %10s %10s\n' $mode $kind $(median "$figures/$mode.$kind")
    done
done
rm -r "$figures"
