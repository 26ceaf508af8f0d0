# shellcheck shell=bash
# Calls of modules that do not return, while pages are asked for.

# Seconds that a stop may take until the rules are gone, and then until the process is: it waits five for its threads.
STOP_RULES=3 STOP_END=7

hang() { # CALL CALLS HOW, or nothing: all return
    printf '%s' "$*" >"$LAB_DIR/hang.new"
    mv "$LAB_DIR/hang.new" "$LAB_DIR/hang"
}

# With LiveTraffic as told and the modules behind bench/hanging_calls.cpp.
launch_to_hang() { # LIVE, and what hangs from the start on
    local file
    for file in urlcheck.so libdbmod.so; do
        mv "$product/$file" "$product/$file.real"
        cp "$build/tests/libhanging_calls.so" "$product/$file"
    done
    sed -i "s/LiveTraffic=.*/LiveTraffic=$1/" "$product/websec.cfg"
    hang "${@:2}"
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
    seen="$seen | rules $(seconds_until $STOP_RULES no_rules), end $(seconds_until $STOP_END is_gone)"
    kill_daemon
    result "$name"
}

# There are no rules before everything is loaded, so nobody waits with a start. A stop waits with it.
start_row() { # CALL
    local name="start, $1 hangs"
    [[ $name == *"$only"* ]] || return
    launch_to_hang 1 "$1" 1 locked
    seen=" | $(pages)"
    [ "$seen" = " | 3/3" ] || seen="$seen BAD"
    hang
    seen="$seen $(settle) $(healed)"
    kill_daemon
    launch_to_hang 1 "$1" 1 locked
    kill -TERM "$pid"
    sleep 1
    is_gone && seen="$seen | stop meanwhile: ended" || seen="$seen | stop meanwhile: waits"
    hang
    seen="$seen, then end $(seconds_until 8 is_gone)"
    no_rules || seen="$seen, rules left"
    kill_daemon
    result "$name"
}

# The rules have gone before a stop lets the modules go.
stop_row() { # CALL
    local name="stop, $1 hangs"
    [[ $name == *"$only"* ]] || return
    launch_to_hang 1
    hang "$1" 1 locked
    kill -TERM "$pid"
    seen=" | rules $(seconds_until $STOP_RULES no_rules), $(pages)"
    [[ $seen == *" 3/3" ]] || seen="$seen BAD"
    seen="$seen, end $(seconds_until $STOP_END is_gone | sed 's/never/by SIGKILL/')"
    kill_daemon
    result "$name"
}

# A reload waits for the packet that is being judged; with LiveTraffic 1 nobody waits with it. A data file is read while
# no request is judged; then they pass after a while, as when all judges hang.
reload_row() {
    local name="LiveTraffic $1: reload, 1 $2 hangs" page
    [[ $name == *"$only"* ]] || return
    launch_to_hang "$1"
    hang "$2" 1 locked
    [ "$2" != ScanURLForAPSH ] || meet allowed.example 1
    timeout 20 websecctl block add allowed.example/reloaded >/dev/null 2>&1
    [ "$2" != CalculateCheckSum ] || meet allowed.example 8
    page=$(pages)
    [ "$2" != CalculateCheckSum ] || page="$page, then $(loads)"
    seen=" | $page"
    [[ $1 == 0 || $page == 3/3 || $page == *loads ]] || seen="$seen BAD"
    hang
    sleep 1
    curl -s -m 6 -o /dev/null http://allowed.example/reloaded && seen="$seen not in force BAD"
    seen="$seen $(healed)"
    hang "$2" 1 locked
    [ "$2" != ScanURLForAPSH ] || meet allowed.example 1
    kill -HUP "$pid"
    sleep 1
    kill -TERM "$pid"
    seen="$seen | stop meanwhile: end $(seconds_until 20 is_gone | sed 's/never/by SIGKILL/')"
    # Such a reload is given up.
    [[ "$1 $2" != "1 ScanURLForAPSH" || $seen != *SIGKILL* ]] || seen="$seen BAD"
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
    seen=" | end $(seconds_until $((STOP_RULES + STOP_END)) is_gone)"
    iptables-save | grep -q NFQUEUE && seen="$seen, rules left"
    kill_daemon
    result "$name"
}

# Takes every request and answers none.
category_server_row() {
    local name="LiveTraffic $1: category server hangs" page server
    [[ $name == *"$only"* ]] || return
    printf 'catEngine=2\n' >>"$product/websec.cfg"
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
    seen="$seen | rules $(seconds_until $STOP_RULES no_rules), end $(seconds_until $STOP_END is_gone)"
    kill $server
    kill_daemon
    result "$name"
}

hanging_rows() {
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
        for call in ScanURLForAPSH AvWalkClientSettingData CalculateCheckSum; do reload_row $live $call; done
        category_server_row $live
    done
    lost_queue_row
    for call in CalculateCheckSum WCInit AvWalkClientSettingData InitURLScan; do start_row $call; done
    for call in WCDeinit DeinitURLScan; do stop_row $call; done
}
