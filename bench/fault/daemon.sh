# shellcheck shell=bash
# The daemon, how it fares, and what a client of its host sees. Its process id stands in $pid, 0 without one.

pid=""

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

loads() { curl -s -m 6 -o /dev/null http://allowed.example/ && echo loads || echo FAILS; }

blocks() {
    local kept=""
    curl -s -m 6 -o /dev/null http://blocked.example/ || kept=l
    curl -s -m 6 -o /dev/null http://phish.example/ || kept=${kept}p
    curl -s -m 6 -o /dev/null http://games.example/ || kept=${kept}c
    echo "${kept:--}"
}

healed() {
    [ "$(blocks)" = lpc ] && [ "$(loads)" = loads ] && echo healed || echo NOT
}

no_rules() { ! iptables-save | grep -q -e NFQUEUE -e WEBSEC_; }
all_rules() { [ "$(iptables-save -t mangle | grep -c "^-A OUTPUT.*NFQUEUE\|^-A POSTROUTING.*NFQUEUE")" -ge 3 ]; }
is_gone() { [ ! -e "/proc/$pid/exe" ]; }

seconds_until() { # SECONDS COMMAND: how long that took, in tenths, or "never"
    local begun=${EPOCHREALTIME//[.,]/} spent=0
    while [ $spent -le $(($1 * 1000000)) ]; do
        "$2" && { printf '%d.%d' $((spent / 1000000)) $((spent / 100000 % 10)); return; }
        sleep 0.1
        spent=$((${EPOCHREALTIME//[.,]/} - begun))
    done
    echo never
}
