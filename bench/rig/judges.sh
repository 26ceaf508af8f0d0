# Who can sit at the queue, for the parts of the rig that source this file inside the lab:
#
#   none                nobody, and no rules
#   bare0, bare1        queue_stand_in bare, with the rules of LiveTraffic 0 and 1
#   floor               queue_stand_in floor, with the rules of LiveTraffic 0
#   daemon0, daemon1    the daemon with LiveTraffic 0 and 1
#   suricata            with the rules of LiveTraffic 0, where it is installed
#
# RIG_BIN: where the rig's programs are. LAB_DIR: the lab's.
PRODUCT=/usr/lib/Morvane/Morvane

# start_judge NAME: sets judge_pid (empty for none) and first_verdict_ms.
start_judge() {
    judge_pid="" first_verdict_ms=""
    case $1 in
        none) return ;;
        bare?) start_with_rules "${1#bare}" "$RIG_BIN/queue_stand_in" bare "${1#bare}" ;;
        floor) start_with_rules 0 "$RIG_BIN/queue_stand_in" floor ;;
        daemon?)
            configure_daemon "${1#daemon}"
            first_verdict_ms=$("$RIG_BIN/first_verdict" websec)
            ;;
        suricata)
            echo 'drop http any any -> any any (http.host; content:"blocked.example"; sid:1;)' \
                >"$LAB_DIR/suricata.rules"
            start_with_rules 0 suricata -q 0 -S "$LAB_DIR/suricata.rules" -l "$LAB_DIR" \
                --set stream.midstream=true
            ;;
    esac
    # The netlink port of a program's first socket is its process id.
    judge_pid=$(awk '{ print $2 }' /proc/net/netfilter/nfnetlink_queue)
    prefer "$judge_pid"
}

stop_judge() {
    [ -n "$judge_pid" ] || return 0
    kill -TERM "$judge_pid" 2>/dev/null || true
    while kill -0 "$judge_pid" 2>/dev/null; do sleep 0.05; done
    printf '*mangle\nCOMMIT\n' | iptables-restore
}

# configure_daemon LIVE
configure_daemon() { printf '[ServiceConfigurations]\nLiveTraffic=%s\n' "$1" >$PRODUCT/websec.cfg; }

# keep_rules LIVE: the daemon's own rules, kept for those who stand in for it: all of them, and it gives its
# first verdict when it has made only some.
keep_rules() {
    start_judge "daemon$1"
    sleep 2
    iptables-save -t mangle >"$LAB_DIR/rules.$1"
    stop_judge
}

# start_with_rules LIVE COMMAND...
start_with_rules() {
    [ -e "$LAB_DIR/rules.$1" ] || keep_rules "$1"
    iptables-restore <"$LAB_DIR/rules.$1"
    shift
    first_verdict_ms=$("$RIG_BIN/first_verdict" "$@" 2>"$LAB_DIR/judge.log")
}

# prefer PID: before the sessions of others, whose builds would otherwise be measured too. Where the kernel
# groups processes by their session, that is for the session; elsewhere the priority of rig.sh does.
prefer() { { echo -20 >"/proc/$1/autogroup"; } 2>/dev/null || true; }

# place near|free: where client (client_on), judge and server run from now on, of the machine's first two
# processors. Near is the client with the judge on one and the server on the other, the fastest for each judge; free
# is where the scheduler puts them, which makes a factor of two from one second to the next.
place() {
    local pid server_pid server_on=0,1
    client_on=0,1
    [ "$1" = free ] || client_on=0 server_on=1
    [ -z "$judge_pid" ] || taskset -acp $client_on "$judge_pid" >/dev/null
    server_pid=$(cat "$LAB_DIR/rig/nginx.pid")
    for pid in $server_pid $(pgrep -P "$server_pid"); do taskset -cp $server_on "$pid" >/dev/null; done
}

# judges NAME...: those of them that rig.sh was asked for and that are installed.
judges() {
    local judge
    for judge in "$@"; do
        case " ${RIG_JUDGES:-$*} " in *" $judge "*) ;; *) continue ;; esac
        if [ "$judge" != suricata ] || command -v suricata >/dev/null; then echo "$judge"; fi
    done
}

# What the judge has used until now: milliseconds of user and of system time, packets queued.
spent() {
    [ -n "$judge_pid" ] || { echo 0 0 0; return; }
    local ticks packets
    ticks=$(awk '{ print $14 * 10, $15 * 10 }' "/proc/$judge_pid/stat")
    packets=$(awk '{ print $8 }' /proc/net/netfilter/nfnetlink_queue)
    echo "$ticks $packets"
}

resident_kib() { [ -z "$judge_pid" ] || awk '/^VmRSS/ { print $2 }' "/proc/$judge_pid/status"; }

# A web server of the rig's own at 192.0.2.2, port 8000, without a log, and room for many short connections.
start_server() {
    mkdir -p "$LAB_DIR/rig"
    sed "s|@DIR@|$LAB_DIR|g" "${BASH_SOURCE%/*}/nginx.conf" >"$LAB_DIR/nginx-rig.conf"
    ip netns exec server nginx -c "$LAB_DIR/nginx-rig.conf"
    prefer "$(cat "$LAB_DIR/rig/nginx.pid")"
    # Connections that wait for their end would take the ports, and whoever comes last would pay for it.
    sysctl -qw net.ipv4.tcp_max_tw_buckets=500
    ip netns exec server sysctl -qw net.ipv4.tcp_max_tw_buckets=500
}
