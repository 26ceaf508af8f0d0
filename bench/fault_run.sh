#!/usr/bin/env bash
# What a bad day does to the daemon: each file it reads absent, damaged or hanging, disks that are full or cannot be
# written, firewall programs that fail, clocks that jump. Every fault is there once when the daemon starts and once
# when it is told to reload.
#
#     sudo bench/fault_run.sh BUILD_DIR [ROWS]      (ROWS: only those whose name contains this text)
#
# Columns: what the daemon does, whether an allowed page loads, which blocks are left under the fault (list, phishing,
# category), and whether all three are back after the fault is mended and a reload (or, where the daemon ended, a
# start). Exit status 0 only when no daemon crashed or hung, every allowed page loaded and everything healed.
set -u
self=$(realpath "$0")
product=/usr/lib/Morvane/Morvane
lists=/var/lib/websec/lists
if [ "${1:-}" != --inside ]; then
    [ -d "${1:-}" ] || { sed -n '2,/^set/{/^#/s/^#\( \|$\)//p}' "$0" >&2; exit 2; }
    build=$(realpath "$1")
    exec "${self%/*}/../tests/support/lab.sh" "$build" "$self" --inside "$build" "${2:-}"
fi
build=$2
only=$3
sound=$LAB_DIR/sound
rows=0 bad=0
pid=""

# --- the daemon ---

# From the handlers' mask: "rests" once signals are let in and none waits, "ended", or "hangs" after five seconds.
settle() {
    local try
    for try in $(seq 100); do
        [ -e "/proc/$pid/status" ] && ! grep -qs '^State:.*Z' "/proc/$pid/status" || { echo ended; return; }
        awk '/^ShdPnd|^SigPnd|^SigBlk/ && $2 !~ /^0+$/ { busy = 1 } /^SigCgt/ && $2 ~ /0$/ { busy = 1 } END { exit busy }' \
            "/proc/$pid/status" 2>/dev/null && { echo rests; return; }
        sleep 0.05
    done
    echo hangs
}

# Starts it; whatever runs before the daemon's name (a preloaded library) stands in $prefix.
prefix=""
launch() {
    # shellcheck disable=SC2086
    (env $prefix timeout 5 websec >"$LAB_DIR/launch.out" 2>&1) 2>/dev/null
    sleep 0.05
    pid=$(pgrep -ox websec) || pid=0  # the oldest: a child on its way to iptables bears the name, too
}

end_daemon() {
    [ "$pid" = 0 ] && return
    kill -TERM "$pid" 2>/dev/null
    for try in $(seq 60); do
        [ -e "/proc/$pid" ] || break
        sleep 0.05
    done
    kill -KILL "$pid" 2>/dev/null && echo "did not end"
    pid=0
}

clean_up() {
    end_daemon
    iptables-save 2>/dev/null | grep -q -e NFQUEUE -e WEBSEC_ && echo "left rules"
    websecctl rules remove >/dev/null 2>&1
}

reload() {
    kill -HUP "$pid" 2>/dev/null
    settle >/dev/null
    kill -USR2 "$pid" 2>/dev/null
}

# --- what a client sees ---

loads() { curl -s -m 6 -o /dev/null http://allowed.example/ && echo loads || echo FAILS; }
blocks() {
    local kept=""
    curl -s -m 6 -o /dev/null http://blocked.example/ || kept=l
    curl -s -m 6 -o /dev/null http://phish.example/ || kept=${kept}p
    curl -s -m 6 -o /dev/null http://games.example/ || kept=${kept}c
    echo "${kept:--}"
}

# --- faults ---

restore() {
    rm -rf "$product" "$lists"
    cp -a "$sound/product" "$product"
    rm -rf /var/lib/websec/websec.db*
    cp -a "$sound/websec.db" /var/lib/websec/
    cp -a "$sound/lists" "$lists"
}

# A new file each time: whoever has the old one open or mapped keeps that one, as with any update.
damage() { # HOW FILE
    local file=$2 old=$LAB_DIR/old size place
    cp -a "$file" "$old" && rm -f "$file"
    size=$(stat -c %s "$old")
    case $1 in
        absent) ;;
        empty) : >"$file" ;;
        half) head -c $((size / 2)) "$old" >"$file" ;;
        stump) head -c 5000 "$old" >"$file" ;;
        short) head -c $((size - 1)) "$old" >"$file" ;;
        zeros) head -c "$size" /dev/zero >"$file" ;;
        flipped) # seven bytes; of a library the first ones only: nobody survives code that is not what it was
            cp "$old" "$file"
            for place in 0 1 2 3 4 5 6; do
                case $file in
                    *.so) place=$((4 + place * 8)) ;;
                    *) place=$((size * place / 7)) ;;
                esac
                printf '\245' | dd of="$file" bs=1 seek=$place conv=notrunc status=none
            done ;;
        folder) mkdir "$file" ;;
        pipe) mkfifo "$file" ;;
        # A library that takes its time, and then has nothing to offer.
        slow) cp "$LAB_DIR/slow.so" "$file" ;;
    esac
    rm -rf "$old"
}

# --- rows ---

seen=""
note() { # STATE-EXPECTED STATE PAGE BLOCKS HEALED
    seen="$seen$(printf ' | %-7s %-6s %-5s %-7s' "$2" "$3" "$4" "$5")"
    [ "$2" = "$1" ] && [ "$3" = loads ] && [ "$5" = healed ] || seen="$seen BAD"
}

healed() {
    [ "$(blocks)" = lpc ] && [ "$(loads)" = loads ] && echo healed || echo NOT
}

# row NAME EXPECTED-AT-START BREAK MEND: the two are shell commands. EXPECTED is rests or ended; a reload must
# always end with a daemon that rests.
row() {
    local name=$1 expected=$2 state page kept
    [[ $name == *"$only"* ]] || return
    rows=$((rows + 1)) seen=""
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
    case $seen in *BAD* | *left* | *"did not"*) bad=$((bad + 1)) ;; esac
    printf '%-34s%s\n' "$name" "$seen"
}

heading() { printf '\n%-34s | %-27s | %s\n' "$1" "at the start" "at a reload"; }

file_rows() { # EXPECTED-AT-START FILE HOW...
    local expected=$1 file=$2 how
    shift 2
    for how in "$@"; do
        row "${file##*/}: $how" "$expected" "damage $how $file" restore
    done
}

all_file_rows() {
    local file
    heading "modules"
    for file in libdbmod.so urlcheck.so; do
        file_rows rests $product/$file absent empty stump half short zeros flipped folder pipe slow
    done
    # The loader binds these before the daemon begins: without them it cannot start, and leaves nothing behind.
    for file in libwebcat.so libasapsdk.so clrptmod.so; do
        file_rows ended "$(find $product /usr/lib/Morvane -name $file | head -1)" absent empty stump zeros flipped
    done
    heading "files"
    file_rows rests $product/translation/en_US.utf8/LC_MESSAGES/lang.mo absent empty half zeros flipped folder pipe
    for file in pcintwl.dat bpintwl.dat wsintip.dat wswebflt.dat wscatsts.dat; do
        file_rows rests $product/$file absent empty half zeros flipped folder pipe
    done
    for file in phishing.map harmful.map categories.map; do
        file_rows rests $lists/$file absent empty half short zeros flipped folder pipe
    done
    file_rows rests /var/lib/websec/websec.db absent empty half zeros flipped folder pipe
    # Without its file LiveTraffic is 0, and then no module gets a second chance; none of these needs one.
    file_rows rests $product/websec.cfg absent empty half zeros flipped folder pipe
}

small_disk() { # the store and the lists on a disk of their own, without a block to spare
    mv /var/lib/websec /var/lib/websec.away
    mkdir /var/lib/websec
    mount -t tmpfs -o "size=${1:-1m}" tmpfs /var/lib/websec
    cp -a /var/lib/websec.away/. /var/lib/websec/
    cat /dev/zero >/var/lib/websec/ballast 2>/dev/null
}
no_disk() {
    umount -l /var/lib/websec
    rmdir /var/lib/websec
    mv /var/lib/websec.away /var/lib/websec
}
iptables_does() { # BODY: before, or in place of, the real program
    local program
    for program in iptables iptables-restore; do
        rm -f /usr/sbin/$program
        printf '#!/bin/sh\n%s\nexec /usr/sbin/xtables-nft-multi %s "$@"\n' "$1" $program >/usr/sbin/$program
        chmod 755 /usr/sbin/$program
    done
}
real_iptables() {
    ln -sf /etc/alternatives/iptables /usr/sbin/iptables
    ln -sf /etc/alternatives/iptables-restore /usr/sbin/iptables-restore
}
fill_run() { mount -o remount,size=1k /run 2>/dev/null || cat /dev/zero >/run/ballast 2>/dev/null; }
shift_clock() { # SECONDS, for the daemon alone
    printf '%s' "$1" >"$LAB_DIR/clock"
}

machine_rows() {
    heading "disks"
    row "store on a full disk" rests small_disk no_disk
    row "store that cannot be written" rests "small_disk; mount -o remount,ro /var/lib/websec" no_disk
    row "counters page: folder in its place" rests "rm -f /run/websec/counters; mkdir -p /run/websec/counters" \
        "rmdir /run/websec/counters 2>/dev/null; true"
    heading "firewall"
    row "iptables absent" ended "mv /usr/sbin/iptables /usr/sbin/iptables.away" "mv /usr/sbin/iptables.away /usr/sbin/iptables"
    row "iptables takes its time" rests "iptables_does 'sleep 0.1'" real_iptables
    heading "clock"
    prefix="LD_PRELOAD=$build/tests/libshifted_clock.so SHIFTED_CLOCK_FILE=$LAB_DIR/clock"
    row "a day ahead" rests "shift_clock 86400" "shift_clock 0"
    row "a day behind" rests "shift_clock -86400" "shift_clock 0"
    row "in 1970" rests "shift_clock -$(($(date +%s) - 5))" "shift_clock 0"
    prefix=""
}

# The rules come with the watchdog's next pass; nobody is cut off until then.
failing_iptables_row() {
    local name="iptables fails, then works" state
    [[ $name == *"$only"* ]] || return
    rows=$((rows + 1)) seen=""
    iptables_does "exit 1"
    launch
    state=$(settle)
    local page kept
    page=$(loads) kept=$(blocks)
    real_iptables
    for try in $(seq 65); do
        [ "$(blocks)" = lpc ] && break
        sleep 1
    done
    note rests "$state" "$page" "$kept" "$(healed)"
    seen="$seen after $try s$(clean_up)"
    restore
    case $seen in *BAD* | *left* | *"did not"*) bad=$((bad + 1)) ;; esac
    printf '%-34s%s\n' "$name" "$seen"
}

second_daemon_row() {
    local name="a second daemon" first
    [[ $name == *"$only"* ]] || return
    rows=$((rows + 1)) seen=""
    launch
    settle >/dev/null
    first=$pid
    timeout 5 websec >/dev/null 2>&1
    sleep 1
    [ "$(pgrep -cx websec)" = 1 ] || seen=" BAD: two of them"
    pid=$first
    note rests "$(settle)" "$(loads)" "$(blocks)" "$(healed)"
    seen="$seen$(clean_up)"
    case $seen in *BAD* | *left* | *"did not"*) bad=$((bad + 1)) ;; esac
    printf '%-34s%s\n' "$name" "$seen"
}

# --- modules whose calls do not return, a disk that fills, clocks: while pages are asked for ---

hang() { # CALL CALLS HOW, or nothing: all return
    printf '%s' "$*" >"$LAB_DIR/hang.new"
    mv "$LAB_DIR/hang.new" "$LAB_DIR/hang"
}

# With LiveTraffic as told and the modules behind bench/hanging_calls.cpp.
launch_to_hang() {
    local file
    for file in urlcheck.so libdbmod.so; do
        mv $product/$file $product/$file.real
        cp "$build/tests/libhanging_calls.so" $product/$file
    done
    sed -i "s/LiveTraffic=.*/LiveTraffic=$1/" $product/websec.cfg
    hang
    prefix="LD_PRELOAD=$build/tests/libhanging_calls.so HANGING_CALLS_FILE=$LAB_DIR/hang"
    launch
    prefix=""
    settle >/dev/null
}

# As a service manager does.
kill_daemon() {
    hang
    kill -KILL "$pid" 2>/dev/null
    pid=0
    websecctl rules remove >/dev/null
    restore
}

meet() { # HOST CALLS: requests that meet the hanging calls
    local try clients=""
    for try in $(seq "$2"); do
        curl -s -m 1 -o /dev/null "http://$1/" &
        clients="$clients $!"
    done
    # shellcheck disable=SC2086
    wait $clients
}

pages() {
    local try loaded=0
    for try in 1 2 3; do curl -s -m 2 -o /dev/null http://allowed.example/ && loaded=$((loaded + 1)); done
    echo $loaded/3
}

remarks() { websecctl doctor 2>&1 | grep -cE '^ *(fail|warn)'; }
no_rules() { ! iptables-save | grep -q -e NFQUEUE -e WEBSEC_; }
is_gone() { [ ! -e "/proc/$pid/exe" ]; }

seconds_until() { # SECONDS COMMAND: the seconds, or "never"
    local try
    for try in $(seq 0 $(($1 * 10))); do
        "$2" && { echo $(((try + 9) / 10)); return; }
        sleep 0.1
    done
    echo never
}

result() { # NAME, with what was seen in $seen
    rows=$((rows + 1))
    case $seen in *BAD* | *left* | *"did not"* | *never* | *NOT*) bad=$((bad + 1)) ;; esac
    printf '%-42s%s\n' "$1" "$seen"
}

# hang_row LIVE HOST CALL CALLS HOW: CALLS of the calls that requests to HOST lead to hang. All judges but one may
# hang without anybody noticing; when all do, nothing is promised but the end.
hang_row() {
    local name="LiveTraffic $1: $3, $4 $5" page kept before
    [[ $name == *"$only"* ]] || return
    launch_to_hang "$1"
    before=$(remarks)
    hang "$3" "$4" "$5"
    meet "$2" "$4"
    page=$(pages) kept=-
    [ "$4" -lt 4 ] && kept=$(blocks)
    seen=" | $page $kept"
    [ "$4" -ge 4 ] || [ "$page $kept" = "3/3 lpc" ] || seen="$seen BAD"
    [ "$(remarks)" = "$before" ] && seen="$seen silent" || seen="$seen named"
    hang
    sleep 0.5  # what comes before one of them looks for more may pass
    seen="$seen $(healed)"
    hang "$3" "$4" "$5"
    meet "$2" "$4"
    kill -TERM "$pid"
    seen="$seen | rules $(seconds_until 12 no_rules), end $(seconds_until 12 is_gone)"
    kill_daemon
    result "$name"
}

# A reload waits for the packet that is being judged; with LiveTraffic 1 nobody waits with it.
reload_row() {
    local name="LiveTraffic $1: reload, 1 $2 hangs" page
    [[ $name == *"$only"* ]] || return
    launch_to_hang "$1"
    hang "$2" 1 locked
    [ "$2" = AvWalkClientSettingData ] || meet allowed.example 1
    timeout 20 websecctl block add allowed.example/reloaded >/dev/null 2>&1
    page=$(pages)
    seen=" | $page"
    [ "$1" = 0 ] || [ "$page" = 3/3 ] || seen="$seen BAD"
    hang
    sleep 1
    curl -s -m 6 -o /dev/null http://allowed.example/reloaded && seen="$seen not in force BAD"
    seen="$seen $(healed)"
    hang "$2" 1 locked
    [ "$2" = AvWalkClientSettingData ] || meet allowed.example 1
    kill -HUP "$pid"
    sleep 1
    kill -TERM "$pid"
    seen="$seen | stop meanwhile: end $(seconds_until 8 is_gone | sed 's/never/by SIGKILL/')"
    kill_daemon
    result "$name"
}

# The queue is lost while a scan hangs: rules without a reader must not stay, so the process has to end.
lost_queue_row() {
    local name="LiveTraffic 0: queue lost, a scan hangs"
    [[ $name == *"$only"* ]] || return
    launch_to_hang 0
    hang ScanURLForAPSH 1 locked
    meet allowed.example 1
    curl -s -m 2 -o /dev/null -H "Cookie: $(printf '%20000s' x | tr ' ' c)" http://local-allowed.example/
    seen=" | end $(seconds_until 12 is_gone)"
    iptables-save | grep -q NFQUEUE && seen="$seen, rules left"
    kill_daemon
    result "$name"
}

# Takes every request and answers none.
category_server_row() {
    local name="LiveTraffic $1: category server hangs" page server
    [[ $name == *"$only"* ]] || return
    printf 'catEngine=2\n' >>$product/websec.cfg
    launch_to_hang "$1"
    python3 -c 'import socket, time
s = socket.create_server(("127.0.0.1", 7101), backlog=500)
time.sleep(600)' &
    server=$!
    sleep 0.5
    page=$(for try in $(seq 8); do (loads) & done | sort | uniq -c | tr -s ' ')
    seen=" | 8 at once:$page $(blocks)"
    [[ $page == " 8 loads" ]] || seen="$seen BAD"
    websecctl doctor 2>&1 | grep -q 'category server hangs' && seen="$seen named" || seen="$seen silent BAD"
    kill -TERM "$pid"
    seen="$seen | rules $(seconds_until 12 no_rules), end $(seconds_until 12 is_gone)"
    kill $server
    kill_daemon
    result "$name"
}

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
    sed -i "s/LiveTraffic=.*/LiveTraffic=$1/" $product/websec.cfg
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
all_rules() { [ "$(iptables-save -t mangle | grep -c "^-A OUTPUT.*NFQUEUE\|^-A POSTROUTING.*NFQUEUE")" -ge 3 ]; }

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
    sed -i "s/LiveTraffic=.*/LiveTraffic=$1/" $product/websec.cfg
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

running_rows() {
    local live call
    printf '\n%s\n' "calls that hang | pages and blocks meanwhile, in doctor, after they return | seconds until a stop is through"
    for live in 1 0; do
        hang_row $live allowed.example ScanURLForAPSH 1 locked
        hang_row $live allowed.example ScanURLForAPSH 3 locked
        hang_row $live allowed.example ScanURLForAPSH 99 locked
        hang_row $live allowed.example ScanURLForAPSH 3 sleeps
        hang_row $live allowed.example WCGetURLCategories 3 locked
        hang_row $live blocked.example AvInsertClientReportData 3 locked
        hang_row $live blocked.example InsertClientReportData 3 locked
        for call in ScanURLForAPSH AvWalkClientSettingData; do reload_row $live $call; done
        category_server_row $live
    done
    lost_queue_row
    printf '\n%s\n' "under traffic"
    for live in 1 0; do
        leaping_clock_row $live
        filling_disk_row $live
    done
    long_uptime_row 1
    long_uptime_row 70
}

set_up() {
    echo '192.0.2.2 phish.example games.example' >>/etc/hosts
    printf '[IPTABLEConfigurations]\nUseDefinedPorts=1\n[ServiceConfigurations]\nLiveTraffic=1\n' >$product/websec.cfg
    echo phish.example >"$LAB_DIR/phish"
    echo harm.example >"$LAB_DIR/harm"
    echo games.example >"$LAB_DIR/games"
    {
        websecctl protection report on && websecctl protection category on && websecctl protection blocklist on &&
            websecctl block add blocked.example && websecctl category block games &&
            websecctl import phishing "$LAB_DIR/phish" && websecctl import harmful "$LAB_DIR/harm" &&
            websecctl import category games "$LAB_DIR/games" &&
            echo excluded.example/ | websecctl datafile build exclusion $product/pcintwl.dat - &&
            echo trusted.example/ | websecctl datafile build trusted $product/bpintwl.dat - &&
            echo 203.0.113.0/24 | websecctl datafile build ranges $product/wsintip.dat - &&
            echo 8080 | websecctl datafile build ports $product/wswebflt.dat - &&
            echo 1 | websecctl datafile build category-status $product/wscatsts.dat -
    } >"$LAB_DIR/setup.out" 2>&1 || { cat "$LAB_DIR/setup.out"; exit 1; }
    mkdir "$sound"
    cp -a $product "$sound/product"
    cp -a $lists "$sound/lists"
    cp -a /var/lib/websec/websec.db "$sound/"
    printf '%s\n' '#include <unistd.h>' '__attribute__((constructor)) void TakeTime(void) { sleep(2); }' |
        gcc -x c -shared -fPIC -o "$LAB_DIR/slow.so" -
    shift_clock 0
}

set_up
all_file_rows
machine_rows
failing_iptables_row
second_daemon_row
running_rows
printf '\n%d rows, %d not as expected\n' "$rows" "$bad"
[ "$rows" != 0 ] || { echo "no row has '$only' in its name" >&2; exit 2; }
[ "$bad" = 0 ]
