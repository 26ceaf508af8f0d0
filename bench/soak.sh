#!/usr/bin/env bash
# Mixed traffic of real clients through one daemon, with reloads, imports and restarts of the category server
# between; does every request end as it should, and do memory, descriptors and threads stay flat?
#
#     sudo bench/soak.sh BUILD_DIR [MINUTES]
#
# 60 minutes unless told. Prints a table of the four quarters and one of the requests. Exit status 0 when nothing
# ended wrong and the last quarter lies within 5 % of the second one (the least number of descriptors within two). By
# itself it keeps two cores at a load of 3 or so.
set -u
self=$(realpath "$0")
product=/usr/lib/Morvane/Morvane
if [ "${1:-}" != --inside ]; then
    if [ ! -d "${1:-}" ] || [[ ! ${2:-60} =~ ^[0-9]+$ ]]; then
        sed -n '2,/^set/{/^#/s/^#\( \|$\)//p}' "$0" >&2
        exit 2
    fi
    exec "${self%/*}/../tests/support/lab.sh" "$1" "$self" --inside "${2:-60}"
fi
minutes=$2
soak=$LAB_DIR/soak
mkdir "$soak"
end=$(($(date +%s) + minutes * 60))

running() { [ "$(date +%s)" -lt $end ]; }

# again PAUSE KIND EXPECTED COMMAND...: until the end; EXPECTED is "loads" or "fails". Counts what came out.
again() {
    local pause=$1 kind=$2 expected=$3 right=0 wrong=0 longest=0 seen begin took
    shift 3
    while running; do
        begin=${EPOCHREALTIME//[^0-9]/}
        if "$@" >"$soak/$kind.out" 2>&1; then seen=loads; else seen=fails; fi
        took=$(((${EPOCHREALTIME//[^0-9]/} - begin) / 1000))
        # What is blocked ends by a reset, not by the time-out of 30 seconds.
        if [ $seen = fails ] && [ $took -ge 29000 ]; then seen=hangs; fi
        [ $took -gt $longest ] && longest=$took
        if [ $seen = "$expected" ]; then
            right=$((right + 1))
        else
            wrong=$((wrong + 1))
            {
                echo "$(date +%T) after $took ms, load $(cut -d' ' -f1 /proc/loadavg)"
                tail -3 "$soak/$kind.out"
            } >>"$soak/$kind.wrong"
        fi
        echo "$kind $expected $right $wrong $longest" >"$soak/$kind.count"
        sleep "$pause"
    done
}

get() { curl -sSk -m 30 -o /dev/null "$@"; }
burst() { get -Z --parallel-max 50 'http://allowed.example/[1-200]'; }
# The same connection for all of them.
keep() { get 'http://allowed.example/[1-100]'; }
fetch() { wget -q -T 30 -t 1 --no-check-certificate -O /dev/null "$@"; }
shake() { timeout 30 openssl s_client -connect "$1:443" -servername "$1" </dev/null 2>&1 | grep -q 'BEGIN CERTIFICATE'; }

# A hello in segments of 100 bytes, then the rest of the handshake.
split_hello() {
    python3 - "$1" <<'PYTHON'
import socket, ssl, sys, time
context = ssl._create_unverified_context()
incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
tls = context.wrap_bio(incoming, outgoing, server_hostname=sys.argv[1])
with socket.create_connection((sys.argv[1], 443), 30) as connection:
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    while True:
        try:
            tls.do_handshake()
            break
        except ssl.SSLWantReadError:
            hello = outgoing.read()
            for start in range(0, len(hello), 100):
                connection.sendall(hello[start:start + 100])
                time.sleep(0.002)
            data = connection.recv(65536)
            if not data:
                sys.exit(1)
            incoming.write(data)
PYTHON
}

browse() {
    local profile=$soak/profile.$1
    HOME=$profile timeout 90 chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --no-first-run \
        --disable-background-networking --ignore-certificate-errors --user-data-dir="$profile" \
        --dump-dom "https://$1.example/" 2>/dev/null | grep -q "hello from the server"
    local status=$?
    rm -rf "$profile"
    return $status
}

names() { seq -f "site%.0f.$1.example" "$2"; }

serve_categories() {
    websec-catserver 2>>"$soak/catserver.err" &
    echo $! >"$soak/catserver.pid"
}

# One round of what an administrator and time do to a running daemon.
disturb() {
    local round=0
    while running; do
        round=$((round + 1))
        websecctl block add "round$((round % 50)).example"
        kill -USR2 "$pid"
        sleep 1
        websecctl import phishing --name soak "$soak/names.$((round % 2))"
        kill -HUP "$pid"
        sleep 1
        websecctl block remove "round$((round % 50)).example"
        if [ $((round % 5)) = 0 ]; then
            kill -TERM "$(cat "$soak/catserver.pid")"
            sleep 1
            serve_categories
        fi
        sleep 2
        echo $round >"$soak/rounds"
    done >"$soak/disturb.out" 2>&1
}

# Second, resident KiB, peak KiB, descriptors, threads, resident KiB without the tables of fixed size (packet store,
# gathered requests), whose pages come into use one by one as traffic first reaches them; load.
sample() {
    awk -v now="$(($(date +%s) - start))" -v fds="$(find "/proc/$pid/fd" -mindepth 1 2>/dev/null | wc -l)" \
        -v load="$(cut -d' ' -f1 /proc/loadavg)" '
        /^VmHWM/ { hwm = $2 } /^Threads/ { threads = $2 }
        /^[0-9a-f]+-[0-9a-f]+ / { fixed = $6 == "" && last ~ /websec$/; last = $6 }
        /^Rss:/ { rss += $2; if (!fixed) rest += $2 }
        END { if (rss) print now, rss, hwm, fds, threads, rest, load }' "/proc/$pid/status" "/proc/$pid/smaps" 2>/dev/null
}

report() {
    local failed=0
    awk -v all=$((minutes * 60)) '
        { q = int($1 * 4 / all); if (q > 3) q = 3; n[q]++
          for (i = 2; i <= 7; i++) {
              sum[q, i] += $i
              if ($i > max[q, i]) max[q, i] = $i
              if (n[q] == 1 || $i < min[q, i]) min[q, i] = $i } }
        function mean(q, i) { return n[q] ? sum[q, i] / n[q] : 0 }
        function hold(what, before, after) {
            if (before && after <= before * 1.05 && after >= before * 0.95) return
            printf "not flat: %s, %.1f before, %.1f now\n", what, before, after
            bad = 1 }
        END {
            printf "%-8s %8s %13s %18s %10s %20s %8s %6s\n", "quarter", "samples", "RSS mean KiB",
                   "less fixed tables", "VmHWM KiB", "descriptors min-max", "threads", "load"
            for (q = 0; q < 4; q++)
                printf "%-8d %8d %13.0f %18.0f %10d %20s %8.1f %6.1f\n", q + 1, n[q], mean(q, 2), mean(q, 6),
                       max[q, 3], min[q, 4] "-" max[q, 4], mean(q, 5), mean(q, 7)
            hold("memory", mean(1, 6), mean(3, 6))
            # Those of requests under way come and go, so the least of a quarter hangs on how often the daemon rests; one
            # that is lost with each round, or each hundredth request, makes hundreds.
            if (min[3, 4] > min[1, 4] + 2) hold("descriptors", min[1, 4], min[3, 4])
            hold("threads", mean(1, 5), mean(3, 5))
            exit bad
        }' "$soak/samples" || failed=1
    printf '\n%-22s %-8s %9s %9s %11s\n' requests expected right wrong "longest ms"
    cat "$soak"/*.count | awk '{ printf "%-22s %-8s %9d %9d %11d\n", $1, $2, $3, $4, $5; bad += $4 }
                               END { exit bad > 0 }' || failed=1
    tail -n 8 "$soak"/*.wrong 2>/dev/null
    printf '\n%s rounds of changes; blocks reported: %s\n' "$(cat "$soak/rounds")" \
        "$(websecctl report --csv --limit 0 | awk -F, 'NR > 1 { n += $NF } END { print n + 0 }')"
    return $failed
}

printf '[ServiceConfigurations]\nLiveTraffic=1\nCloseBypasses=1\ncatEngine=2\n' >$product/websec.cfg
echo '192.0.2.2 phish.example games.example' >>/etc/hosts
{ names phishing 20000; echo phish.example; } >"$soak/names.0"
{ names phishing 30000; echo phish.example; } >"$soak/names.1"
{ names gambling 10000; } >"$soak/games"
{
    websecctl protection report on && websecctl protection blocklist on && websecctl protection category on &&
        websecctl block add blocked.example ftp://192.0.2.6/file.txt &&
        websecctl import phishing --name soak "$soak/names.0" &&
        websecctl import category gambling "$soak/games" && websecctl category block gambling
} >"$soak/setup.out" 2>&1 || { cat "$soak/setup.out"; exit 1; }
serve_categories
websec
sleep 2
pid=$(pgrep -x websec) || { echo "the daemon did not start"; exit 1; }
start=$(date +%s)

again 0.4 curl loads get http://allowed.example/ &
again 0.4 curl-blocked fails get http://blocked.example/ &
again 0.5 curl-phishing fails get http://phish.example/x &
again 0.6 curl-post loads get -d "$(printf '%9000s' x)" http://allowed.example/ &
again 0.6 curl-cookies loads get -H "Cookie: $(printf '%9000s' x | tr ' ' c)" http://allowed.example/ &
again 0.6 curl-tls loads get https://allowed.example/ &
again 0.6 curl-tls-blocked fails get https://blocked.example/ &
again 3 burst loads burst &
again 2 keep-alive loads keep &
again 0.7 wget loads fetch https://www.allowed.example/ &
again 0.7 wget-blocked fails fetch http://www.blocked.example/ &
again 0.8 openssl loads shake allowed.example &
again 0.8 openssl-blocked fails shake blocked.example &
again 1.5 split-hello loads split_hello allowed.example &
again 1.5 split-hello-blocked fails split_hello blocked.example &
again 0.5 loopback loads get http://local-allowed.example/ &
if command -v vsftpd >/dev/null; then
    again 0.5 ftp loads get ftp://192.0.2.6/pub/other.txt &
    again 0.5 ftp-blocked fails get ftp://192.0.2.6/file.txt &
fi
if command -v chromium >/dev/null; then
    again 60 chromium loads browse allowed &
    again 75 chromium-blocked fails browse blocked &
fi
disturb &

: >"$soak/samples"
while running; do
    sample >>"$soak/samples"
    sleep 5
done
sleep 12
status=0
report || status=1
kill -TERM "$pid"
for try in $(seq 50); do
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
done
if kill -0 "$pid" 2>/dev/null || iptables-save | grep -q -e NFQUEUE -e WEBSEC_; then
    echo "the daemon did not end, or left rules"
    status=1
fi
exit $status
